// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/x11/x11_window_title.h"

#include "platform/linux/x11/x11_mirror.h"

namespace platform::x11 {

X11WindowTitle::X11WindowTitle(X11Mirror& mirror)
    : m_mirror(mirror)
{
}

std::optional<QString> X11WindowTitle::focusedWindowTitle(const Application& application)
{
    const auto window = static_cast<xcb_window_t>(application.window);
    if (window == XCB_WINDOW_NONE)
        return std::nullopt;
    return m_mirror.titleOf(window);
}

} // namespace platform::x11
