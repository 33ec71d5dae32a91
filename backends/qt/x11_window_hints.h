// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>

#include <array>
#include <cstdint>
#include <memory>
#include <xcb/xcb.h>

class QWindow;

namespace platform::gui {

/// What an X11 window manager is told about our windows beyond what the toolkit tells it: the
/// Extended Window Manager Hints and the Startup Notification Protocol (both freedesktop.org).
/// Uses the toolkit's connection, so that the order of requests holds. Main thread; sends without
/// waiting for answers.
class X11WindowHints final
{
public:
    /// None where the windows are not on an X server. Asks the server for names: one round trip.
    [[nodiscard]] static std::unique_ptr<X11WindowHints> create();

    /// Keeps `window` out of the taskbar, or not. Works before it is shown and afterwards.
    void setSkipsTaskbar(const QWindow& window, bool skips) const;

    /// Gives `window` the class by which desktop files and the settings of window managers know
    /// this program. Before it is shown.
    void setClass(const QWindow& window) const;

    /// Has the window manager activate `window`, which has been shown, as a pager would: it does
    /// not ask whether the user was busy elsewhere.
    void bringForward(const QWindow& window) const;

    /// Tells launchers that the start with this startup notification id has led to its window.
    void finishStartup(const QByteArray& startupId) const;

private:
    enum Atom : std::uint8_t {
        kActiveWindow,
        kState,
        kSkipTaskbar,
        kStartupBegin,
        kStartup,
        kAtoms
    };

    using Atoms = std::array<xcb_atom_t, kAtoms>;

    X11WindowHints(xcb_connection_t* connection, const Atoms& atoms);

    void
    sendToRoot(xcb_window_t window, xcb_atom_t type, const xcb_client_message_data_t& data) const;
    void presetSkipsTaskbar(xcb_window_t window, bool skips) const;

    xcb_connection_t* m_connection; // the toolkit's
    xcb_window_t m_root;
    Atoms m_atoms;
};

} // namespace platform::gui
