// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/posix/background_priority.h"

#include <sys/resource.h>
#include <unistd.h>

namespace platform::posix {

void enterBackground()
{
    // On Linux the value belongs to the thread. Failing would only cost politeness.
    ::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), 10);
}

} // namespace platform::posix
