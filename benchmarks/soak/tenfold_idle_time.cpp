// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "benchmarks/soak/tenfold_idle_time.h"

namespace soak {

TenfoldIdleTime::TenfoldIdleTime(platform::IdleTime& idleTime)
    : m_idleTime(idleTime)
{
}

double TenfoldIdleTime::secondsSinceLastInput()
{
    return 10.0 * m_idleTime.secondsSinceLastInput();
}

} // namespace soak
