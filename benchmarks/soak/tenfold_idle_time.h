// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/idle_time.h"

namespace soak {

/// The time since the user's last input in the seconds of a clock that runs ten times as fast.
/// Main thread.
class TenfoldIdleTime final : public platform::IdleTime
{
public:
    /// `idleTime` must outlive this.
    explicit TenfoldIdleTime(platform::IdleTime& idleTime);

    [[nodiscard]] double secondsSinceLastInput() override;

private:
    platform::IdleTime& m_idleTime;
};

} // namespace soak
