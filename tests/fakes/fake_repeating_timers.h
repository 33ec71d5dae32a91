// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/repeating_timer.h"

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

namespace fakes {

/// Timers that fire only when the test says so.
class FakeRepeatingTimers final : public platform::RepeatingTimers
{
public:
    [[nodiscard]] std::unique_ptr<platform::RepeatingTimer>
    schedule(std::chrono::milliseconds interval, std::function<void()> callback) override
    {
        auto timer = std::make_unique<Timer>(*this, interval, std::move(callback));
        ++scheduled;
        m_running.push_back(timer.get());
        return timer;
    }

    /// Fires every running timer once.
    void fire()
    {
        const std::vector<Timer*> running = m_running;
        for (Timer* timer : running)
            timer->callback();
    }

    /// Fires the running timer that was made last.
    void fireLast()
    {
        const std::function<void()> callback = m_running.back()->callback;
        callback();
    }

    [[nodiscard]] std::size_t running() const { return m_running.size(); }

    [[nodiscard]] std::chrono::milliseconds interval() const { return m_running.front()->interval; }

    /// Of all running timers, as they were made.
    [[nodiscard]] std::vector<std::chrono::milliseconds> intervals() const
    {
        std::vector<std::chrono::milliseconds> all;
        for (const Timer* timer : m_running)
            all.push_back(timer->interval);
        return all;
    }

    int scheduled = 0;

private:
    struct Timer final : platform::RepeatingTimer
    {
        Timer(FakeRepeatingTimers& ownerOfAll,
              std::chrono::milliseconds every,
              std::function<void()> action)
            : owner(ownerOfAll)
            , interval(every)
            , callback(std::move(action))
        {
        }

        ~Timer() override { std::erase(owner.m_running, this); }

        Timer(const Timer&) = delete;
        Timer& operator=(const Timer&) = delete;

        FakeRepeatingTimers& owner;
        std::chrono::milliseconds interval;
        std::function<void()> callback;
    };

    std::vector<Timer*> m_running;
};

} // namespace fakes
