// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/desktop/front_window.h"
#include "platform/repeating_timer.h"

#include <memory>
#include <optional>

namespace platform::kwin {

/// The window in front without the moments between two windows: that nothing is in front counts
/// only when it has been so for kEmptyFor.
/// Main thread.
class SettledFrontWindow final
{
public:
    /// Longer than the pause that the script makes between two reports.
    static constexpr std::chrono::milliseconds kEmptyFor{150};

    /// `timers` must outlive this.
    explicit SettledFrontWindow(RepeatingTimers& timers);

    /// Takes what is in front now.
    void report(const std::optional<desktop::FrontWindow>& front);

    /// Nothing is in front, from this moment.
    void clear();

    [[nodiscard]] const std::optional<desktop::FrontWindow>& front() const { return m_front; }

private:
    RepeatingTimers& m_timers;
    std::optional<desktop::FrontWindow> m_front;
    std::unique_ptr<RepeatingTimer> m_untilEmpty;
};

} // namespace platform::kwin
