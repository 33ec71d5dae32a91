// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/desktop/bus_name_owner.h"

#include <QDBusError>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

#include <utility>

namespace platform::desktop {

namespace {
constexpr int kLimitMs = 5000; // nobody waits for it
} // namespace

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
                m_question.reset(); // its answer is no newer
                set(owner);
            });
    m_watcher.setConnection(m_bus);
    m_watcher.setWatchMode(QDBusServiceWatcher::WatchForOwnerChange);
    m_watcher.addWatchedService(m_name);
    m_bus.connect(QString(),
                  QStringLiteral("/org/freedesktop/DBus/Local"),
                  QStringLiteral("org.freedesktop.DBus.Local"),
                  QStringLiteral("Disconnected"),
                  this,
                  SLOT(loseBus()));
    ask();
}

BusNameOwner::~BusNameOwner() = default;

void BusNameOwner::ask()
{
    const QString daemon = QStringLiteral("org.freedesktop.DBus");
    QDBusMessage question = QDBusMessage::createMethodCall(
        daemon, QStringLiteral("/org/freedesktop/DBus"), daemon, QStringLiteral("GetNameOwner"));
    question.setArguments({m_name});
    m_question = std::make_unique<QDBusPendingCallWatcher>(m_bus.asyncCall(question, kLimitMs));
    connect(m_question.get(), &QDBusPendingCallWatcher::finished, this, &BusNameOwner::readAnswer);
}

void BusNameOwner::readAnswer()
{
    const QDBusPendingReply<QString> answer = *m_question;
    m_question.release()->deleteLater(); // it is what calls
    // An error is the answer for a name without owner, unless the bus has not answered.
    if (answer.isError() && answer.error().type() == QDBusError::NoReply)
        ask();
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
    m_question.reset();
    set(QString());
}

} // namespace platform::desktop
