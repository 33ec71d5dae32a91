// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <functional>

namespace platform {

/// Puts work off to a later turn of the main loop.
/// Main thread; never blocks.
class MainQueue
{
public:
    MainQueue() = default;
    MainQueue(const MainQueue&) = delete;
    MainQueue& operator=(const MainQueue&) = delete;
    virtual ~MainQueue() = default;

    /// Runs `work` on the next turn, after everything that was queued before it.
    virtual void async(std::function<void()> work) = 0;

    /// Runs `work` once `delay` has passed, precise to a few milliseconds. What is still waiting
    /// when the process ends does not run.
    virtual void asyncAfter(std::chrono::milliseconds delay, std::function<void()> work) = 0;
};

} // namespace platform
