// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "base/result.h"
#include "tests/support/child_process.h"
#include "tests/support/private_home.h"

#include <QByteArray>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

namespace support {

/// A private session bus in an empty home and, when asked for, gnome-keyring on it. Nothing can be
/// started through the bus. Needs the programs in programs(); see REQUIRE_PROGRAMS. Everything that
/// it started ends with it, and with the test process.
/// Main thread. Calls block until what they promise holds, for some seconds at most.
class Keyring final
{
public:
    Keyring() = default;
    Keyring(const Keyring&) = delete;
    Keyring& operator=(const Keyring&) = delete;

    [[nodiscard]] static QStringList programs();

    /// Starts the bus, without a keyring; after killBus() again, at the same address.
    [[nodiscard]] platform::Outcome startBus();
    void killBus();

    /// Instead of all that: starts the keyring on the session bus of `desktop`, with a session of
    /// an earlier run of the product, which tracks from its start then.
    [[nodiscard]] platform::Outcome startSignedIn(const QProcessEnvironment& desktop);

    /// Starts the keyring, whose default collection is made at the first start. Returns when it
    /// answers and is unlocked.
    [[nodiscard]] platform::Outcome startUnlocked();
    /// Likewise, with the collection locked.
    [[nodiscard]] platform::Outcome startLocked();

    /// Locks and unlocks the default collection without a prompt.
    [[nodiscard]] platform::Outcome lock();
    [[nodiscard]] platform::Outcome unlock();

    /// Makes the keyring hang, go on, and end at once.
    void pause();
    void resume();
    void kill();

    /// The test's own environment with this bus and a home of its own, without a display.
    [[nodiscard]] QProcessEnvironment environment() const;

    /// What secret-tool finds under `account`: all that it prints, without and with the secret.
    [[nodiscard]] QString search(const QString& account) const;
    [[nodiscard]] QByteArray lookup(const QString& account) const;
    /// Has it make an item like ours in `collection`. True when it worked.
    [[nodiscard]] bool store(const QString& collection,
                             const QString& account,
                             const QByteArray& secret,
                             const QString& service = QStringLiteral("velomira-test")) const;

    /// Has it keep the session of an earlier run of the product with this token. True when it
    /// worked.
    [[nodiscard]] bool storeSession(const QByteArray& token) const;

private:
    [[nodiscard]] platform::Outcome startDaemon();
    [[nodiscard]] QByteArray secretTool(const QStringList& arguments,
                                        const QByteArray& input = {}) const;

    PrivateHome m_home;
    QString m_address;
    ChildProcess m_bus;
    ChildProcess m_daemon;
};

} // namespace support
