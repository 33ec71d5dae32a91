// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/dbus/bus_return.h"

#include "platform/linux/dbus/bus_address.h"

#include <algorithm>
#include <utility>

namespace platform::dbus {

BusReturn::BusReturn(QString address,
                     std::chrono::milliseconds interval,
                     std::chrono::milliseconds longest)
    : m_address(std::move(address))
    , m_interval(interval)
    , m_longest(longest)
{
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, &BusReturn::look);
}

void BusReturn::start()
{
    if (!m_timer.isActive())
        m_timer.start(m_interval);
}

void BusReturn::look()
{
    if (acceptsConnections(m_address)) {
        Q_EMIT busIsBack();
        return;
    }
    m_timer.start(std::min(m_timer.intervalAsDuration() * 2, m_longest));
}

} // namespace platform::dbus
