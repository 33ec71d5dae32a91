// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/x11/x11_counters.h"

#include "platform/linux/x11/x11_reply.h"

#include <string_view>

namespace platform::x11 {

X11Counters X11Counters::find(xcb_connection_t* connection)
{
    X11Counters counters;
    const auto* extension = xcb_get_extension_data(connection, &xcb_sync_id);
    if (extension == nullptr || extension->present == 0)
        return counters;
    counters.alarmEvent = extension->first_event + XCB_SYNC_ALARM_NOTIFY;
    // Required before any other request of the extension.
    const auto version =
        xcb_sync_initialize(connection, XCB_SYNC_MAJOR_VERSION, XCB_SYNC_MINOR_VERSION);
    const auto list = xcb_sync_list_system_counters(connection);
    const X11Reply<xcb_sync_list_system_counters_reply_t> reply(
        xcb_sync_list_system_counters_reply(connection, list, nullptr));
    xcb_discard_reply(connection, version.sequence);
    if (!reply)
        return counters;
    for (auto at = xcb_sync_list_system_counters_counters_iterator(reply.get()); at.rem > 0;
         xcb_sync_systemcounter_next(&at)) {
        // xcb_sync_systemcounter_name() counts the padding at the end of the structure, which is
        // not sent: it is two bytes too far.
        const std::string_view name(reinterpret_cast<const char*>(&at.data->name_len + 1),
                                    at.data->name_len);
        if (name == "IDLETIME")
            counters.idleTime = at.data->counter;
        else if (name == "SERVERTIME")
            counters.serverTime = at.data->counter;
    }
    return counters;
}

} // namespace platform::x11
