// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <xcb/sync.h>

namespace platform::x11 {

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
