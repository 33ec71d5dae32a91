// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>

namespace activity {

/// How many bytes may be written now, so that over any length of time the average stays at a given
/// rate plus one second's worth. A token bucket; pure, the caller brings the time.
/// One thread at a time.
class WriteBudget final
{
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    explicit WriteBudget(std::int64_t bytesPerSecond);

    /// Bytes that may be written at `now`: at least a quarter of a second's worth, or 0 while there
    /// is less, so that nobody writes in crumbs as they trickle in.
    [[nodiscard]] std::int64_t available(TimePoint now);

    /// Notes that `bytes` have been written at `now`, even more than were available.
    void charge(std::int64_t bytes, TimePoint now);

    /// How long from `now` until a full second's worth may be written.
    [[nodiscard]] std::chrono::milliseconds untilFull(TimePoint now);

private:
    void refill(TimePoint now);

    double m_bytesPerSecond;
    double m_available;
    TimePoint m_refilled;
};

} // namespace activity
