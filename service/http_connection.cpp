// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/http_connection.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

namespace service {

namespace {

constexpr std::chrono::milliseconds kLookAround(200);
constexpr std::size_t kMostLingerBytes = 256UL * 1024 * 1024;

int millisecondsUntil(std::chrono::steady_clock::time_point deadline)
{
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, 1'000'000'000));
}

} // namespace

HttpConnection::HttpConnection(int socket, int stopping, const HttpLimits& limits)
    : m_socket(socket)
    , m_stopping(stopping)
    , m_limits(limits)
{
    sockaddr_storage address = {};
    socklen_t length = sizeof address;
    std::array<char, INET6_ADDRSTRLEN> text = {};
    if (::getpeername(m_socket, reinterpret_cast<sockaddr*>(&address), &length) == 0) {
        if (address.ss_family == AF_INET6) {
            const auto* const in6 = reinterpret_cast<const sockaddr_in6*>(&address);
            ::inet_ntop(AF_INET6, &in6->sin6_addr, text.data(), text.size());
            m_port = ntohs(in6->sin6_port);
        } else if (address.ss_family == AF_INET) {
            const auto* const in = reinterpret_cast<const sockaddr_in*>(&address);
            ::inet_ntop(AF_INET, &in->sin_addr, text.data(), text.size());
            m_port = ntohs(in->sin_port);
        }
    }
    m_peer = text.data();
    // An answer is written in several pieces that must not wait for each other's receipt.
    const int on = 1;
    ::setsockopt(m_socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

bool HttpConnection::waitForRequest(const std::function<bool()>& isWanted)
{
    m_phase = Phase::Header;
    m_headerBytes = 0;
    m_bodyBytes = 0;
    const auto end = Clock::now() + m_limits.idleTime;
    while (m_next == m_end) {
        pollfd watched[] = {{.fd = m_socket, .events = POLLIN, .revents = 0},
                            {.fd = m_stopping, .events = POLLIN, .revents = 0}};
        const int ready = ::poll(std::data(watched),
                                 std::size(watched),
                                 millisecondsUntil(std::min(end, Clock::now() + kLookAround)));
        // Of a request that is already there the end of the service does not get in the way.
        if (watched[0].revents != 0)
            break;
        if (ready != 0 || Clock::now() >= end || isWanted())
            return false;
    }
    m_phaseBegan = Clock::now();
    return m_next < m_end || receive(deadline()) > 0;
}

void HttpConnection::beginBody()
{
    m_phase = Phase::Body;
    m_phaseBegan = Clock::now();
    m_bodyBytes = 0;
}

void HttpConnection::linger()
{
    ::shutdown(m_socket, SHUT_WR);
    const auto began = Clock::now();
    std::size_t taken = 0;
    while (taken < kMostLingerBytes) {
        // A client that reads the answer when it has sent everything may have a slow line.
        const auto allowance =
            m_limits.lingerTime +
            std::chrono::milliseconds(1000 * taken / m_limits.lingerBytesPerSecond);
        const auto deadline = began + std::min(allowance, m_limits.longestLinger);
        // Who is silent has read the answer, or waits for us to close.
        const ssize_t count = receive(std::min(deadline, Clock::now() + m_limits.lingerSilence));
        if (count <= 0)
            return;
        taken += static_cast<std::size_t>(count);
    }
}

bool HttpConnection::is_readable() const
{
    return m_next < m_end || waitFor(POLLIN, deadline());
}

bool HttpConnection::is_writable() const
{
    return waitFor(POLLOUT, Clock::now() + m_limits.writeTime);
}

ssize_t HttpConnection::read(char* data, std::size_t size)
{
    if (m_next == m_end) {
        const ssize_t count = receive(deadline());
        if (count <= 0)
            return count;
    }
    const std::size_t count = std::min(size, m_end - m_next);
    std::memcpy(data, m_buffer.data() + m_next, count);
    m_next += count;
    if (m_phase == Phase::Body) {
        m_bodyBytes += count;
    } else {
        m_headerBytes += count;
        m_tooMuchHeader = m_headerBytes > m_limits.headerBytes;
    }
    if (m_tooMuchHeader)
        return -1;
    return static_cast<ssize_t>(count);
}

ssize_t HttpConnection::write(const char* data, std::size_t size)
{
    std::size_t written = 0;
    while (written < size) {
        const ssize_t count =
            ::send(m_socket, data + written, size - written, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count >= 0)
            written += static_cast<std::size_t>(count);
        else if (errno != EINTR && (errno != EAGAIN || !is_writable()))
            return -1;
    }
    return static_cast<ssize_t>(written);
}

void HttpConnection::get_remote_ip_and_port(std::string& address, int& port) const
{
    address = m_peer;
    port = m_port;
}

void HttpConnection::get_local_ip_and_port(std::string& address, int& port) const
{
    address.clear(); // nobody here asks for it
    port = 0;
}

HttpConnection::Clock::time_point HttpConnection::deadline() const
{
    if (m_phase == Phase::Header)
        return m_phaseBegan + m_limits.headerTime;
    return m_phaseBegan + m_limits.bodyTime +
           std::chrono::milliseconds(1000 * m_bodyBytes / m_limits.bodyBytesPerSecond);
}

/// Fills the buffer; 0 at the end of what the client sends, -1 when that fails or takes too long.
ssize_t HttpConnection::receive(Clock::time_point deadline)
{
    for (;;) {
        // Looked at although something may be there: otherwise drops in time would never end.
        if (Clock::now() >= deadline || !waitFor(POLLIN, deadline)) {
            m_tooSlow = true;
            return -1;
        }
        const ssize_t count = ::recv(m_socket, m_buffer.data(), m_buffer.size(), MSG_DONTWAIT);
        if (count >= 0) {
            m_next = 0;
            m_end = static_cast<std::size_t>(count);
            return count;
        }
        if (errno != EAGAIN && errno != EINTR)
            return -1;
    }
}

bool HttpConnection::waitFor(short events, Clock::time_point deadline) const
{
    for (;;) {
        pollfd watched = {.fd = m_socket, .events = events, .revents = 0};
        const int ready = ::poll(&watched, 1, millisecondsUntil(deadline));
        if (ready > 0)
            return true;
        if (ready == 0 || errno != EINTR)
            return false;
    }
}

} // namespace service
