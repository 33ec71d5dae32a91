// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/desktops/wayland/wayland_display.h"

#include "backends/desktops/choice/display_connection.h"
#include "backends/posix/file_descriptor.h"

#include <QByteArray>

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
    // Not make_unique: the constructor is private.
    return std::unique_ptr<WaylandDisplay>(new WaylandDisplay(connected, std::move(shown)));
}

WaylandDisplay::WaylandDisplay(wl_display* display, QString name)
    : m_display(display, wl_display_disconnect)
    , m_name(std::move(name))
{
}

WaylandDisplay::~WaylandDisplay() = default;

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

} // namespace platform::wayland
