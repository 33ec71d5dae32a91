// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <memory>
#include <xcb/xcb.h>

namespace support {

/// A test's own connection to an X server, apart from the one under test. Calls that change
/// something return when the server has done it.
/// Main thread.
class X11Client final
{
public:
    explicit X11Client(const QString& display);

    [[nodiscard]] bool isConnected() const;

    [[nodiscard]] xcb_connection_t* get() const { return m_connection.get(); }

    [[nodiscard]] xcb_window_t root() const;
    [[nodiscard]] xcb_atom_t atom(const QByteArray& name) const;

    /// The first number in a property, 0 when there is none or the window does not exist.
    [[nodiscard]] std::uint32_t number(xcb_window_t window, const QByteArray& property) const;

    [[nodiscard]] bool hasProperty(xcb_window_t window, const QByteArray& property) const;

    /// What the root window says about the focus, true or not.
    [[nodiscard]] xcb_window_t activeWindow() const;

    /// Whether a window manager runs (EWMH's check).
    [[nodiscard]] bool hasWindowManager() const;

    /// Waits until the window manager has dealt with everything that the server had for it before.
    /// False when none answers within some seconds.
    [[nodiscard]] bool waitForWindowManager() const;

    /// Sends a message about `window` to the window manager (EWMH).
    void sendToWindowManager(xcb_window_t window,
                             const QByteArray& message,
                             std::uint32_t firstNumber = 0) const;

    /// Returns when the server has done everything sent before.
    void sync() const;

private:
    struct Disconnect
    {
        void operator()(xcb_connection_t* connection) const noexcept { xcb_disconnect(connection); }
    };

    std::unique_ptr<xcb_connection_t, Disconnect> m_connection;
};

} // namespace support
