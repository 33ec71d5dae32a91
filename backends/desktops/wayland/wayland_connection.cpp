// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/desktops/wayland/wayland_connection.h"

#include "backends/posix/file_descriptor.h"

#include <QByteArray>
#include <QDeadlineTimer>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <utility>
#include <wayland-client.h>

namespace platform::wayland {

namespace {

using std::chrono::milliseconds;

// A socket holds about 200 KiB, a title of a few letters takes nearly 1 of that and one of 4 KiB
// takes 8: what is 8 KiB to read may have filled the half of it.
constexpr int kMuch = 8192; // bytes
constexpr milliseconds kShortestPause(25);
constexpr milliseconds kLongestPause(250);
constexpr milliseconds kCalm(1000); // what comes after it begins a series
constexpr int kPauseInSeries = 16;  // of its time up to now

/// Many times what any compositor announces.
constexpr std::size_t kMostGlobals = 1024;

constexpr std::chrono::milliseconds kBetweenAttempts(10);
constexpr int kMostPieces = 256;

Error cannotConnect(const QString& name, const QString& reason)
{
    return {QStringLiteral("cannot connect to the Wayland display %1: %2").arg(name, reason)};
}

/// The address of the socket `name`; none when it does not fit into one.
std::optional<sockaddr_un> addressOf(const QByteArray& name)
{
    const QByteArray path = name.startsWith('/') ? name : qgetenv("XDG_RUNTIME_DIR") + '/' + name;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (static_cast<std::size_t>(path.size()) >= sizeof address.sun_path || path.contains('\0'))
        return std::nullopt;
    std::ranges::copy(path, address.sun_path);
    return address;
}

/// Connects `socket`. A Unix socket whose queue is full cannot be waited for, only asked again.
bool connectSocket(int socket, const sockaddr_un& address, const QDeadlineTimer& deadline)
{
    while (::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        if (errno != EINTR && (errno != EAGAIN || deadline.hasExpired()))
            return false;
        std::this_thread::sleep_for(kBetweenAttempts);
    }
    return true;
}

} // namespace

// For developers; off by default.
Q_LOGGING_CATEGORY(lcWayland, "velomira.wayland", QtCriticalMsg)

Result<std::unique_ptr<WaylandDisplay>> WaylandDisplay::connectTo(const QString& display,
                                                                  const QDeadlineTimer& deadline)
{
    const QByteArray name = display.isEmpty() ? qgetenv("WAYLAND_DISPLAY") : display.toLocal8Bit();
    if (name.isEmpty())
        return Error{
            QStringLiteral("cannot connect to a Wayland display: WAYLAND_DISPLAY is not set")};
    QString shown = QString::fromLocal8Bit(name);
    const auto address = addressOf(name);
    if (!address)
        return cannotConnect(shown, QStringLiteral("the name is too long"));
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (socket < 0)
        return cannotConnect(shown, posix::systemError().text);
    if (!connectSocket(socket, *address, deadline)) {
        const Error reason = posix::systemError();
        ::close(socket);
        return cannotConnect(shown, reason.text);
    }
    // Owns the socket from here on, also when it fails.
    wl_display* const connected = wl_display_connect_to_fd(socket);
    if (connected == nullptr)
        return cannotConnect(shown, posix::systemError().text);
    return std::make_unique<WaylandDisplay>(connected, std::move(shown));
}

WaylandDisplay::WaylandDisplay(wl_display* display, QString name)
    : m_display(display, wl_display_disconnect)
    , m_name(std::move(name))
{
}

int WaylandDisplay::descriptor() const
{
    return wl_display_get_fd(get());
}

int WaylandDisplay::unread() const
{
    int bytes = 0;
    return ::ioctl(descriptor(), FIONREAD, &bytes) == 0 ? bytes : 0;
}

bool WaylandDisplay::read() const
{
    // The library takes a few kilobytes at a time.
    int left = kMostPieces;
    do {
        while (wl_display_prepare_read(get()) != 0) {
            if (wl_display_dispatch_pending(get()) < 0)
                return false;
        }
        if (wl_display_read_events(get()) != 0 || wl_display_dispatch_pending(get()) < 0)
            return false;
    } while (--left > 0 && unread() > 0);
    return true;
}

WaylandDisplay::Sent WaylandDisplay::flush() const
{
    if (wl_display_flush(get()) >= 0)
        return Sent::All;
    // More requests than fit into the library's memory are an error for good, with the same number.
    const bool isFull = errno == EAGAIN && wl_display_get_error(get()) == 0;
    return isFull ? Sent::Partly : Sent::Lost;
}

Outcome WaylandDisplay::roundTrip(const QDeadlineTimer& deadline) const
{
    bool done = false;
    wl_callback* const callback = wl_display_sync(get());
    static const wl_callback_listener listener = {
        .done = [](void* data, wl_callback* /*callback*/, std::uint32_t /*serial*/) {
            *static_cast<bool*>(data) = true;
        }};
    wl_callback_add_listener(callback, &listener, &done);
    bool hasGone = false;
    bool isSilent = false;
    while (!done && !hasGone && !isSilent) {
        hasGone = flush() == Sent::Lost;
        isSilent = deadline.hasExpired() || !desktop::waitForData(descriptor(), deadline);
        hasGone |= !isSilent && !read();
    }
    wl_callback_destroy(callback);
    if (done)
        return success();
    return cannotConnect(
        m_name, hasGone ? QStringLiteral("it has gone") : QStringLiteral("it does not answer"));
}

struct WaylandConnection::Listeners
{
    static void global(void* self,
                       wl_registry* /*registry*/,
                       std::uint32_t name,
                       const char* interface,
                       std::uint32_t version)
    {
        static_cast<WaylandConnection*>(self)->announce(interface,
                                                        {.name = name, .version = version});
    }

    static void globalRemove(void* self, wl_registry* /*registry*/, std::uint32_t name)
    {
        static_cast<WaylandConnection*>(self)->withdraw(name);
    }

    static constexpr wl_registry_listener kRegistry{.global = global,
                                                    .global_remove = globalRemove};
};

Result<std::unique_ptr<WaylandConnection>>
WaylandConnection::open(const QString& display, std::chrono::milliseconds patience)
{
    const QDeadlineTimer deadline(patience);
    auto connected = WaylandDisplay::connectTo(display, deadline);
    if (!connected)
        return connected.error();
    // Not make_unique: the constructor is private.
    std::unique_ptr<WaylandConnection> made(new WaylandConnection(std::move(connected).value()));
    if (const auto answered = made->m_display->roundTrip(deadline); !answered)
        return answered.error();
    made->m_globalsChanged = false;
    qCInfo(lcWayland) << "connected to" << made->name() << "with" << made->m_globals.size()
                      << "facilities";
    return made;
}

Outcome WaylandConnection::check(const QString& display, std::chrono::milliseconds patience)
{
    const QDeadlineTimer deadline(patience);
    const auto connected = WaylandDisplay::connectTo(display, deadline);
    if (!connected)
        return connected.error();
    return connected.value()->roundTrip(deadline);
}

WaylandConnection::WaylandConnection(std::unique_ptr<WaylandDisplay> display)
    : DisplayConnection(display->descriptor(),
                        QStringLiteral("the Wayland display ") + display->name())
    , m_display(std::move(display))
    , m_registry(wl_display_get_registry(m_display->get()), wl_registry_destroy)
    , m_readable(m_display->descriptor(), QSocketNotifier::Read)
    , m_writable(m_display->descriptor(), QSocketNotifier::Write)
{
    m_writable.setEnabled(false);
    wl_registry_add_listener(m_registry.get(), &Listeners::kRegistry, this);
    connect(this, &WaylandConnection::lost, this, &WaylandConnection::stopReading);
    connect(&m_readable, &QSocketNotifier::activated, this, &WaylandConnection::readSocket);
    connect(&m_writable, &QSocketNotifier::activated, this, &WaylandConnection::flush);
    m_pause.setSingleShot(true);
    m_pause.setInterval(0);
    connect(&m_pause, &QTimer::timeout, this, &WaylandConnection::endPause);
}

WaylandConnection::~WaylandConnection() = default;

std::optional<WaylandGlobal> WaylandConnection::global(const wl_interface& interface) const
{
    const auto found = std::ranges::find(m_globals, interface.name, &Announced::interface);
    return isLost() || found == m_globals.end() ? std::nullopt : std::optional(found->global);
}

void* WaylandConnection::bindGlobal(const WaylandGlobal& global,
                                    const wl_interface& interface,
                                    std::uint32_t highest)
{
    return wl_registry_bind(
        m_registry.get(), global.name, &interface, std::min(global.version, highest));
}

void WaylandConnection::announce(const char* interface, const WaylandGlobal& global)
{
    // A version of 0 does not exist.
    if (global.version == 0 || m_globals.size() >= kMostGlobals)
        return;
    m_globals.push_back({.interface = interface, .global = global});
    m_globalsChanged = true;
}

void WaylandConnection::withdraw(std::uint32_t name)
{
    const auto isIt = [name](const Announced& announced) {
        return announced.global.name == name;
    };
    if (std::erase_if(m_globals, isIt) > 0)
        m_globalsChanged = true;
}

void WaylandConnection::readSocket()
{
    if (isLost())
        return;
    const int bytes = m_display->unread();
    if (!m_display->read()) {
        noteLoss();
        return;
    }
    pauseAfter(bytes);
    if (std::exchange(m_globalsChanged, false))
        Q_EMIT globalsChanged();
    flush();
    Q_EMIT caughtUp();
}

void WaylandConnection::catchUp()
{
    if (!isLost() && m_display->unread() > 0)
        readSocket();
}

void WaylandConnection::endPause()
{
    m_readable.setEnabled(!isLost());
    catchUp();
}

/// Each pause is as long as the heaps of late allow, and none is long before the series is.
void WaylandConnection::pauseAfter(int bytes)
{
    if (!m_lastRead.isValid() || m_lastRead.hasExpired(kCalm.count()))
        m_series.start();
    m_lastRead.start();
    const milliseconds last = m_pause.intervalAsDuration();
    const milliseconds next =
        bytes > kMuch ? last * kMuch / bytes : std::clamp(last * 2, kShortestPause, kLongestPause);
    m_pause.setInterval(std::min(next, milliseconds(m_series.elapsed() / kPauseInSeries)));
    m_readable.setEnabled(m_pause.interval() == 0);
    if (!m_readable.isEnabled())
        m_pause.start();
}

void WaylandConnection::flush()
{
    if (isLost())
        return;
    const WaylandDisplay::Sent sent = m_display->flush();
    m_writable.setEnabled(sent == WaylandDisplay::Sent::Partly);
    if (sent == WaylandDisplay::Sent::Lost)
        noteLoss();
}

/// A closed socket stays readable for ever: watching it on would keep the main loop busy.
void WaylandConnection::stopReading()
{
    m_readable.setEnabled(false);
    m_writable.setEnabled(false);
    m_pause.stop();
    Q_EMIT globalsChanged();
}

} // namespace platform::wayland
