// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/main_queue.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <utility>
#include <vector>

namespace fakes {

/// A main loop that turns only when the test says so.
class FakeMainQueue final : public platform::MainQueue
{
public:
    void async(std::function<void()> work) override { asyncAfter({}, std::move(work)); }

    void asyncAfter(std::chrono::milliseconds delay, std::function<void()> work) override
    {
        m_waiting.push_back({.due = m_now + delay, .work = std::move(work)});
    }

    /// Lets `time` pass: runs what is due by then, what is put off meanwhile included, in the order
    /// of its times.
    void advance(std::chrono::milliseconds time = {})
    {
        const auto end = m_now + time;
        for (;;) {
            const auto next = std::ranges::min_element(m_waiting, {}, &Waiting::due);
            if (next == m_waiting.end() || next->due > end)
                break;
            const Waiting taken = std::move(*next);
            m_waiting.erase(next);
            m_now = std::max(m_now, taken.due);
            taken.work();
        }
        m_now = end;
    }

    [[nodiscard]] std::size_t waiting() const { return m_waiting.size(); }

private:
    struct Waiting
    {
        std::chrono::milliseconds due;
        std::function<void()> work;
    };

    std::chrono::milliseconds m_now{};
    std::vector<Waiting> m_waiting;
};

} // namespace fakes
