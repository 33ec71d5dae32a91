// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/idle_time.h"

namespace platform::x11 {

class X11Connection;
class X11WindowQuery;

/// Idle time by the X extension MIT-SCREEN-SAVER, which counts raw input of all devices.
/// Not for an X server that runs inside a Wayland desktop: it sees the input of its own windows
/// only.
/// Main thread.
class X11IdleTime final : public IdleTime
{
public:
    /// Both must outlive this. `windows` works on `connection`; its requests are sent along with
    /// the own one.
    X11IdleTime(X11Connection& connection, X11WindowQuery& windows);

    /// Whether the server can tell. False after a loss of the connection.
    [[nodiscard]] bool isAvailable() const;

    /// As in the interface; one round trip. Not-a-number when not available.
    [[nodiscard]] double secondsSinceLastInput() override;

private:
    X11Connection& m_connection;
    X11WindowQuery& m_windows;
};

} // namespace platform::x11
