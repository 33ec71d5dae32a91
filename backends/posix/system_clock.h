// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/clock.h"

#include <chrono>

namespace platform::posix {

/// The system's real-time clock.
class SystemClock final : public Clock
{
public:
    [[nodiscard]] double now() const override
    {
        using namespace std::chrono;
        static constexpr sys_days kReference = 2001y / January / 1;
        return duration<double>(system_clock::now() - kReference).count();
    }
};

} // namespace platform::posix
