// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/window_title.h"

namespace platform::x11 {

class X11WindowQuery;

/// The title of the focused window, for values of X11FrontmostApplication on the same query.
/// Main thread.
class X11WindowTitle final : public WindowTitle
{
public:
    /// `windows` must outlive this.
    explicit X11WindowTitle(X11WindowQuery& windows);

    /// As in the interface, at most one round trip. Right after the application was answered it is
    /// the title of that moment, without one.
    [[nodiscard]] std::optional<QString>
    focusedWindowTitle(const Application& application) override;

private:
    X11WindowQuery& m_windows;
};

} // namespace platform::x11
