// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/qt/qt_main_queue.h"

#include <QTimer>

#include <utility>

namespace platform::qt {

void QtMainQueue::async(std::function<void()> work)
{
    asyncAfter(std::chrono::milliseconds(0), std::move(work));
}

void QtMainQueue::asyncAfter(std::chrono::milliseconds delay, std::function<void()> work)
{
    QTimer::singleShot(delay, Qt::PreciseTimer, &m_context, std::move(work));
}

} // namespace platform::qt
