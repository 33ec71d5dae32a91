// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/x11_client.h"

#include <QTest>

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

bool X11Client::hasProperty(xcb_window_t window, const QByteArray& property) const
{
    const auto cookie =
        xcb_get_property(get(), 0, window, atom(property), XCB_GET_PROPERTY_TYPE_ANY, 0, 0);
    const Owned<xcb_get_property_reply_t> reply(xcb_get_property_reply(get(), cookie, nullptr));
    return reply && reply->type != XCB_ATOM_NONE;
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

bool X11Client::waitForWindowManager() const
{
    // It answers the question for the size of a window's frame, also for one that is not mapped.
    const xcb_window_t window = xcb_generate_id(get());
    xcb_create_window(get(),
                      XCB_COPY_FROM_PARENT,
                      window,
                      root(),
                      0,
                      0,
                      1,
                      1,
                      0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT,
                      XCB_COPY_FROM_PARENT,
                      0,
                      nullptr);
    const bool answered = QTest::qWaitFor([&] {
        // Again and again: while it starts it drops what it is sent.
        sendToWindowManager(window, "_NET_REQUEST_FRAME_EXTENTS");
        return hasProperty(window, "_NET_FRAME_EXTENTS");
    });
    xcb_destroy_window(get(), window);
    sync();
    return answered;
}

void X11Client::sendToWindowManager(xcb_window_t window,
                                    const QByteArray& message,
                                    std::uint32_t firstNumber) const
{
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = window;
    event.type = atom(message);
    event.data.data32[0] = firstNumber;
    xcb_send_event(get(),
                   0,
                   root(),
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char*>(&event));
    sync();
}

void X11Client::sync() const
{
    const Owned<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(get(), xcb_get_input_focus(get()), nullptr));
}

} // namespace support
