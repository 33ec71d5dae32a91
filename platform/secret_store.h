// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QFuture>
#include <QObject>
#include <QString>

#include <optional>

namespace platform {

/// What a secret is filed under.
struct SecretName
{
    QString service;
    QString account;

    bool operator==(const SecretName&) const = default;
};

/// Keeps secrets in the desktop's own keyring, encrypted at rest.
/// Main thread only. Nothing here blocks: every operation comes to its result through the event
/// loop, with a limit; those of one name in the order in which they were asked for. A newer save()
/// or remove() of a name ends an older one that is not through; its result is then false.
/// A prompt is left on the screen when its operation ends before it is answered; what the user then
/// does in it unlocks the keyring and nothing else.
class SecretStore : public QObject
{
    Q_OBJECT

public:
    SecretStore() = default;

    /// The secret under `name`, within three seconds and without ever asking the user anything;
    /// none when there is none or the keyring is locked, absent or slow.
    [[nodiscard]] virtual QFuture<std::optional<QByteArray>> read(const SecretName& name) = 0;

    /// Keeps `secret` under `name` in place of what was there. The desktop may ask the user to
    /// unlock the keyring. False when it was not kept.
    virtual QFuture<bool> save(const SecretName& name, const QByteArray& secret) = 0;

    /// Forgets what is under `name`. The desktop may ask the user to unlock the keyring. False when
    /// it could not be looked for, or some of it is still there.
    virtual QFuture<bool> remove(const SecretName& name) = 0;

Q_SIGNALS:
    /// The keyring has been unlocked or has appeared: read() may answer otherwise than before.
    void becameReadable();
};

} // namespace platform
