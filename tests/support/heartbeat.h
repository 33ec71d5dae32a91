// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <fstream>

namespace support {

/// Tells how long the event loop of the process's main thread was away, at most: a timer that
/// should run every 10 ms. Not counted is the time in which the thread was ready and other
/// programs had the processors: a test machine builds and tests several things at once.
/// Main thread.
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
        return std::chrono::duration<double, std::milli>(std::max(m_longest, since(m_last, now())))
            .count();
    }

    void restart()
    {
        m_last = now();
        m_longest = {};
    }

private:
    using Nanoseconds = std::chrono::nanoseconds;

    struct Moment
    {
        std::chrono::steady_clock::time_point time;
        Nanoseconds waited; // for a processor, ever; zero where the kernel does not count it
    };

    static Moment now()
    {
        std::ifstream file("/proc/self/schedstat"); // of the main thread: "running waiting slices"
        Nanoseconds::rep ran = 0;
        Nanoseconds::rep waited = 0;
        if (!(file >> ran >> waited))
            waited = 0;
        return {.time = std::chrono::steady_clock::now(), .waited = Nanoseconds(waited)};
    }

    static Nanoseconds since(const Moment& from, const Moment& to)
    {
        return std::max(Nanoseconds(to.time - from.time) - (to.waited - from.waited),
                        Nanoseconds::zero());
    }

    void beat()
    {
        const Moment moment = now();
        m_longest = std::max(m_longest, since(m_last, moment));
        m_last = moment;
    }

    QTimer m_timer;
    Moment m_last = now();
    Nanoseconds m_longest{};
};

} // namespace support
