// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/x11_client.h"

#include <cstdlib>
#include <cstring>

namespace support {

namespace {
struct Free
{
    void operator()(void* memory) const noexcept { std::free(memory); }
};

template <typename Reply> using Owned = std::unique_ptr<Reply, Free>;
} // namespace

X11Client::X11Client(const QString& display)
    : m_connection(xcb_connect(display.toLocal8Bit().constData(), nullptr))
{
}

bool X11Client::isConnected() const
{
    return xcb_connection_has_error(get()) == 0;
}

xcb_window_t X11Client::root() const
{
    return xcb_setup_roots_iterator(xcb_get_setup(get())).data->root;
}

xcb_atom_t X11Client::atom(const QByteArray& name) const
{
    const auto cookie =
        xcb_intern_atom(get(), 0, static_cast<std::uint16_t>(name.size()), name.constData());
    const Owned<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(get(), cookie, nullptr));
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

std::uint32_t X11Client::number(xcb_window_t window, const QByteArray& property) const
{
    const auto cookie =
        xcb_get_property(get(), 0, window, atom(property), XCB_GET_PROPERTY_TYPE_ANY, 0, 1);
    const Owned<xcb_get_property_reply_t> reply(xcb_get_property_reply(get(), cookie, nullptr));
    std::uint32_t value = 0;
    if (reply && xcb_get_property_value_length(reply.get()) >= int{sizeof value})
        std::memcpy(&value, xcb_get_property_value(reply.get()), sizeof value);
    return value;
}

xcb_window_t X11Client::activeWindow() const
{
    return number(root(), "_NET_ACTIVE_WINDOW");
}

bool X11Client::hasWindowManager() const
{
    const xcb_window_t check = number(root(), "_NET_SUPPORTING_WM_CHECK");
    return check != XCB_WINDOW_NONE && number(check, "_NET_SUPPORTING_WM_CHECK") == check;
}

void X11Client::sync() const
{
    const Owned<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(get(), xcb_get_input_focus(get()), nullptr));
}

} // namespace support
