// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/desktops/choice/display_connection.h"

#include "backends/desktops/choice/sources.h"

#include <QTimer>

#include <cerrno>
#include <poll.h>
#include <sys/epoll.h>
#include <utility>

namespace platform::desktop {

namespace {

/// A descriptor that is readable once the other side of `socket` has been closed, and not when data
/// arrives.
posix::FileDescriptor hangUpOf(int socket)
{
    posix::FileDescriptor hangUp(::epoll_create1(EPOLL_CLOEXEC));
    epoll_event event{.events = EPOLLRDHUP, .data = {}};
    ::epoll_ctl(hangUp.get(), EPOLL_CTL_ADD, socket, &event);
    return hangUp;
}

} // namespace

DisplayConnection::DisplayConnection(int socket, const QString& server)
    : m_reason(QStringLiteral("the connection to %1 was closed").arg(server))
    , m_hangUp(hangUpOf(socket))
    , m_notifier(m_hangUp.get(), QSocketNotifier::Read)
{
    connect(&m_notifier, &QSocketNotifier::activated, this, &DisplayConnection::noteLoss);
}

void DisplayConnection::noteLoss()
{
    if (std::exchange(m_isLost, true))
        return;
    qCWarning(lcWindows).noquote() << m_reason;
    // A closed socket stays readable for ever: watching it on would keep the main loop busy.
    m_notifier.setEnabled(false);
    QTimer::singleShot(0, this, [this] { Q_EMIT lost(m_reason); });
}

bool waitForData(int socket, const QDeadlineTimer& deadline)
{
    pollfd poll{.fd = socket, .events = POLLIN, .revents = 0};
    int ready = 0;
    do {
        ready = ::poll(&poll, 1, static_cast<int>(deadline.remainingTime()));
    } while (ready < 0 && errno == EINTR);
    return ready > 0;
}

} // namespace platform::desktop
