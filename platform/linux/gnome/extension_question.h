// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/gnome/extension_state.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>
#include <QString>
#include <QTimer>

#include <memory>

class QDBusPendingCallWatcher;

namespace platform::gnome {

/// How a shell stands to our extension, kept up to date from what the shell tells. Never waits.
/// Main thread, with an event loop.
class ExtensionQuestion final : public QObject
{
    Q_OBJECT

public:
    explicit ExtensionQuestion(QDBusConnection bus);
    ExtensionQuestion(const ExtensionQuestion&) = delete;
    ExtensionQuestion& operator=(const ExtensionQuestion&) = delete;
    ~ExtensionQuestion() override;

    /// From now on asks the shell with that unique name; none when it is empty. The state is
    /// unknown until it has answered.
    void setShell(const QString& shell);

    [[nodiscard]] ExtensionState state() const { return m_state; }

Q_SIGNALS:
    /// The state is another one now.
    void changed();

private:
    using Call = std::unique_ptr<QDBusPendingCallWatcher>;

    Q_SLOT void ask();
    void listen(bool on);
    [[nodiscard]] Call call(const QDBusMessage& question);
    void readAnswers();
    void set(ExtensionState state);

    QDBusConnection m_bus;
    QString m_shell;
    Call m_information;
    Call m_switch;
    QTimer m_pause; ///< while it runs, nothing is asked
    ExtensionState m_state = ExtensionState::Unknown;
    bool m_isDue = false;
};

} // namespace platform::gnome
