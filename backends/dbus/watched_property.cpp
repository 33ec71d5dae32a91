// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/dbus/watched_property.h"

#include <QDBusArgument>
#include <QDBusVariant>
#include <QVariantMap>

namespace platform::dbus {

PropertyWatch::PropertyWatch(const QDBusConnection& bus, PropertyPlace place, QVariant none)
    : m_bus(bus)
    , m_place(std::move(place))
    , m_owner(m_place.service, bus, QDBusServiceWatcher::WatchForOwnerChange)
    , m_none(std::move(none))
    , m_value(m_none)
{
    if (!m_bus.isConnected())
        return;
    connect(&m_owner,
            &QDBusServiceWatcher::serviceOwnerChanged,
            this,
            [this](const QString&, const QString&, const QString& owner) {
                if (owner.isEmpty())
                    set(m_none);
                else
                    ask();
            });
    // The bus delivers it from the service's owner alone.
    const bool isProperty = m_place.signal.isEmpty();
    m_bus.connect(m_place.service,
                  m_place.path,
                  isProperty ? kPropertiesInterface : m_place.interface,
                  isProperty ? QStringLiteral("PropertiesChanged") : m_place.signal,
                  isProperty ? QStringList(m_place.interface) : QStringList(),
                  {},
                  this,
                  SLOT(hear(QDBusMessage)));
    ask();
}

void PropertyWatch::hear(const QDBusMessage& signal)
{
    const QVariantList arguments = signal.arguments();
    if (!m_place.signal.isEmpty()) {
        set(arguments.value(0));
        return;
    }
    const auto properties = qdbus_cast<QVariantMap>(arguments.value(1));
    if (const auto found = properties.constFind(m_place.name); found != properties.constEnd())
        set(*found);
    else if (arguments.value(2).toStringList().contains(m_place.name))
        ask();
}

void PropertyWatch::ask()
{
    if (m_place.signal.isEmpty()) {
        m_question.ask<QDBusVariant>(
            m_bus,
            readOf(m_place.service, m_place.path, m_place.interface, m_place.name),
            [this](const QDBusPendingReply<QDBusVariant>& reply) {
                set(reply.isValid() ? reply.value().variant() : m_none);
            },
            kForEver); // nobody waits: news or another owner end it
        return;
    }
    m_question.ask<>(
        m_bus,
        callOf(m_place.service, m_place.path, m_place.interface, m_place.name),
        [this](const QDBusPendingReply<>& reply) {
            set(reply.isValid() ? reply.reply().arguments().value(0) : m_none);
        },
        kForEver);
}

// What has been asked before is no newer than what is told now.
void PropertyWatch::set(const QVariant& value)
{
    m_question.forget();
    const QVariant& told = value.metaType() == m_none.metaType() ? value : m_none;
    if (std::exchange(m_value, told) != told)
        Q_EMIT changed();
}

} // namespace platform::dbus
