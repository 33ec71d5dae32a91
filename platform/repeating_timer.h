// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace platform {

/// A running repeating timer. Destroying it stops it: the callback is not called again.
/// Main thread.
class RepeatingTimer
{
public:
    RepeatingTimer() = default;
    RepeatingTimer(const RepeatingTimer&) = delete;
    RepeatingTimer& operator=(const RepeatingTimer&) = delete;
    virtual ~RepeatingTimer() = default;
};

/// Makes repeating timers on the main loop.
/// Main thread.
class RepeatingTimers
{
public:
    RepeatingTimers() = default;
    RepeatingTimers(const RepeatingTimers&) = delete;
    RepeatingTimers& operator=(const RepeatingTimers&) = delete;
    virtual ~RepeatingTimers() = default;

    /// Calls `callback` every `interval`, first one interval from now, until the returned timer is
    /// destroyed (which the callback may do). Precise to a millisecond where the machine keeps up;
    /// firings missed while the loop was busy or the process suspended are dropped, not made up.
    /// The caller owns the timer.
    [[nodiscard]] virtual std::unique_ptr<RepeatingTimer>
    schedule(std::chrono::milliseconds interval, std::function<void()> callback) = 0;
};

} // namespace platform
