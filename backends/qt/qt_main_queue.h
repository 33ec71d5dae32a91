// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/main_queue.h"

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

} // namespace platform::qt
