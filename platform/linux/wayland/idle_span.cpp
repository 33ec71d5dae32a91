// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/wayland/idle_span.h"

#include <algorithm>
#include <limits>

namespace platform::wayland {

void IdleSpan::start(TimePoint now)
{
    m_state = State::Asked;
    m_since = now;
}

void IdleSpan::idled(TimePoint now)
{
    // Told twice, the first time counts.
    if (m_state == State::Untold || m_state == State::Idle)
        return;
    m_state = State::Idle;
    m_since = now - kNotice;
}

void IdleSpan::resumed()
{
    if (m_state != State::Untold)
        m_state = State::Active;
}

void IdleSpan::forget()
{
    m_state = State::Untold;
}

double IdleSpan::secondsAt(TimePoint now) const
{
    constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();
    switch (m_state) {
    case State::Untold:
        break;
    // Without input the peer would have told by then.
    case State::Asked:
        return now - m_since < kNotice ? kUnknown : 0;
    case State::Active:
        return 0;
    case State::Idle:
        return std::max(0.0, std::chrono::duration<double>(now - m_since).count());
    }
    return kUnknown;
}

} // namespace platform::wayland
