// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/desktop/login_session_watch.h"
#include "platform/linux/desktop/screen_saver_watch.h"

#include <QDBusConnection>
#include <QObject>

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
    std::vector<std::unique_ptr<ScreenSaverWatch>> m_screenSavers;
    LoginSessionWatch m_loginSession;
};

} // namespace platform::desktop
