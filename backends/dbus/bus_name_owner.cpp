// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/dbus/bus_name_owner.h"

#include "backends/dbus/bus_address.h"

#include <utility>

namespace platform::desktop {

BusNameOwner::BusNameOwner(QDBusConnection bus, QString name)
    : m_bus(std::move(bus))
    , m_name(std::move(name))
{
    if (!m_bus.isConnected()) {
        m_isKnown = true;
        return;
    }
    connect(&m_watcher,
            &QDBusServiceWatcher::serviceOwnerChanged,
            this,
            [this](const QString&, const QString&, const QString& owner) {
                m_question.forget(); // its answer is no newer
                set(owner);
            });
    m_watcher.setConnection(m_bus);
    m_watcher.setWatchMode(QDBusServiceWatcher::WatchForOwnerChange);
    m_watcher.addWatchedService(m_name);
    dbus::connectToLoss(m_bus, this, SLOT(loseBus()));
    ask();
}

void BusNameOwner::ask()
{
    m_question.ask<QString>(m_bus,
                            dbus::busCall(QLatin1StringView("GetNameOwner"), {m_name}),
                            [this](const QDBusPendingReply<QString>& answer) {
                                // An error is the answer for a name without owner, unless the bus
                                // has not answered.
                                if (answer.isError() &&
                                    answer.error().type() == QDBusError::NoReply)
                                    ask();
                                set(answer.isError() ? QString() : answer.value());
                            });
}

void BusNameOwner::set(const QString& owner)
{
    if (m_isKnown && owner == m_owner)
        return;
    m_isKnown = true;
    m_owner = owner;
    Q_EMIT changed();
}

void BusNameOwner::loseBus()
{
    m_question.forget();
    set(QString());
}

} // namespace platform::desktop
