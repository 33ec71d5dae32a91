// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/x11/x11_connection.h"

#include <QByteArray>
#include <QSocketNotifier>
#include <QTimer>

#include <cerrno>
#include <chrono>
#include <poll.h>
#include <sys/epoll.h>
#include <thread>
#include <utility>
#include <xcb/screensaver.h>
#include <xcb/xcbext.h>

namespace platform::x11 {

namespace {
/// As long as a tick: a server that takes longer hangs, and with it what the user sees.
constexpr std::chrono::seconds kPatience(1);

/// The server writes each reply of a batch by itself. Where it shares a processor with us, waiting
/// for data would wake us for every single one: a dozen times a tick instead of once.
constexpr std::chrono::microseconds kTimeToAnswer(100);

/// A descriptor that is readable once the other side of `socket` has been closed, and not when data
/// arrives.
posix::FileDescriptor hangUpOf(int socket)
{
    posix::FileDescriptor hangUp(::epoll_create1(EPOLL_CLOEXEC));
    epoll_event event{.events = EPOLLRDHUP, .data = {}};
    ::epoll_ctl(hangUp.get(), EPOLL_CTL_ADD, socket, &event);
    return hangUp;
}

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

X11Connection::X11Connection(Handle connection, int screen, QString name)
    : m_connection(std::move(connection))
    , m_name(std::move(name))
    , m_root(rootOfScreen(m_connection.get(), screen))
    , m_hangUp(hangUpOf(xcb_get_file_descriptor(m_connection.get())))
    , m_notifier(m_hangUp.get(), QSocketNotifier::Read)
{
    xcb_prefetch_extension_data(get(), &xcb_screensaver_id);
    xcb_prefetch_extension_data(get(), &xcb_sync_id);
    m_atoms = X11Atoms::intern(get());
    const auto* extension = xcb_get_extension_data(get(), &xcb_screensaver_id);
    m_hasScreenSaver = extension != nullptr && extension->present != 0;
    m_counters = X11Counters::find(get());

    connect(&m_notifier, &QSocketNotifier::activated, this, &X11Connection::noteLoss);
    if (xcb_connection_has_error(get()) != 0)
        noteLoss();
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
            if (!waitForData(deadline)) {
                xcb_discard_reply(get(), sequence);
                m_silent = true;
                return nullptr;
            }
        }
    }
    X11Free{}(error);
    if (xcb_connection_has_error(get()) != 0)
        noteLoss();
    return reply;
}

/// Waits until the server has sent something; false when it does not before `deadline`.
bool X11Connection::waitForData(const QDeadlineTimer& deadline) const
{
    pollfd poll{.fd = xcb_get_file_descriptor(get()), .events = POLLIN, .revents = 0};
    int ready = 0;
    do {
        ready = ::poll(&poll, 1, static_cast<int>(deadline.remainingTime()));
    } while (ready < 0 && errno == EINTR);
    return ready > 0;
}

void X11Connection::discard(unsigned sequence) const
{
    if (!m_lost)
        xcb_discard_reply(get(), sequence);
}

X11Reply<xcb_generic_event_t> X11Connection::nextEvent()
{
    if (m_lost)
        return nullptr;
    if (m_silent) // the reply that was given up, at the least
        m_silent = !waitForData(QDeadlineTimer(0));
    X11Reply<xcb_generic_event_t> event(xcb_poll_for_event(get()));
    if (!event && xcb_connection_has_error(get()) != 0)
        noteLoss();
    return event;
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
