// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/posix/system_clock.h"

#include <chrono>

namespace platform::posix {

double SystemClock::now() const
{
    using namespace std::chrono;
    static constexpr sys_days kReference = 2001y / January / 1;
    return duration<double>(system_clock::now() - kReference).count();
}

} // namespace platform::posix
