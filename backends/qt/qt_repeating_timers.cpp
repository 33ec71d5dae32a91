// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/qt/qt_repeating_timers.h"

#include <QTimer>

#include <utility>

namespace platform::qt {

namespace {

class QtRepeatingTimer final : public RepeatingTimer
{
public:
    QtRepeatingTimer(std::chrono::milliseconds interval, std::function<void()> callback)
        : m_timer(new QTimer)
    {
        m_timer->setTimerType(Qt::PreciseTimer);
        QObject::connect(m_timer, &QTimer::timeout, m_timer, std::move(callback));
        m_timer->start(interval);
    }

    ~QtRepeatingTimer() override
    {
        // The timer may be the one whose callback is running.
        m_timer->stop();
        m_timer->deleteLater();
    }

    QtRepeatingTimer(const QtRepeatingTimer&) = delete;
    QtRepeatingTimer& operator=(const QtRepeatingTimer&) = delete;

private:
    QTimer* m_timer;
};

} // namespace

void QtMainQueue::async(std::function<void()> work)
{
    asyncAfter(std::chrono::milliseconds(0), std::move(work));
}

void QtMainQueue::asyncAfter(std::chrono::milliseconds delay, std::function<void()> work)
{
    QTimer::singleShot(delay, Qt::PreciseTimer, &m_context, std::move(work));
}

std::unique_ptr<RepeatingTimer> QtRepeatingTimers::schedule(std::chrono::milliseconds interval,
                                                            std::function<void()> callback)
{
    return std::make_unique<QtRepeatingTimer>(interval, std::move(callback));
}

} // namespace platform::qt
