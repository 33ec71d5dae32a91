// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/dbus/application_service.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QString>

#include <utility>

/// A connection to a bus, by default as the program has it: it owns the program's name. Closed at
/// the end.
class ProgramBus final
{
public:
    explicit ProgramBus(const QString& address,
                        QString connectionName = QStringLiteral("program"),
                        const QString& busName = platform::dbus::applicationName())
        : m_name(std::move(connectionName))
        , m_connection(QDBusConnection::connectToBus(address, m_name))
        , m_ownsName(!busName.isEmpty() && m_connection.registerService(busName))
    {
    }

    ProgramBus(const ProgramBus&) = delete;
    ProgramBus& operator=(const ProgramBus&) = delete;

    ~ProgramBus() { QDBusConnection::disconnectFromBus(m_name); }

    [[nodiscard]] bool ownsName() const { return m_ownsName; }

    [[nodiscard]] const QDBusConnection& connection() const { return m_connection; }

    [[nodiscard]] QDBusConnection& connection() { return m_connection; }

private:
    QString m_name;
    QDBusConnection m_connection;
    bool m_ownsName;
};
