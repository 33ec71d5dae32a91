// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/desktop/login_session_watch.h"

#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>

#include <unistd.h>
#include <utility>

namespace platform::desktop {

namespace {

constexpr const char* kService = "org.freedesktop.login1";
constexpr const char* kManager = "org.freedesktop.login1.Manager";
constexpr const char* kSession = "org.freedesktop.login1.Session";
constexpr const char* kProperties = "org.freedesktop.DBus.Properties";
constexpr const char* kLockedHint = "LockedHint";

QDBusMessage call(const QString& path, const char* interface, const char* method)
{
    QDBusMessage message = QDBusMessage::createMethodCall(QString::fromLatin1(kService),
                                                          path,
                                                          QString::fromLatin1(interface),
                                                          QString::fromLatin1(method));
    message.setAutoStartService(false);
    return message;
}

} // namespace

LoginSessionWatch::LoginSessionWatch(const QDBusConnection& systemBus)
    : m_bus(systemBus)
    , m_owner(QString::fromLatin1(kService), systemBus, QDBusServiceWatcher::WatchForOwnerChange)
{
    if (!m_bus.isConnected())
        return;
    connect(
        &m_owner, &QDBusServiceWatcher::serviceUnregistered, this, [this] { setLocked(false); });
    connect(
        &m_owner, &QDBusServiceWatcher::serviceRegistered, this, &LoginSessionWatch::findSession);
    findSession();
}

void LoginSessionWatch::findSession()
{
    // A process that the user's service manager started is in no session of its own, but the
    // environment names the one it belongs to.
    const QString id = qEnvironmentVariable("XDG_SESSION_ID");
    const QString manager = QStringLiteral("/org/freedesktop/login1");
    QDBusMessage question =
        call(manager, kManager, id.isEmpty() ? "GetSessionByPID" : "GetSession");
    question << (id.isEmpty() ? QVariant(static_cast<uint>(::getpid())) : QVariant(id));
    auto* const watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(question), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
        watcher->deleteLater();
        const QDBusPendingReply<QDBusObjectPath> reply = *watcher;
        if (reply.isValid())
            follow(reply.value().path());
    });
}

void LoginSessionWatch::follow(const QString& session)
{
    if (const QString former = std::exchange(m_session, session); former != session) {
        const QString service = QString::fromLatin1(kService);
        const QString interface = QString::fromLatin1(kProperties);
        const QString signal = QStringLiteral("PropertiesChanged");
        const char* const slot = SLOT(propertiesChanged(QString, QVariantMap, QStringList));
        if (!former.isEmpty())
            m_bus.disconnect(service, former, interface, signal, this, slot);
        m_bus.connect(service, session, interface, signal, this, slot);
    }
    QDBusMessage question = call(session, kProperties, "Get");
    question << QString::fromLatin1(kSession) << QString::fromLatin1(kLockedHint);
    auto* const watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(question), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, news = m_news] {
        watcher->deleteLater();
        const QDBusPendingReply<QDBusVariant> reply = *watcher;
        if (reply.isValid() && news == m_news)
            setLocked(reply.value().variant().toBool());
    });
}

void LoginSessionWatch::propertiesChanged(const QString& interface,
                                          const QVariantMap& properties,
                                          const QStringList& /*invalidated*/)
{
    const auto hint = properties.constFind(QString::fromLatin1(kLockedHint));
    if (interface == QLatin1StringView(kSession) && hint != properties.constEnd())
        setLocked(hint->toBool());
}

void LoginSessionWatch::setLocked(bool isLocked)
{
    ++m_news;
    if (std::exchange(m_isLocked, isLocked) != isLocked)
        Q_EMIT changed();
}

} // namespace platform::desktop
