// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QString>

namespace platform::kwin {

/// Whether the screen is locked. KWin locks it itself under Wayland, and goes on calling the window
/// active that was in front before.
/// Main thread; waits for nobody.
class KWinLock final : public QObject
{
    Q_OBJECT

public:
    explicit KWinLock(QDBusConnection bus);
    KWinLock(const KWinLock&) = delete;
    KWinLock& operator=(const KWinLock&) = delete;
    ~KWinLock() override = default;

    /// From now on KWin is the connection of this unique name; empty: there is none.
    void follow(const QString& kwin);

    /// By the latest that is known; not while nobody is followed, and not in a KWin that locks
    /// nothing.
    [[nodiscard]] bool isLocked() const { return m_isLocked; }

private:
    Q_SLOT void takeChange(bool isLocked);
    void listen(bool on);
    void askForState();

    QDBusConnection m_bus;
    QString m_kwin;
    bool m_isLocked = false;
    int m_changes = 0; ///< What has been answered before a change no longer matters.
};

} // namespace platform::kwin
