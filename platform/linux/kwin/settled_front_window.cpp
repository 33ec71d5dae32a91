// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/kwin/settled_front_window.h"

namespace platform::kwin {

SettledFrontWindow::SettledFrontWindow(RepeatingTimers& timers)
    : m_timers(timers)
{
}

void SettledFrontWindow::report(const std::optional<desktop::FrontWindow>& front)
{
    if (front) {
        m_untilEmpty.reset();
        m_front = front;
    } else if (m_front && !m_untilEmpty) {
        m_untilEmpty = m_timers.schedule(kEmptyFor, [this] { clear(); });
    }
}

void SettledFrontWindow::clear()
{
    m_untilEmpty.reset();
    m_front.reset();
}

} // namespace platform::kwin
