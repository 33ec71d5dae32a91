// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/x11/x11_idle_time.h"

#include "platform/linux/x11/x11_connection.h"
#include "platform/linux/x11/x11_mirror.h"

#include <limits>

namespace platform::x11 {

X11IdleTime::X11IdleTime(const X11Connection& connection, X11Mirror& mirror)
    : m_connection(connection)
    , m_mirror(mirror)
{
}

bool X11IdleTime::isAvailable() const
{
    return m_connection.isAlive() && m_connection.hasScreenSaver();
}

double X11IdleTime::secondsSinceLastInput()
{
    return m_connection.hasScreenSaver() ? m_mirror.idleSeconds()
                                         : std::numeric_limits<double>::quiet_NaN();
}

} // namespace platform::x11
