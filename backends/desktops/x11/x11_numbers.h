// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <xcb/sync.h>
#include <xcb/xcb.h>

namespace platform::x11 {

/// The numbers that one X server has given to the names we use, besides the predefined ones.
/// Names from EWMH unless said otherwise. XCB_ATOM_NONE when the server gave none.
struct X11Atoms
{
    xcb_atom_t netActiveWindow = XCB_ATOM_NONE;
    xcb_atom_t netSupportingWmCheck = XCB_ATOM_NONE;
    xcb_atom_t netWmName = XCB_ATOM_NONE;
    xcb_atom_t netWmPid = XCB_ATOM_NONE;
    xcb_atom_t netWmWindowType = XCB_ATOM_NONE;
    xcb_atom_t netWmWindowTypeDesktop = XCB_ATOM_NONE;
    xcb_atom_t wmState = XCB_ATOM_NONE;          ///< ICCCM
    xcb_atom_t compoundText = XCB_ATOM_NONE;     ///< ICCCM
    xcb_atom_t utf8String = XCB_ATOM_NONE;       ///< a text type of its own in UTF-8
    xcb_atom_t gtkApplicationId = XCB_ATOM_NONE; ///< set by GTK

    /// Asks `connection` for all of them. Blocks for one round trip.
    [[nodiscard]] static X11Atoms intern(xcb_connection_t* connection);
};

/// What one X server counts by itself (extension SYNC). XCB_NONE when it does not.
struct X11Counters
{
    xcb_sync_counter_t idleTime = XCB_NONE;   ///< IDLETIME: milliseconds since the last input
    xcb_sync_counter_t serverTime = XCB_NONE; ///< SERVERTIME: what events are stamped with
    std::uint8_t alarmEvent = 0;              ///< the number of AlarmNotify

    /// Asks `connection`. Blocks for some round trips.
    [[nodiscard]] static X11Counters find(xcb_connection_t* connection);
};

} // namespace platform::x11
