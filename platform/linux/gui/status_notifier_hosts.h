// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QObject>

#include <memory>

class QDBusPendingCallWatcher;

namespace platform::gui {

/// Whether somebody shows StatusNotifierItems: a watcher on the session bus that knows of a host.
/// Never waits for the bus or for anybody on it. Main thread.
class StatusNotifierHosts final : public QObject
{
    Q_OBJECT

public:
    StatusNotifierHosts();
    ~StatusNotifierHosts() override;

    /// Begins to ask and to watch. Without a session bus nothing happens.
    void start();

    [[nodiscard]] bool isThere() const { return m_isThere; }

    /// Whether a watcher has been asked and has not answered yet. It may take for ever; whoever
    /// asks it with a call that waits will wait.
    [[nodiscard]] bool isAsked() const { return m_question != nullptr; }

Q_SIGNALS:
    /// One of the two is different now.
    void changed();

private:
    /// Asks anew; what was asked before no longer counts.
    Q_SLOT void ask();
    void readAnswer();
    void forget();

    QDBusConnection m_bus;
    QDBusServiceWatcher m_owner;
    std::unique_ptr<QDBusPendingCallWatcher> m_question;
    bool m_isThere = false;
};

} // namespace platform::gui
