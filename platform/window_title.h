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

    /// The title of the focused window of `application`, the value that the same back-end has
    /// answered last, as it was then. None when the window had none, and for any other application.
    [[nodiscard]] virtual std::optional<QString>
    focusedWindowTitle(const Application& application) = 0;
};

} // namespace platform
