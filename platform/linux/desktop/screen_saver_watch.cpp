// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/desktop/screen_saver_watch.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

#include <utility>

namespace platform::desktop {

ScreenSaverWatch::ScreenSaverWatch(const QDBusConnection& bus,
                                   const QString& service,
                                   const QString& path)
    : m_bus(bus)
    , m_service(service)
    , m_path(path)
    , m_owner(service, bus, QDBusServiceWatcher::WatchForOwnerChange)
{
    if (!m_bus.isConnected())
        return;
    // The bus delivers it from the service's owner alone.
    m_bus.connect(
        service, path, service, QStringLiteral("ActiveChanged"), this, SLOT(setActive(bool)));
    connect(
        &m_owner, &QDBusServiceWatcher::serviceUnregistered, this, [this] { setActive(false); });
    connect(&m_owner, &QDBusServiceWatcher::serviceRegistered, this, &ScreenSaverWatch::ask);
    ask();
}

void ScreenSaverWatch::setActive(bool isActive)
{
    ++m_news;
    if (std::exchange(m_isActive, isActive) != isActive)
        Q_EMIT changed();
}

void ScreenSaverWatch::ask()
{
    QDBusMessage question =
        QDBusMessage::createMethodCall(m_service, m_path, m_service, QStringLiteral("GetActive"));
    question.setAutoStartService(false);
    auto* const watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(question), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, news = m_news] {
        watcher->deleteLater();
        const QDBusPendingReply<bool> reply = *watcher;
        if (reply.isValid() && news == m_news)
            setActive(reply.value());
    });
}

} // namespace platform::desktop
