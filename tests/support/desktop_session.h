// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "base/result.h"

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

namespace support {

class TestWindow;

/// A private desktop of some kind, without a screen: display server, window manager, session bus
/// and an empty home. Everything that it started ends with it, and with the test process.
/// Main thread. Calls block until what they promise holds, for some seconds at most, and run the
/// event loop meanwhile; a failure names what did not come.
class DesktopSession
{
public:
    DesktopSession() = default;
    DesktopSession(const DesktopSession&) = delete;
    DesktopSession& operator=(const DesktopSession&) = delete;
    virtual ~DesktopSession() = default;

    /// The programs that it needs; see REQUIRE_PROGRAMS.
    [[nodiscard]] virtual QStringList programs() const = 0;

    [[nodiscard]] virtual platform::Outcome start() = 0;

    /// The environment for programs on this desktop.
    [[nodiscard]] virtual QProcessEnvironment environment() const = 0;

    /// Gives an open window the focus. Returns when the desktop itself says that it has it.
    [[nodiscard]] virtual platform::Outcome focus(const TestWindow& window) = 0;

    /// Goes where no window is.
    [[nodiscard]] virtual platform::Outcome showEmptyWorkspace() = 0;
    /// Comes back from there; a window gets the focus if there is one.
    [[nodiscard]] virtual platform::Outcome showFirstWorkspace() = 0;

    /// Moves the pointer or presses a key that does nothing.
    [[nodiscard]] virtual platform::Outcome makeInput() = 0;

    /// Ends the display server without a chance to say goodbye.
    virtual void killDisplay() = 0;
};

} // namespace support
