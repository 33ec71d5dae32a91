// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/dbus/bus_connection.h"

#include "platform/linux/dbus/bus_address.h"

namespace platform::dbus {

QString systemBusAddress()
{
    return qEnvironmentVariable("DBUS_SYSTEM_BUS_ADDRESS",
                                QStringLiteral("unix:path=/var/run/dbus/system_bus_socket"));
}

QDBusConnection
connectionTo(const QString& address, const QString& name, std::chrono::milliseconds limit)
{
    if (address.isEmpty() || isSilent(address, limit))
        return QDBusConnection(name);
    return QDBusConnection::connectToBus(address, name);
}

} // namespace platform::dbus
