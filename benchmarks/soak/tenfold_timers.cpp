// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "benchmarks/soak/tenfold_timers.h"

#include <utility>

namespace soak {

TenfoldTimers::TenfoldTimers(platform::RepeatingTimers& timers)
    : m_timers(timers)
{
}

std::unique_ptr<platform::RepeatingTimer>
TenfoldTimers::schedule(std::chrono::milliseconds interval, std::function<void()> callback)
{
    return m_timers.schedule(interval / 10, std::move(callback));
}

} // namespace soak
