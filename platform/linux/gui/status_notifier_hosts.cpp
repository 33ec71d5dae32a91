// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/gui/status_notifier_hosts.h"

#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>

#include <limits>

namespace platform::gui {

namespace {
const QString kWatcher = QStringLiteral("org.kde.StatusNotifierWatcher");
const QString kPath = QStringLiteral("/StatusNotifierWatcher");

/// D-Bus's own value for "no time limit".
constexpr int kForEver = std::numeric_limits<int>::max();
} // namespace

StatusNotifierHosts::StatusNotifierHosts()
    : m_bus(QDBusConnection::sessionBus())
{
}

StatusNotifierHosts::~StatusNotifierHosts() = default;

void StatusNotifierHosts::start()
{
    if (!m_bus.isConnected())
        return;
    connect(&m_owner,
            &QDBusServiceWatcher::serviceOwnerChanged,
            this,
            [this](const QString&, const QString&, const QString& owner) {
                if (owner.isEmpty())
                    forget();
                else
                    ask();
            });
    m_owner.setConnection(m_bus);
    m_owner.setWatchMode(QDBusServiceWatcher::WatchForOwnerChange);
    m_owner.addWatchedService(kWatcher);
    // From any sender: Qt would wait for the bus to tell who a name belongs to, and a signal from a
    // wrong one does no more than make us ask.
    for (const auto* const signal :
         {"StatusNotifierHostRegistered", "StatusNotifierHostUnregistered"})
        m_bus.connect(QString(), kPath, kWatcher, QString::fromLatin1(signal), this, SLOT(ask()));
    ask();
}

void StatusNotifierHosts::ask()
{
    QDBusMessage question = QDBusMessage::createMethodCall(
        kWatcher, kPath, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    question.setArguments({kWatcher, QStringLiteral("IsStatusNotifierHostRegistered")});
    question.setAutoStartService(false);
    // A watcher that hangs keeps one question, which it may answer when it goes on; when it ends,
    // the bus does.
    m_question = std::make_unique<QDBusPendingCallWatcher>(m_bus.asyncCall(question, kForEver));
    connect(m_question.get(),
            &QDBusPendingCallWatcher::finished,
            this,
            &StatusNotifierHosts::readAnswer);
    m_isThere = false;
    Q_EMIT changed();
}

void StatusNotifierHosts::readAnswer()
{
    const QDBusPendingReply<QDBusVariant> answer = *m_question;
    m_question.release()->deleteLater(); // it is what calls
    m_isThere = !answer.isError() && answer.value().variant().toBool();
    Q_EMIT changed();
}

void StatusNotifierHosts::forget()
{
    m_question.reset();
    m_isThere = false;
    Q_EMIT changed();
}

} // namespace platform::gui
