// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/window_title.h"

namespace platform::x11 {

class X11Mirror;

/// The title of the focused window, for values of X11FrontmostApplication on the same mirror.
/// Main thread.
class X11WindowTitle final : public WindowTitle
{
public:
    /// `mirror` must outlive this.
    explicit X11WindowTitle(X11Mirror& mirror);

    /// As in the interface, for a window that is still focused. Right after the application was
    /// answered it is the title of that moment.
    [[nodiscard]] std::optional<QString>
    focusedWindowTitle(const Application& application) override;

private:
    X11Mirror& m_mirror;
};

} // namespace platform::x11
