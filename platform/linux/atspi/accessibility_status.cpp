// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/atspi/accessibility_status.h"

#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>

#include <chrono>
#include <utility>

namespace platform::atspi {

namespace {
const QString kService = QStringLiteral("org.a11y.Bus");
const QString kPath = QStringLiteral("/org/a11y/bus");
const QString kProperties = QStringLiteral("org.freedesktop.DBus.Properties");
constexpr std::chrono::milliseconds kLimit = std::chrono::seconds(5);
} // namespace

AccessibilityStatus::AccessibilityStatus(QDBusConnection sessionBus)
    : m_bus(std::move(sessionBus))
{
    if (!m_bus.isConnected()) {
        m_state = State::Off;
        return;
    }
    connect(&m_owner, &QDBusServiceWatcher::serviceOwnerChanged, this, [this] {
        ask();
        Q_EMIT ownerChanged();
    });
    m_owner.setConnection(m_bus);
    m_owner.setWatchMode(QDBusServiceWatcher::WatchForOwnerChange);
    m_owner.addWatchedService(kService);
    // From any sender: Qt would wait for the bus to tell who a name belongs to, and a signal from a
    // wrong one does no more than make us ask.
    m_bus.connect(
        QString(), kPath, kProperties, QStringLiteral("PropertiesChanged"), this, SLOT(ask()));
    ask();
}

void AccessibilityStatus::ask()
{
    m_shallAskAgain = m_isAsking;
    if (m_isAsking)
        return;
    m_isAsking = true;
    QDBusMessage question =
        QDBusMessage::createMethodCall(kService, kPath, kProperties, QStringLiteral("Get"));
    question.setArguments({QStringLiteral("org.a11y.Status"), QStringLiteral("IsEnabled")});
    question.setAutoStartService(false);
    auto* const watcher = new QDBusPendingCallWatcher(
        m_bus.asyncCall(question, static_cast<int>(kLimit.count())), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, &AccessibilityStatus::readAnswer);
}

void AccessibilityStatus::readAnswer(QDBusPendingCallWatcher* answer)
{
    answer->deleteLater();
    m_isAsking = false;
    if (m_shallAskAgain) {
        ask();
        return;
    }
    const QDBusPendingReply<QDBusVariant> reply = *answer;
    const bool isOn = !reply.isError() && reply.value().variant().toBool();
    become(isOn ? State::On : State::Off);
}

void AccessibilityStatus::become(State state)
{
    if (m_state == state)
        return;
    m_state = state;
    Q_EMIT changed();
}

} // namespace platform::atspi
