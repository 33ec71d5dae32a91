// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/posix/timer_slack.h"

#include <sys/prctl.h>

namespace platform::posix {

namespace {

constexpr unsigned long kUsual = 0;            // the system's name for what the thread began with
constexpr unsigned long kLongest = 50'000'000; // nanoseconds

unsigned long slack()
{
    return static_cast<unsigned long>(::prctl(PR_GET_TIMERSLACK));
}

void setSlack(unsigned long nanoseconds)
{
    ::prctl(PR_SET_TIMERSLACK, nanoseconds);
}

} // namespace

void letTimersWait(bool mayWait)
{
    setSlack(mayWait ? kLongest : kUsual);
}

UsualTimerSlack::UsualTimerSlack()
    : m_before(slack())
{
    setSlack(kUsual);
}

UsualTimerSlack::~UsualTimerSlack()
{
    setSlack(m_before);
}

} // namespace platform::posix
