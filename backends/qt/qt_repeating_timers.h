// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/repeating_timer.h"

namespace platform::qt {

/// Repeating timers on Qt's event loop.
class QtRepeatingTimers final : public RepeatingTimers
{
public:
    [[nodiscard]] std::unique_ptr<RepeatingTimer> schedule(std::chrono::milliseconds interval,
                                                           std::function<void()> callback) override;
};

} // namespace platform::qt
