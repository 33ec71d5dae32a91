// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/main_queue.h"
#include "platform/repeating_timer.h"

#include <QObject>

namespace platform::qt {

/// The main queue on Qt's event loop.
class QtMainQueue final : public MainQueue
{
public:
    void async(std::function<void()> work) override;
    void asyncAfter(std::chrono::milliseconds delay, std::function<void()> work) override;

private:
    QObject m_context; // what waits when the queue ends does not run
};

/// Repeating timers on Qt's event loop.
class QtRepeatingTimers final : public RepeatingTimers
{
public:
    [[nodiscard]] std::unique_ptr<RepeatingTimer> schedule(std::chrono::milliseconds interval,
                                                           std::function<void()> callback) override;
};

} // namespace platform::qt
