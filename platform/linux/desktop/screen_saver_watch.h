// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QObject>
#include <QString>

namespace platform::desktop {

/// Whether a desktop's screen saver is active, which is how desktops tell that their screen is
/// locked. It may come, go and come back.
/// Main thread, with an event loop; never waits for it and does not start it.
class ScreenSaverWatch final : public QObject
{
    Q_OBJECT

public:
    /// The service's object `path`; its interface is named as the service is.
    ScreenSaverWatch(const QDBusConnection& bus, const QString& service, const QString& path);

    [[nodiscard]] bool isActive() const { return m_isActive; }

Q_SIGNALS:
    void changed();

private:
    Q_SLOT void setActive(bool isActive);
    void ask();

    QDBusConnection m_bus;
    QString m_service;
    QString m_path;
    QDBusServiceWatcher m_owner;
    bool m_isActive = false;
    /// Answers to questions that were asked before the latest news are old.
    int m_news = 0;
};

} // namespace platform::desktop
