// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

namespace platform::posix {

/// Whether timers of the calling thread may run out up to 50 ms late, so that the system can wake
/// up for several at a time, its other programs' included. Threads and programs that it starts
/// meanwhile have that in common with it.
void letTimersWait(bool mayWait);

/// While an object exists, programs that this thread starts have the timers that it was started
/// with.
class UsualTimerSlack final
{
public:
    UsualTimerSlack();
    UsualTimerSlack(const UsualTimerSlack&) = delete;
    UsualTimerSlack& operator=(const UsualTimerSlack&) = delete;
    ~UsualTimerSlack();

private:
    unsigned long m_before;
};

} // namespace platform::posix
