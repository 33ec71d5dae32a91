// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/kwin/kwin_lock.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>

#include <utility>

namespace platform::kwin {

namespace {

constexpr int kLimitMs = 5000; // asked once; usual is a millisecond

QString objectPath()
{
    return QStringLiteral("/org/freedesktop/ScreenSaver");
}

QString interfaceName()
{
    return QStringLiteral("org.freedesktop.ScreenSaver");
}

} // namespace

KWinLock::KWinLock(QDBusConnection bus)
    : m_bus(std::move(bus))
{
}

void KWinLock::follow(const QString& kwin)
{
    ++m_changes;
    m_isLocked = false;
    if (!m_kwin.isEmpty())
        listen(false);
    m_kwin = kwin;
    if (m_kwin.isEmpty())
        return;
    listen(true);
    askForState();
}

void KWinLock::listen(bool on)
{
    const QString change = QStringLiteral("ActiveChanged");
    const char* const slot = SLOT(takeChange(bool));
    if (on)
        m_bus.connect(m_kwin, objectPath(), interfaceName(), change, this, slot);
    else
        m_bus.disconnect(m_kwin, objectPath(), interfaceName(), change, this, slot);
}

void KWinLock::askForState()
{
    const QDBusMessage question = QDBusMessage::createMethodCall(
        m_kwin, objectPath(), interfaceName(), QStringLiteral("GetActive"));
    auto* const watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(question, kLimitMs), this);
    connect(
        watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, changes = m_changes] {
            watcher->deleteLater();
            const QDBusMessage reply = watcher->reply();
            if (changes == m_changes && reply.type() == QDBusMessage::ReplyMessage)
                m_isLocked = reply.arguments().value(0).toBool();
        });
}

void KWinLock::takeChange(bool isLocked)
{
    ++m_changes;
    m_isLocked = isLocked;
}

} // namespace platform::kwin
