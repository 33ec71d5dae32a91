// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

namespace platform {
class FrontmostApplication;
class WindowTitle;
} // namespace platform

namespace platform::desktop {

/// What answers for the front window: an application and the title of its window. Both belong
/// together; a title is asked for with the application of the same back-end.
struct WindowBackend
{
    FrontmostApplication* application = nullptr;
    WindowTitle* title = nullptr;

    bool operator==(const WindowBackend&) const = default;
};

} // namespace platform::desktop
