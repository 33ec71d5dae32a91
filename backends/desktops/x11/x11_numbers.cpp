// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/desktops/x11/x11_numbers.h"

#include "backends/desktops/x11/x11_reply.h"

#include <array>
#include <cstddef>
#include <string_view>
#include <utility>

namespace platform::x11 {

namespace {
using Entry = std::pair<std::string_view, xcb_atom_t X11Atoms::*>;

constexpr std::array kNames{
    Entry{"_NET_ACTIVE_WINDOW", &X11Atoms::netActiveWindow},
    Entry{"_NET_SUPPORTING_WM_CHECK", &X11Atoms::netSupportingWmCheck},
    Entry{"_NET_WM_NAME", &X11Atoms::netWmName},
    Entry{"_NET_WM_PID", &X11Atoms::netWmPid},
    Entry{"_NET_WM_WINDOW_TYPE", &X11Atoms::netWmWindowType},
    Entry{"_NET_WM_WINDOW_TYPE_DESKTOP", &X11Atoms::netWmWindowTypeDesktop},
    Entry{"WM_STATE", &X11Atoms::wmState},
    Entry{"COMPOUND_TEXT", &X11Atoms::compoundText},
    Entry{"UTF8_STRING", &X11Atoms::utf8String},
    Entry{"_GTK_APPLICATION_ID", &X11Atoms::gtkApplicationId},
};
} // namespace

X11Atoms X11Atoms::intern(xcb_connection_t* connection)
{
    std::array<xcb_intern_atom_cookie_t, kNames.size()> cookies{};
    for (std::size_t i = 0; i < kNames.size(); ++i) {
        const std::string_view name = kNames[i].first;
        cookies[i] =
            xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(name.size()), name.data());
    }
    X11Atoms atoms;
    for (std::size_t i = 0; i < kNames.size(); ++i) {
        const X11Reply<xcb_intern_atom_reply_t> reply(
            xcb_intern_atom_reply(connection, cookies[i], nullptr));
        if (reply)
            atoms.*kNames[i].second = reply->atom;
    }
    return atoms;
}

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
