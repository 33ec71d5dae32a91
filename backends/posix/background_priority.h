// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <sys/resource.h>
#include <unistd.h>

namespace platform::posix {

/// Makes the calling thread give way to ordinary work (nice 10). Not the lowest there is: under
/// eight busy threads on two cores 50 ms of work took a thread of nice 19 up to 16 s, and one of
/// SCHED_IDLE never ended, while samples waited to be saved. Cannot be taken back.
inline void enterBackground()
{
    // On Linux the value belongs to the thread. Failing would only cost politeness.
    ::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), 10);
}

} // namespace platform::posix
