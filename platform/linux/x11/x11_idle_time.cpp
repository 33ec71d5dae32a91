// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/x11/x11_idle_time.h"

#include "platform/linux/x11/x11_connection.h"
#include "platform/linux/x11/x11_window_query.h"

#include <limits>
#include <xcb/screensaver.h>

namespace platform::x11 {

X11IdleTime::X11IdleTime(X11Connection& connection, X11WindowQuery& windows)
    : m_connection(connection)
    , m_windows(windows)
{
}

bool X11IdleTime::isAvailable() const
{
    return m_connection.isAlive() && m_connection.hasScreenSaver();
}

double X11IdleTime::secondsSinceLastInput()
{
    constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();
    if (!isAvailable())
        return kUnknown;
    // First, so that waiting for the idle time waits for the focused window as well.
    m_windows.sendAhead();
    const auto cookie = xcb_screensaver_query_info(m_connection.get(), m_connection.root());
    const auto info = m_connection.reply<xcb_screensaver_query_info_reply_t>(cookie.sequence);
    return info ? info->ms_since_user_input / 1000.0 : kUnknown;
}

} // namespace platform::x11
