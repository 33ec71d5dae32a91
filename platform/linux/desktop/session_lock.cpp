// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/desktop/session_lock.h"

#include <algorithm>

namespace platform::desktop {

namespace {

struct ScreenSaver
{
    const char* service;
    const char* path;
};

/// The interface of each is named as the service is.
constexpr ScreenSaver kScreenSavers[]{
    {.service = "org.freedesktop.ScreenSaver", .path = "/ScreenSaver"}, // KDE, LXQt
    {.service = "org.freedesktop.ScreenSaver", .path = "/org/freedesktop/ScreenSaver"},
    {.service = "org.gnome.ScreenSaver", .path = "/org/gnome/ScreenSaver"},
    {.service = "org.cinnamon.ScreenSaver", .path = "/org/cinnamon/ScreenSaver"},
    {.service = "org.mate.ScreenSaver", .path = "/org/mate/ScreenSaver"},
    {.service = "org.xfce.ScreenSaver", .path = "/org/xfce/ScreenSaver"},
};

} // namespace

SessionLock::SessionLock(const QDBusConnection& sessionBus, const QDBusConnection& systemBus)
    : m_loginSession(systemBus)
{
    for (const ScreenSaver& known : kScreenSavers) {
        const QString service = QString::fromLatin1(known.service);
        const auto& watch = m_screenSavers.emplace_back(std::make_unique<ScreenSaverWatch>(
            sessionBus, service, QString::fromLatin1(known.path)));
        connect(watch.get(), &ScreenSaverWatch::changed, this, &SessionLock::changed);
    }
    connect(&m_loginSession, &LoginSessionWatch::changed, this, &SessionLock::changed);
}

bool SessionLock::isLocked() const
{
    return m_loginSession.isLocked() ||
           std::ranges::any_of(m_screenSavers, [](const auto& watch) { return watch->isActive(); });
}

} // namespace platform::desktop
