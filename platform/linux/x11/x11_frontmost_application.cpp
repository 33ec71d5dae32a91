// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/x11/x11_frontmost_application.h"

#include "platform/linux/x11/x11_window_query.h"
#include "platform/linux/xdg/application_names.h"

namespace platform::x11 {

X11FrontmostApplication::X11FrontmostApplication(X11WindowQuery& windows,
                                                 xdg::ApplicationNames& names)
    : m_windows(windows)
    , m_names(names)
{
}

std::optional<Application> X11FrontmostApplication::frontmostApplication()
{
    const std::optional<FocusedWindow> focused = m_windows.focusedWindow();
    if (!focused)
        return std::nullopt;
    const xdg::ApplicationIdentity identity =
        m_names.identify(focused->identifiers, focused->processIdentifier);
    return Application{.localizedName = identity.name,
                       .bundleIdentifier = identity.identifier,
                       .processIdentifier = focused->processIdentifier,
                       .window = focused->window};
}

} // namespace platform::x11
