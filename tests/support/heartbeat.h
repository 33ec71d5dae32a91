// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QTimer>

#include <algorithm>
#include <chrono>

namespace support {

/// Tells how long the event loop of its thread was away, at most: a timer that should run every
/// 10 ms.
class Heartbeat final : public QObject
{
public:
    Heartbeat()
    {
        m_timer.setTimerType(Qt::PreciseTimer);
        connect(&m_timer, &QTimer::timeout, this, [this] { beat(); });
        m_timer.start(10);
    }

    /// Between two beats, in milliseconds, from the construction or the last restart() until now.
    [[nodiscard]] double longestGap() const
    {
        return std::chrono::duration<double, std::milli>(std::max(m_longest, Clock::now() - m_last))
            .count();
    }

    void restart()
    {
        m_last = Clock::now();
        m_longest = {};
    }

private:
    using Clock = std::chrono::steady_clock;

    void beat()
    {
        const Clock::time_point now = Clock::now();
        m_longest = std::max(m_longest, now - m_last);
        m_last = now;
    }

    QTimer m_timer;
    Clock::time_point m_last = Clock::now();
    Clock::duration m_longest{};
};

} // namespace support
