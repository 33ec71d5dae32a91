// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "app/shell/scenes.h"

#include <functional>
#include <memory>

namespace shell {

/// A window on the user's screen. Destroying it closes it.
/// Main thread.
class ShellWindow
{
public:
    ShellWindow() = default;
    ShellWindow(const ShellWindow&) = delete;
    ShellWindow& operator=(const ShellWindow&) = delete;
    virtual ~ShellWindow() = default;

    /// Shows it, also when it was minimised; it is the one that the application's next activation
    /// brings to the front.
    virtual void present() = 0;

    /// True while it is on screen; a minimised window is not.
    [[nodiscard]] virtual bool isVisible() const = 0;

    /// True while the user has typed or begun something in it that closing it would lose.
    [[nodiscard]] virtual bool isInUse() const = 0;
};

/// Makes the windows.
/// Main thread.
class WindowFactory
{
public:
    WindowFactory() = default;
    WindowFactory(const WindowFactory&) = delete;
    WindowFactory& operator=(const WindowFactory&) = delete;
    virtual ~WindowFactory() = default;

    /// Makes the window of `scene`, not yet on screen. When the user closes it, `closed` is called
    /// once, from the event loop; the callee may destroy the window there.
    [[nodiscard]] virtual std::unique_ptr<ShellWindow> create(const Scene& scene,
                                                              std::function<void()> closed) = 0;
};

} // namespace shell
