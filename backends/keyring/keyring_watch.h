// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/keyring/keyring.h"

#include <QCoroTask>
#include <QElapsedTimer>
#include <QObject>

#include <string>

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

    /// Starts to wait, unless it does, for what hindered `answer` to pass; it may have passed by
    /// now. Without a session bus nothing ever comes.
    void start(const Answer& answer);

    /// Ends waiting.
    void stop();

Q_SIGNALS:
    /// The keyring may be readable now. The watch has stopped.
    void becameReadable();

private:
    QCoro::Task<> listen();
    void subscribe();
    static void hear(GDBusConnection* bus,
                     const gchar* sender,
                     const gchar* path,
                     const gchar* interface,
                     const gchar* signal,
                     GVariant* arguments,
                     gpointer watch);
    void ownerIs(bool present);
    QCoro::Task<> ask(std::string keyring);
    void keyringIs(KeyringState state, qint64 milliseconds);
    void report();

    KeyringState m_hindrance = KeyringState::Failed;
    std::string m_keyring;                 // that is locked or slow
    GlibOwned<GCancellable> m_cancellable; // none while it does not wait
    GlibOwned<GDBusConnection> m_bus;
    gulong m_closed = 0;
    guint m_owner = 0;
    guint m_properties = 0;
    guint m_changes = 0;
    bool m_hasLookedForOwner = false;
    QElapsedTimer m_lastSlow; // since a slow service was last believed to be well
};

} // namespace platform::secrets
