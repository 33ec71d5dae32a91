// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/qt/x11_window_hints.h"

#include "backends/desktops/x11/x11_reply.h"
#include "base/build_config.h"

#include <QGuiApplication>
#include <QWindow>

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

namespace platform::gui {

using x11::X11Reply;

namespace {

// Extended Window Manager Hints: who asks, and what is done to a state.
constexpr std::uint32_t kFromPager = 2;
constexpr std::uint32_t kRemoveState = 0;
constexpr std::uint32_t kAddState = 1;
constexpr std::uint8_t kBytes = 8;
constexpr std::uint8_t kWords = 32;
constexpr std::size_t kMessageBytes = 20;
constexpr std::uint32_t kMostStates = 64;

xcb_window_t idOf(const QWindow& window)
{
    return static_cast<xcb_window_t>(window.winId());
}

/// The text of a startup message may not hold a quote or a backslash without another before it.
QByteArray quoted(const QByteArray& value)
{
    QByteArray text("\"");
    for (const char c : value) {
        if (c == '"' || c == '\\')
            text += '\\';
        text += c;
    }
    return text + '"';
}

} // namespace

std::unique_ptr<X11WindowHints> X11WindowHints::create()
{
    const auto* const x11 = qApp->nativeInterface<QNativeInterface::QX11Application>();
    if (!x11 || !x11->connection())
        return nullptr;
    xcb_connection_t* const connection = x11->connection();
    constexpr std::array<const char*, kAtoms> names{"_NET_ACTIVE_WINDOW",
                                                    "_NET_WM_STATE",
                                                    "_NET_WM_STATE_SKIP_TASKBAR",
                                                    "_NET_STARTUP_INFO_BEGIN",
                                                    "_NET_STARTUP_INFO"};
    std::array<xcb_intern_atom_cookie_t, names.size()> cookies{};
    for (std::size_t i = 0; i < names.size(); ++i)
        cookies[i] = xcb_intern_atom(
            connection, 0, static_cast<std::uint16_t>(std::strlen(names[i])), names[i]);
    Atoms atoms{};
    for (std::size_t i = 0; i < names.size(); ++i) {
        const X11Reply<xcb_intern_atom_reply_t> reply(
            xcb_intern_atom_reply(connection, cookies[i], nullptr));
        atoms[i] = reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
    }
    return std::unique_ptr<X11WindowHints>(new X11WindowHints(connection, atoms));
}

X11WindowHints::X11WindowHints(xcb_connection_t* connection, const Atoms& atoms)
    : m_connection(connection)
    , m_root(xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root)
    , m_atoms(atoms)
{
}

void X11WindowHints::setSkipsTaskbar(const QWindow& window, bool skips) const
{
    // A window manager reads the property when the window comes, and is asked afterwards.
    presetSkipsTaskbar(idOf(window), skips);
    sendToRoot(idOf(window),
               m_atoms[kState],
               {.data32 = {skips ? kAddState : kRemoveState, m_atoms[kSkipTaskbar], 0, 1, 0}});
}

void X11WindowHints::presetSkipsTaskbar(xcb_window_t window, bool skips) const
{
    const auto cookie =
        xcb_get_property(m_connection, 0, window, m_atoms[kState], XCB_ATOM_ATOM, 0, kMostStates);
    const X11Reply<xcb_get_property_reply_t> reply(
        xcb_get_property_reply(m_connection, cookie, nullptr));
    std::vector<xcb_atom_t> states;
    if (reply && reply->type == XCB_ATOM_ATOM && reply->format == kWords) {
        const auto* const first =
            static_cast<const xcb_atom_t*>(xcb_get_property_value(reply.get()));
        states.assign(first, first + reply->value_len);
    }
    std::erase(states, m_atoms[kSkipTaskbar]);
    if (skips)
        states.push_back(m_atoms[kSkipTaskbar]);
    xcb_change_property(m_connection,
                        XCB_PROP_MODE_REPLACE,
                        window,
                        m_atoms[kState],
                        XCB_ATOM_ATOM,
                        kWords,
                        static_cast<std::uint32_t>(states.size()),
                        states.data());
}

// The toolkit takes the class from the application's name or, in later versions, from elsewhere.
void X11WindowHints::setClass(const QWindow& window) const
{
    QByteArray names;
    for (int i = 0; i < 2; ++i) // the instance and the class
        names.append(kExecutable.data(), static_cast<qsizetype>(kExecutable.size())).append('\0');
    xcb_change_property(m_connection,
                        XCB_PROP_MODE_REPLACE,
                        idOf(window),
                        XCB_ATOM_WM_CLASS,
                        XCB_ATOM_STRING,
                        kBytes,
                        static_cast<std::uint32_t>(names.size()),
                        names.constData());
}

void X11WindowHints::bringForward(const QWindow& window) const
{
    sendToRoot(
        idOf(window), m_atoms[kActiveWindow], {.data32 = {kFromPager, XCB_CURRENT_TIME, 0, 0, 0}});
    xcb_flush(m_connection);
}

void X11WindowHints::finishStartup(const QByteArray& startupId) const
{
    if (startupId.isEmpty() || startupId.contains('\0'))
        return;
    // The message comes in pieces, told apart from others by the window that they are from.
    const xcb_window_t sender = xcb_generate_id(m_connection);
    xcb_create_window(m_connection,
                      XCB_COPY_FROM_PARENT,
                      sender,
                      m_root,
                      -1,
                      -1,
                      1,
                      1,
                      0,
                      XCB_WINDOW_CLASS_INPUT_ONLY,
                      XCB_COPY_FROM_PARENT,
                      0,
                      nullptr);
    QByteArray message = "remove: ID=" + quoted(startupId);
    message.append('\0');
    for (qsizetype from = 0; from < message.size(); from += qsizetype(kMessageBytes)) {
        xcb_client_message_event_t event{};
        event.response_type = XCB_CLIENT_MESSAGE;
        event.format = kBytes;
        event.window = sender;
        event.type = from == 0 ? m_atoms[kStartupBegin] : m_atoms[kStartup];
        const QByteArray piece = message.mid(from, kMessageBytes);
        std::copy_n(piece.constData(), piece.size(), std::begin(event.data.data8));
        xcb_send_event(m_connection,
                       0,
                       m_root,
                       XCB_EVENT_MASK_PROPERTY_CHANGE,
                       reinterpret_cast<const char*>(&event));
    }
    xcb_destroy_window(m_connection, sender);
    xcb_flush(m_connection);
}

void X11WindowHints::sendToRoot(xcb_window_t window,
                                xcb_atom_t type,
                                const xcb_client_message_data_t& data) const
{
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = kWords;
    event.window = window;
    event.type = type;
    event.data = data;
    xcb_send_event(m_connection,
                   0,
                   m_root,
                   XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   reinterpret_cast<const char*>(&event));
}

} // namespace platform::gui
