// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "base/result.h"
#include "tests/support/bus_daemon.h"
#include "tests/support/child_process.h"

#include <QDBusConnection>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <optional>

namespace support {

/// A private session bus with the desktop's own service for accessibility, which a test can start,
/// end, and switch on and off.
/// Main thread. Calls block until what they promise holds, for some seconds at most.
class Accessibility final
{
public:
    Accessibility();
    Accessibility(const Accessibility&) = delete;
    Accessibility& operator=(const Accessibility&) = delete;
    ~Accessibility();

    [[nodiscard]] static QStringList programs();

    /// Starts the session bus in the runtime folder of `environment`, without the service.
    [[nodiscard]] platform::Outcome startBus(const QProcessEnvironment& environment);

    /// Starts the service, again after killService(). Accessibility is off.
    [[nodiscard]] platform::Outcome startService();

    /// Ends it and its bus without a chance to say goodbye.
    void killService();

    /// Ends the accessibility bus alone.
    [[nodiscard]] platform::Outcome killAccessibilityBus();

    [[nodiscard]] platform::Outcome switchOn() { return setEnabled(true); }

    [[nodiscard]] platform::Outcome switchOff() { return setEnabled(false); }

    /// Whether the session bus knows an owner of org.a11y.Bus.
    [[nodiscard]] bool hasService() const;

    /// The environment for programs on this bus.
    [[nodiscard]] const QProcessEnvironment& environment() const { return m_environment; }

    /// The session bus.
    [[nodiscard]] QDBusConnection connection() const { return *m_connection; }

    /// The address of the accessibility bus; asking starts it.
    [[nodiscard]] QString address() const;

private:
    [[nodiscard]] platform::Outcome setEnabled(bool isEnabled);

    QProcessEnvironment m_environment;
    BusDaemon m_bus;
    ChildProcess m_service;
    std::optional<QDBusConnection> m_connection;
};

} // namespace support
