// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/clock.h"

namespace platform::posix {

/// The system's real-time clock.
class SystemClock final : public Clock
{
public:
    [[nodiscard]] double now() const override;
};

} // namespace platform::posix
