// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/x11/x11_connection.h"

#include <QByteArray>
#include <QSocketNotifier>
#include <QTimer>

#include <utility>
#include <xcb/screensaver.h>
#include <xcb/xcbext.h>

namespace platform::x11 {

namespace {
xcb_window_t rootOfScreen(xcb_connection_t* connection, int screen)
{
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (; screens.rem > 1 && screen > 0; --screen)
        xcb_screen_next(&screens);
    if (screens.rem == 0)
        return XCB_WINDOW_NONE;
    return screens.data->root;
}
} // namespace

void X11Connection::Disconnect::operator()(xcb_connection_t* connection) const noexcept
{
    xcb_disconnect(connection);
}

Result<std::unique_ptr<X11Connection>> X11Connection::open(const QString& display)
{
    const QByteArray name = display.isEmpty() ? qgetenv("DISPLAY") : display.toLocal8Bit();
    if (name.isEmpty())
        return Error{QStringLiteral("cannot connect to an X server: DISPLAY is not set")};
    int screen = 0;
    Handle connection(xcb_connect(name.constData(), &screen));
    const QString text = QString::fromLocal8Bit(name);
    if (xcb_connection_has_error(connection.get()) == 0) {
        // Not make_unique: the constructor is private.
        std::unique_ptr<X11Connection> made(new X11Connection(std::move(connection), screen, text));
        if (made->isAlive())
            return made;
    }
    return Error{QStringLiteral("cannot connect to the X server %1").arg(text)};
}

X11Connection::X11Connection(Handle connection, int screen, QString name)
    : m_connection(std::move(connection))
    , m_name(std::move(name))
    , m_root(rootOfScreen(m_connection.get(), screen))
    , m_notifier(xcb_get_file_descriptor(m_connection.get()), QSocketNotifier::Read)
{
    xcb_prefetch_extension_data(get(), &xcb_screensaver_id);
    m_atoms = X11Atoms::intern(get());
    const auto* extension = xcb_get_extension_data(get(), &xcb_screensaver_id);
    m_hasScreenSaver = extension != nullptr && extension->present != 0;

    connect(&m_notifier, &QSocketNotifier::activated, this, &X11Connection::drainSocket);
    if (xcb_connection_has_error(get()) != 0)
        noteLoss();
}

X11Connection::~X11Connection() = default;

void* X11Connection::waitForReply(unsigned sequence)
{
    if (m_lost)
        return nullptr;
    void* reply = nullptr;
    xcb_generic_error_t* error = nullptr;
    if (xcb_poll_for_reply(get(), sequence, &reply, &error) == 0) {
        ++m_blockingWaits;
        reply = xcb_wait_for_reply(get(), sequence, &error);
    }
    X11Free{}(error);

    // What came along with the reply no longer wakes the notifier.
    while (const X11Reply<xcb_generic_event_t> event{xcb_poll_for_queued_event(get())}) {
    }
    if (xcb_connection_has_error(get()) != 0)
        noteLoss();
    return reply;
}

void X11Connection::discard(unsigned sequence) const
{
    if (!m_lost)
        xcb_discard_reply(get(), sequence);
}

// We select no events, but some are sent to every client and would pile up unread.
void X11Connection::drainSocket()
{
    while (const X11Reply<xcb_generic_event_t> event{xcb_poll_for_event(get())}) {
    }
    if (xcb_connection_has_error(get()) != 0)
        noteLoss();
}

void X11Connection::noteLoss()
{
    if (m_lost)
        return;
    m_lost = true;
    // A closed socket stays readable for ever: watching it on would keep the main loop busy.
    m_notifier.setEnabled(false);
    QTimer::singleShot(0, this, &X11Connection::reportLoss);
}

void X11Connection::reportLoss()
{
    Q_EMIT lost(QStringLiteral("the connection to the X server %1 was closed").arg(m_name));
}

} // namespace platform::x11
