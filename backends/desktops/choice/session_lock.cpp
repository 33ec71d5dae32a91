// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/desktops/choice/session_lock.h"

#include <QDBusObjectPath>
#include <QLoggingCategory>

#include <algorithm>
#include <unistd.h>
#include <utility>

namespace platform::desktop {

namespace {

// For developers; off by default.
Q_LOGGING_CATEGORY(lcLock, "velomira.lock", QtCriticalMsg)

struct ScreenSaver
{
    QLatin1StringView service;
    QLatin1StringView path;
    QLatin1StringView interface = service;
};

/// A desktop's screen saver is active while the screen is locked.
constexpr ScreenSaver kScreenSavers[]{
    // KDE, LXQt; a KWin that locks the screen itself has the second object
    {.service = QLatin1StringView("org.freedesktop.ScreenSaver"),
     .path = QLatin1StringView("/ScreenSaver")},
    {.service = QLatin1StringView("org.freedesktop.ScreenSaver"),
     .path = QLatin1StringView("/org/freedesktop/ScreenSaver")},
    // the same KWin where another program has the name above
    {.service = QLatin1StringView("org.kde.KWin"),
     .path = QLatin1StringView("/org/freedesktop/ScreenSaver"),
     .interface = QLatin1StringView("org.freedesktop.ScreenSaver")},
    {.service = QLatin1StringView("org.gnome.ScreenSaver"),
     .path = QLatin1StringView("/org/gnome/ScreenSaver")},
    {.service = QLatin1StringView("org.cinnamon.ScreenSaver"),
     .path = QLatin1StringView("/org/cinnamon/ScreenSaver")},
    {.service = QLatin1StringView("org.mate.ScreenSaver"),
     .path = QLatin1StringView("/org/mate/ScreenSaver")},
    {.service = QLatin1StringView("org.xfce.ScreenSaver"),
     .path = QLatin1StringView("/org/xfce/ScreenSaver")},
};

constexpr QLatin1StringView kLoginManager("org.freedesktop.login1");

} // namespace

SessionLock::SessionLock(const QDBusConnection& sessionBus, const QDBusConnection& systemBus)
    : m_systemBus(systemBus)
    , m_loginManager(kLoginManager, systemBus, QDBusServiceWatcher::WatchForRegistration)
{
    for (const auto& [service, path, interface] : kScreenSavers)
        m_screenSavers.push_back(watch(sessionBus,
                                       {.service = service,
                                        .path = path,
                                        .interface = interface,
                                        .name = QStringLiteral("GetActive"),
                                        .signal = QStringLiteral("ActiveChanged")}));
    if (!m_systemBus.isConnected())
        return;
    connect(&m_loginManager,
            &QDBusServiceWatcher::serviceRegistered,
            this,
            &SessionLock::findLoginSession);
    findLoginSession();
}

bool SessionLock::isLocked() const
{
    return (m_loginSession && m_loginSession->value()) ||
           std::ranges::any_of(m_screenSavers, [](const auto& saver) { return saver->value(); });
}

std::unique_ptr<SessionLock::Watch> SessionLock::watch(const QDBusConnection& bus,
                                                       const dbus::PropertyPlace& place)
{
    auto made = std::make_unique<Watch>(bus, place);
    connect(made.get(), &Watch::changed, this, [this, teller = place.interface] {
        qCInfo(lcLock) << teller << "tells a change; locked:" << isLocked();
        Q_EMIT changed();
    });
    return made;
}

void SessionLock::findLoginSession()
{
    // A process that the user's service manager started is in no session of its own, but the
    // environment names the one it belongs to.
    const QString id = qEnvironmentVariable("XDG_SESSION_ID");
    const auto question = dbus::callOf(
        kLoginManager,
        QStringLiteral("/org/freedesktop/login1"),
        QStringLiteral("org.freedesktop.login1.Manager"),
        id.isEmpty() ? QStringLiteral("GetSessionByPID") : QStringLiteral("GetSession"),
        {id.isEmpty() ? QVariant(static_cast<uint>(::getpid())) : QVariant(id)});
    m_loginQuestion.ask<QDBusObjectPath>(
        m_systemBus,
        question,
        [this](const QDBusPendingReply<QDBusObjectPath>& reply) {
            if (reply.isValid())
                followLoginSession(reply.value().path());
        },
        dbus::kForEver); // nobody waits for it
}

void SessionLock::followLoginSession(const QString& path)
{
    if (std::exchange(m_loginPath, path) == path)
        return;
    const auto former =
        std::exchange(m_loginSession,
                      watch(m_systemBus,
                            {.service = kLoginManager,
                             .path = path,
                             .interface = QStringLiteral("org.freedesktop.login1.Session"),
                             .name = QStringLiteral("LockedHint")}));
    if (former && former->value())
        Q_EMIT changed();
}

} // namespace platform::desktop
