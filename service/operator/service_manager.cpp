// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/operator/service_manager.h"

#include <algorithm>
#include <cstddef>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>

namespace service {

ServiceManager::ServiceManager(const QProcessEnvironment& environment)
    : m_socket(environment.value(QStringLiteral("NOTIFY_SOCKET")).toStdString())
{
    const QString process = environment.value(QStringLiteral("WATCHDOG_PID"));
    bool valid = false;
    const qlonglong microseconds =
        environment.value(QStringLiteral("WATCHDOG_USEC")).toLongLong(&valid);
    const bool isForUs = process.isEmpty() || process.toLongLong() == ::getpid();
    if (!m_socket.empty() && valid && microseconds > 0 && isForUs)
        m_watchdog = std::chrono::microseconds(microseconds);
}

void ServiceManager::tell(std::string_view state) const
{
    sockaddr_un address = {};
    if (m_socket.empty() || m_socket.size() >= sizeof address.sun_path)
        return;
    address.sun_family = AF_UNIX;
    std::ranges::copy(m_socket, address.sun_path);
    if (address.sun_path[0] == '@')
        address.sun_path[0] = '\0';
    const int socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (socket < 0)
        return;
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + m_socket.size());
    static_cast<void>(::sendto(socket,
                               state.data(),
                               state.size(),
                               MSG_NOSIGNAL | MSG_DONTWAIT,
                               reinterpret_cast<const sockaddr*>(&address),
                               size));
    ::close(socket);
}

Watchdog::Watchdog(const ServiceManager& manager, Post post)
{
    const auto period = manager.watchdog();
    if (!period)
        return;
    m_thread = std::jthread(
        [this, manager, pause = *period / 2, post = std::move(post)](const std::stop_token& stop) {
            std::unique_lock lock(m_mutex);
            while (!stop.stop_requested()) {
                // Where the service hangs this is never done, and the manager starts it anew.
                post([manager] { manager.tell("WATCHDOG=1"); });
                m_wake.wait_for(lock, stop, pause, [] { return false; });
            }
        });
}

} // namespace service
