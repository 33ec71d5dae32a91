// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/frontmost_application.h"

#include <QString>

#include <optional>

namespace platform {

/// The title of an application's focused window.
/// Main thread.
class WindowTitle
{
public:
    WindowTitle() = default;
    WindowTitle(const WindowTitle&) = delete;
    WindowTitle& operator=(const WindowTitle&) = delete;
    virtual ~WindowTitle() = default;

    /// The title of the focused window of `application`, a value that the same back-end has just
    /// answered. None when the window has none or has gone. May ask the display server.
    [[nodiscard]] virtual std::optional<QString>
    focusedWindowTitle(const Application& application) = 0;
};

} // namespace platform
