// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QObject>

#include <cstdint>

class QDBusPendingCallWatcher;

namespace platform::atspi {

/// Whether accessibility is switched on for the session: IsEnabled of org.a11y.Status, which the
/// owner of org.a11y.Bus tells. Reads only, and starts nobody.
/// Main thread; waits for nobody.
class AccessibilityStatus final : public QObject
{
    Q_OBJECT

public:
    enum class State : std::uint8_t {
        Asking, ///< Becomes one of the others within some seconds.
        Off,
        On,
    };

    /// Without a connection accessibility is off.
    explicit AccessibilityStatus(QDBusConnection sessionBus);

    [[nodiscard]] State state() const { return m_state; }

Q_SIGNALS:
    /// The state is another one now.
    void changed();
    /// The bus has another owner, who may know another address.
    void ownerChanged();

private:
    /// The value may be another one.
    Q_SLOT void ask();
    void readAnswer(QDBusPendingCallWatcher* answer);
    void become(State state);

    QDBusConnection m_bus;
    QDBusServiceWatcher m_owner;
    State m_state = State::Asking;
    bool m_isAsking = false;
    bool m_shallAskAgain = false;
};

} // namespace platform::atspi
