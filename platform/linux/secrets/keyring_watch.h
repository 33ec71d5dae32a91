// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/secrets/glib_owned.h"
#include "platform/linux/secrets/hindrance.h"
#include "platform/linux/secrets/session_bus.h"

#include <QElapsedTimer>
#include <QObject>

namespace platform::secrets {

/// Waits, once, for the keyring to be unlocked or to appear. It listens to signals of the session
/// bus; it starts no service, never prompts and does not poll.
/// Main thread; nothing blocks.
class KeyringWatch final : public QObject
{
    Q_OBJECT

public:
    KeyringWatch() = default;
    KeyringWatch(const KeyringWatch&) = delete;
    KeyringWatch& operator=(const KeyringWatch&) = delete;
    ~KeyringWatch() override;

    /// Starts to wait, unless it does, for `hindrance` to pass; it may have passed by now. Without
    /// a session bus nothing ever comes.
    void start(const Hindrance& hindrance);

    /// Ends waiting.
    void stop();

Q_SIGNALS:
    /// The keyring may be readable now. The watch has stopped.
    void becameReadable();

private:
    void subscribe(GlibOwned<GDBusConnection> bus);
    void unsubscribe();
    void ownerIs(bool present);
    void ask(const char* keyring);
    void answered(KeyringLock lock, qint64 milliseconds);
    void report();

    Hindrance m_hindrance; // none while it does not wait
    GlibOwned<GCancellable> m_cancellable;
    GlibOwned<GDBusConnection> m_bus;
    gulong m_closed = 0;
    guint m_owner = 0;
    guint m_properties = 0;
    guint m_changes = 0;
    bool m_hasLookedForOwner = false;
    QElapsedTimer m_lastSlow; // since a slow service was last believed to be well
};

} // namespace platform::secrets
