// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/idle_time.h"

namespace platform::x11 {

class X11Connection;
class X11Mirror;

/// Idle time by the X extension MIT-SCREEN-SAVER, which counts raw input of all devices.
/// Not for an X server that runs inside a Wayland desktop: it sees the input of its own windows
/// only.
/// Main thread.
class X11IdleTime final : public IdleTime
{
public:
    /// Both must outlive this. `mirror` works on `connection`.
    X11IdleTime(const X11Connection& connection, X11Mirror& mirror);

    /// Whether the server can tell. False after a loss of the connection.
    [[nodiscard]] bool isAvailable() const;

    /// As in the interface, by X11Mirror::idleSeconds(). Not-a-number when not available.
    [[nodiscard]] double secondsSinceLastInput() override;

private:
    const X11Connection& m_connection;
    X11Mirror& m_mirror;
};

} // namespace platform::x11
