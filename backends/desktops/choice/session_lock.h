// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/dbus/watched_property.h"

#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QObject>
#include <QString>

#include <memory>
#include <vector>

namespace platform::desktop {

/// Whether the session is locked, by the desktop's screen saver or the login manager. Either alone
/// counts: some desktops tell one of them, some both.
/// Main thread, with an event loop; never waits for a peer and starts none.
class SessionLock final : public QObject
{
    Q_OBJECT

public:
    /// Either bus may be missing: a connection that is not connected tells nothing.
    SessionLock(const QDBusConnection& sessionBus, const QDBusConnection& systemBus);

    [[nodiscard]] bool isLocked() const;

Q_SIGNALS:
    /// One of them tells something else now.
    void changed();

private:
    using Watch = dbus::WatchedProperty<bool>;

    [[nodiscard]] std::unique_ptr<Watch> watch(const QDBusConnection& bus,
                                               const dbus::PropertyPlace& place);
    void findLoginSession();
    void followLoginSession(const QString& path);

    std::vector<std::unique_ptr<Watch>> m_screenSavers;
    QDBusConnection m_systemBus;
    QDBusServiceWatcher m_loginManager;
    dbus::Question m_loginQuestion;
    QString m_loginPath; ///< of this process's session
    std::unique_ptr<Watch> m_loginSession;
};

} // namespace platform::desktop
