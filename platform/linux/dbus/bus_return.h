// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QString>
#include <QTimer>

#include <chrono>

namespace platform::dbus {

/// Waits for a session bus that has gone away.
/// Thread of its creation, which needs an event loop; blocks nowhere.
class BusReturn final : public QObject
{
    Q_OBJECT

public:
    /// Looks for a bus at `address` first after `interval`, then at intervals that double up to
    /// `longest`.
    explicit BusReturn(QString address,
                       std::chrono::milliseconds interval = std::chrono::seconds(1),
                       std::chrono::milliseconds longest = std::chrono::seconds(30));

    /// Begins to look; nothing when it already does.
    void start();

Q_SIGNALS:
    /// Somebody accepts connections at the address again. Once for each start().
    void busIsBack();

private:
    void look();

    QString m_address;
    std::chrono::milliseconds m_interval;
    std::chrono::milliseconds m_longest;
    QTimer m_timer;
};

} // namespace platform::dbus
