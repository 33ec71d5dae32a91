// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariantMap>

namespace platform::desktop {

/// Whether the login manager calls this process's session locked (org.freedesktop.login1, property
/// LockedHint of the session). False where there is none, or it does not say.
/// Main thread, with an event loop; never waits for it and does not start it.
class LoginSessionWatch final : public QObject
{
    Q_OBJECT

public:
    explicit LoginSessionWatch(const QDBusConnection& systemBus);

    [[nodiscard]] bool isLocked() const { return m_isLocked; }

Q_SIGNALS:
    void changed();

private:
    Q_SLOT void propertiesChanged(const QString& interface,
                                  const QVariantMap& properties,
                                  const QStringList& invalidated);

    void findSession();
    void follow(const QString& session);
    void setLocked(bool isLocked);

    QDBusConnection m_bus;
    QDBusServiceWatcher m_owner;
    QString m_session;
    bool m_isLocked = false;
    /// Answers to questions that were asked before the latest news are old.
    int m_news = 0;
};

} // namespace platform::desktop
