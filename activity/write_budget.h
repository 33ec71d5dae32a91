// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>

namespace activity {

/// How many bytes may be written now, so that over any length of time the average stays at a given
/// rate plus one second's worth (a token bucket). Pure: the caller brings the time.
class WriteBudget final
{
public:
    using Clock = std::chrono::steady_clock;

    explicit WriteBudget(std::int64_t bytesPerSecond)
        : m_rate(static_cast<double>(bytesPerSecond))
        , m_available(m_rate)
    {
    }

    /// Notes that `bytes` are written at `now`; when the next ones may be. As a rule that is at
    /// once; where less than a quarter of a second's worth is left it is when all of it is back, so
    /// that nobody writes in crumbs.
    [[nodiscard]] Clock::time_point charge(std::int64_t bytes, Clock::time_point now)
    {
        const std::chrono::duration<double> passed = now - m_refilled;
        m_refilled = now;
        m_available =
            std::min(m_rate, m_available + (passed.count() * m_rate)) - static_cast<double>(bytes);
        if (m_available >= m_rate / 4)
            return now;
        const std::chrono::duration<double> missing((m_rate - m_available) / m_rate);
        return now + std::chrono::ceil<std::chrono::milliseconds>(missing);
    }

private:
    double m_rate;
    double m_available;
    Clock::time_point m_refilled;
};

} // namespace activity
