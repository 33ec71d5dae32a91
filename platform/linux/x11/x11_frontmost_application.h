// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/frontmost_application.h"

namespace platform::xdg {
class ApplicationNames;
}

namespace platform::x11 {

class X11WindowQuery;

/// The application of the window that the window manager calls active (EWMH). Values carry the
/// X window as `window`.
/// Main thread.
class X11FrontmostApplication final : public FrontmostApplication
{
public:
    /// Both must outlive this.
    X11FrontmostApplication(X11WindowQuery& windows, xdg::ApplicationNames& names);

    /// As in the interface. The first answer waits until the desktop files have been read.
    [[nodiscard]] std::optional<Application> frontmostApplication() override;

private:
    X11WindowQuery& m_windows;
    xdg::ApplicationNames& m_names;
};

} // namespace platform::x11
