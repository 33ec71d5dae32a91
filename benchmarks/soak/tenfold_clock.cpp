// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "benchmarks/soak/tenfold_clock.h"

namespace soak {

TenfoldClock::TenfoldClock(const platform::Clock& clock)
    : m_clock(clock)
    , m_start(clock.now())
{
}

double TenfoldClock::now() const
{
    return m_start + 10.0 * (m_clock.now() - m_start);
}

} // namespace soak
