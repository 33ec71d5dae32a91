// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/repeating_timer.h"

namespace soak {

/// Timers that fire ten times as often as they are asked to.
/// Main thread.
class TenfoldTimers final : public platform::RepeatingTimers
{
public:
    /// `timers` must outlive this.
    explicit TenfoldTimers(platform::RepeatingTimers& timers);

    [[nodiscard]] std::unique_ptr<platform::RepeatingTimer>
    schedule(std::chrono::milliseconds interval, std::function<void()> callback) override;

private:
    platform::RepeatingTimers& m_timers;
};

} // namespace soak
