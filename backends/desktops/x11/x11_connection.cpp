// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/desktops/x11/x11_connection.h"

#include <QByteArray>
#include <QDeadlineTimer>

#include <chrono>
#include <thread>
#include <utility>
#include <xcb/screensaver.h>
#include <xcb/xcbext.h>

namespace platform::x11 {

// For developers; off by default.
Q_LOGGING_CATEGORY(lcX11, "velomira.x11", QtCriticalMsg)

namespace {
/// As long as a tick: a server that takes longer hangs, and with it what the user sees.
constexpr std::chrono::seconds kPatience(1);

/// The server writes each reply of a batch by itself. Where it shares a processor with us, waiting
/// for data would wake us for every single one: a dozen times a tick instead of once.
constexpr std::chrono::microseconds kTimeToAnswer(100);

xcb_window_t rootOfScreen(xcb_connection_t* connection, int screen)
{
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (; screens.rem > 1 && screen > 0; --screen)
        xcb_screen_next(&screens);
    if (screens.rem == 0)
        return XCB_WINDOW_NONE;
    return screens.data->root;
}

QByteArray serverName(const QString& display)
{
    return display.isEmpty() ? qgetenv("DISPLAY") : display.toLocal8Bit();
}

Error noServer(const QByteArray& name)
{
    if (name.isEmpty())
        return {QStringLiteral("cannot connect to an X server: DISPLAY is not set")};
    return {QStringLiteral("cannot connect to the X server %1").arg(QString::fromLocal8Bit(name))};
}
} // namespace

void X11Connection::Disconnect::operator()(xcb_connection_t* connection) const noexcept
{
    xcb_disconnect(connection);
}

Result<std::unique_ptr<X11Connection>> X11Connection::open(const QString& display)
{
    const QByteArray name = serverName(display);
    if (name.isEmpty())
        return noServer(name);
    int screen = 0;
    Handle connection(xcb_connect(name.constData(), &screen));
    if (xcb_connection_has_error(connection.get()) == 0) {
        // Not make_unique: the constructor is private.
        std::unique_ptr<X11Connection> made(
            new X11Connection(std::move(connection), screen, QString::fromLocal8Bit(name)));
        if (made->isAlive())
            return made;
    }
    return noServer(name);
}

Outcome X11Connection::check(const QString& display)
{
    const QByteArray name = serverName(display);
    if (name.isEmpty())
        return noServer(name);
    const Handle connection(xcb_connect(name.constData(), nullptr));
    return xcb_connection_has_error(connection.get()) == 0 ? success() : noServer(name);
}

X11Connection::X11Connection(Handle connection, int screen, const QString& name)
    : DisplayConnection(xcb_get_file_descriptor(connection.get()),
                        QStringLiteral("the X server ") + name)
    , m_connection(std::move(connection))
    , m_root(rootOfScreen(m_connection.get(), screen))
{
    xcb_prefetch_extension_data(get(), &xcb_screensaver_id);
    xcb_prefetch_extension_data(get(), &xcb_sync_id);
    m_atoms = X11Atoms::intern(get());
    const auto* extension = xcb_get_extension_data(get(), &xcb_screensaver_id);
    m_hasScreenSaver = extension != nullptr && extension->present != 0;
    m_counters = X11Counters::find(get());
    if (xcb_connection_has_error(get()) != 0)
        noteLoss();
    qCInfo(lcX11) << "connected to" << name << "with MIT-SCREEN-SAVER:" << m_hasScreenSaver
                  << "with IDLETIME:" << (m_counters.idleTime != XCB_NONE)
                  << "with SERVERTIME:" << (m_counters.serverTime != XCB_NONE);
}

X11Connection::~X11Connection() = default;

void* X11Connection::waitForReply(unsigned sequence)
{
    if (!isAlive())
        return nullptr;
    void* reply = nullptr;
    xcb_generic_error_t* error = nullptr;
    if (xcb_poll_for_reply(get(), sequence, &reply, &error) == 0) {
        ++m_blockingWaits;
        xcb_flush(get());
        std::this_thread::sleep_for(kTimeToAnswer);
        const QDeadlineTimer deadline(kPatience);
        while (xcb_poll_for_reply(get(), sequence, &reply, &error) == 0) {
            if (!desktop::waitForData(xcb_get_file_descriptor(get()), deadline)) {
                xcb_discard_reply(get(), sequence);
                m_silent = true;
                qCWarning(lcX11) << "the server does not answer";
                return nullptr;
            }
        }
    }
    X11Free{}(error);
    if (xcb_connection_has_error(get()) != 0)
        noteLoss();
    return reply;
}

void X11Connection::discard(unsigned sequence) const
{
    if (!isLost())
        xcb_discard_reply(get(), sequence);
}

X11Reply<xcb_generic_event_t> X11Connection::nextEvent()
{
    if (isLost())
        return nullptr;
    if (m_silent) // the reply that was given up, at the least
        m_silent = !desktop::waitForData(xcb_get_file_descriptor(get()), QDeadlineTimer(0));
    X11Reply<xcb_generic_event_t> event(xcb_poll_for_event(get()));
    if (!event && xcb_connection_has_error(get()) != 0)
        noteLoss();
    return event;
}

} // namespace platform::x11
