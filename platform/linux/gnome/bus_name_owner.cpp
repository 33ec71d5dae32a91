// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/gnome/bus_name_owner.h"

#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

namespace platform::gnome {

BusNameOwner::BusNameOwner(const QDBusConnection& bus, const QString& name)
    : m_bus(bus)
{
    if (!m_bus.isConnected()) {
        m_isKnown = true;
        return;
    }
    connect(&m_watcher,
            &QDBusServiceWatcher::serviceOwnerChanged,
            this,
            [this](const QString&, const QString&, const QString& owner) { set(owner); });
    m_watcher.setConnection(m_bus);
    m_watcher.setWatchMode(QDBusServiceWatcher::WatchForOwnerChange);
    m_watcher.addWatchedService(name);
    m_bus.connect(QString(),
                  QStringLiteral("/org/freedesktop/DBus/Local"),
                  QStringLiteral("org.freedesktop.DBus.Local"),
                  QStringLiteral("Disconnected"),
                  this,
                  SLOT(loseBus()));

    const QString daemon = QStringLiteral("org.freedesktop.DBus");
    QDBusMessage question = QDBusMessage::createMethodCall(
        daemon, QStringLiteral("/org/freedesktop/DBus"), daemon, QStringLiteral("GetNameOwner"));
    question.setArguments({name});
    m_question = std::make_unique<QDBusPendingCallWatcher>(m_bus.asyncCall(question));
    connect(m_question.get(), &QDBusPendingCallWatcher::finished, this, &BusNameOwner::readAnswer);
}

BusNameOwner::~BusNameOwner() = default;

void BusNameOwner::readAnswer()
{
    const QDBusPendingReply<QString> answer = *m_question;
    m_question.release()->deleteLater(); // it is what calls
    // An error is the answer for a name without owner.
    if (!m_isKnown)
        set(answer.isError() ? QString() : answer.value());
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
    set(QString());
}

} // namespace platform::gnome
