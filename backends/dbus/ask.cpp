// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/dbus/ask.h"

#include <QDBusError>

namespace platform::dbus {

Q_LOGGING_CATEGORY(lcBus, "velomira.bus", QtCriticalMsg)

QDBusMessage callOf(const QString& service,
                    const QString& path,
                    const QString& interface,
                    const QString& method,
                    const QVariantList& arguments)
{
    QDBusMessage message = QDBusMessage::createMethodCall(service, path, interface, method);
    message.setAutoStartService(false);
    message.setArguments(arguments);
    return message;
}

QDBusMessage readOf(const QString& service,
                    const QString& path,
                    const QString& interface,
                    const QString& property)
{
    return callOf(
        service, path, kPropertiesInterface, QStringLiteral("Get"), {interface, property});
}

QDBusMessage busCall(QLatin1StringView method, const QVariantList& arguments)
{
    const QString bus = QStringLiteral("org.freedesktop.DBus");
    return callOf(bus, QStringLiteral("/org/freedesktop/DBus"), bus, method, arguments);
}

bool isSilence(const QDBusError& error)
{
    return error.type() == QDBusError::NoReply || error.type() == QDBusError::TimedOut ||
           error.type() == QDBusError::Timeout;
}

bool isAbsence(const QDBusError& error)
{
    return error.type() == QDBusError::ServiceUnknown ||
           error.name() == QLatin1StringView("org.freedesktop.DBus.Error.NameHasNoOwner");
}

} // namespace platform::dbus
