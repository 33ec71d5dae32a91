// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/gui/xembed_tray_watch.h"

#include "platform/linux/x11/x11_reply.h"

#include <QByteArray>

#include <xcb/xcbext.h>

namespace platform::gui {

using x11::X11Free;
using x11::X11Reply;

namespace {

/// Ends and deaths of windows, and messages to all who listen to the root window.
constexpr std::uint32_t kStructure = XCB_EVENT_MASK_STRUCTURE_NOTIFY;

/// Takes the reply to `question` if it has come, and sets `question` to 0 then. Null also for an
/// error.
template <typename Reply>
X11Reply<Reply> take(xcb_connection_t* connection, std::uint32_t& question)
{
    void* reply = nullptr;
    xcb_generic_error_t* error = nullptr;
    if (question == 0 || xcb_poll_for_reply(connection, question, &reply, &error) == 0)
        return nullptr;
    X11Free{}(error);
    question = 0;
    return X11Reply<Reply>(static_cast<Reply*>(reply));
}

} // namespace

XEmbedTrayWatch::XEmbedTrayWatch() = default;

XEmbedTrayWatch::~XEmbedTrayWatch() = default;

void XEmbedTrayWatch::start()
{
    int number = 0;
    m_connection.reset(xcb_connect(nullptr, &number));
    xcb_connection_t* const connection = m_connection.get();
    if (xcb_connection_has_error(connection) != 0)
        return;
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (int i = 0; i < number && screens.rem > 1; ++i)
        xcb_screen_next(&screens);
    m_root = screens.data->root;

    m_notifier = std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(connection),
                                                   QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, &XEmbedTrayWatch::read);
    // A tray that comes announces itself to the root window (ICCCM, "Manager Selections").
    xcb_change_window_attributes(connection, m_root, XCB_CW_EVENT_MASK, &kStructure);
    const QByteArray name = "_NET_SYSTEM_TRAY_S" + QByteArray::number(number);
    m_atomQuestion =
        xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(name.size()), name.constData())
            .sequence;
    xcb_flush(connection);
}

void XEmbedTrayWatch::read()
{
    while (const X11Reply<xcb_generic_event_t> event{xcb_poll_for_event(m_connection.get())})
        readEvent(*event);
    readReplies();
    if (xcb_connection_has_error(m_connection.get()) != 0) {
        m_notifier->setEnabled(false); // a closed socket stays readable for ever
        setTray(XCB_WINDOW_NONE);
    }
}

void XEmbedTrayWatch::readReplies()
{
    xcb_connection_t* const connection = m_connection.get();
    if (const auto atom = take<xcb_intern_atom_reply_t>(connection, m_atomQuestion)) {
        m_selection = atom->atom;
        askForOwner();
    }
    if (const auto owner = take<xcb_get_selection_owner_reply_t>(connection, m_ownerQuestion)) {
        const bool isNew = owner->owner != m_tray && owner->owner != XCB_WINDOW_NONE;
        setTray(owner->owner);
        if (isNew) {
            // Its end will be told. It may have come before we asked for that: once more.
            xcb_change_window_attributes(connection, m_tray, XCB_CW_EVENT_MASK, &kStructure);
            askForOwner();
        }
    }
}

void XEmbedTrayWatch::readEvent(const xcb_generic_event_t& event)
{
    constexpr std::uint8_t kSentByClient = 0x80;
    const int type = event.response_type & ~kSentByClient;
    // Any manager's announcement, any window's end: rare enough to ask each time.
    if ((type == XCB_CLIENT_MESSAGE || type == XCB_DESTROY_NOTIFY) && m_selection != XCB_ATOM_NONE)
        askForOwner();
}

void XEmbedTrayWatch::askForOwner()
{
    xcb_connection_t* const connection = m_connection.get();
    if (m_ownerQuestion != 0)
        xcb_discard_reply(connection, m_ownerQuestion); // what it says may be out of date
    m_ownerQuestion = xcb_get_selection_owner(connection, m_selection).sequence;
    xcb_flush(connection);
}

void XEmbedTrayWatch::setTray(xcb_window_t tray)
{
    const bool wasThere = isThere();
    m_tray = tray;
    if (wasThere != isThere())
        Q_EMIT isThereChanged();
}

} // namespace platform::gui
