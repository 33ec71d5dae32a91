// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/http_server.h"

#include "service/http_connection.h"
#include "service/http_exchange.h"

#include <cerrno>
#include <charconv>
#include <cstring>
#include <netdb.h>
#include <poll.h>
#include <string_view>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace service {

namespace {

constexpr std::chrono::seconds kToBreakOff(5);
constexpr int kPauseWhenExhaustedMs = 100;
constexpr std::string_view kOverloaded =
    "HTTP/1.1 503 Service Unavailable\r\nContent-Type: application/json\r\nContent-Length: 53\r\n"
    "Retry-After: 10\r\nConnection: close\r\n\r\n"
    R"({"message":"Too many connections, try again shortly"})";

std::string lastError()
{
    return std::strerror(errno); // NOLINT(concurrency-mt-unsafe): only at the start
}

/// The port that `socket` is bound to.
int portOf(int socket)
{
    sockaddr_storage address = {};
    socklen_t length = sizeof address;
    char port[NI_MAXSERV] = {};
    int number = 0;
    if (::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length) == 0 &&
        ::getnameinfo(reinterpret_cast<sockaddr*>(&address),
                      length,
                      nullptr,
                      0,
                      port,
                      sizeof port,
                      NI_NUMERICSERV) == 0)
        std::from_chars(port, port + std::strlen(port), number);
    return number;
}

} // namespace

HttpServer::HttpServer(Api& api, const HttpLimits& limits, bool trustProxy)
    : m_api(api)
    , m_limits(limits)
    , m_trustProxy(trustProxy)
    , m_bodies(limits.allBodiesBytes)
    , m_stopping(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
}

HttpServer::~HttpServer()
{
    m_workers.reset();
    ::close(m_stopping);
    if (m_listening >= 0)
        ::close(m_listening);
}

Result<int> HttpServer::listen(const std::string& address, int port)
{
    addrinfo hints = {};
    hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV | AI_PASSIVE;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (::getaddrinfo(address.c_str(), std::to_string(port).c_str(), &hints, &found) != 0)
        return Error{"\"" + address + "\" is not an IP address"};
    m_listening = ::socket(found->ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const int on = 1;
    const bool listening =
        m_listening >= 0 &&
        ::setsockopt(m_listening, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == 0 &&
        ::bind(m_listening, found->ai_addr, found->ai_addrlen) == 0 &&
        ::listen(m_listening, SOMAXCONN) == 0;
    const std::string reason = lastError();
    ::freeaddrinfo(found);
    if (!listening)
        return Error{"cannot listen on " + address + " port " + std::to_string(port) + ": " +
                     reason};
    m_workers = std::make_unique<HttpWorkers>(m_limits.threads,
                                              m_limits.waitingConnections,
                                              [this](int socket) { serveConnection(socket); });
    return portOf(m_listening);
}

bool HttpServer::serve(int stop)
{
    for (;;) {
        pollfd watched[] = {{.fd = m_listening, .events = POLLIN, .revents = 0},
                            {.fd = stop, .events = POLLIN, .revents = 0}};
        const int ready = ::poll(std::data(watched), std::size(watched), -1);
        if (ready < 0 && errno != EINTR)
            return false;
        if (ready > 0 && watched[1].revents != 0)
            return finish();
        if (ready > 0)
            acceptConnection();
    }
}

void HttpServer::acceptConnection()
{
    const int socket = ::accept4(m_listening, nullptr, nullptr, SOCK_CLOEXEC);
    if (socket < 0) {
        // Without descriptors or memory: the connection stays in the system's queue.
        if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM)
            ::poll(nullptr, 0, kPauseWhenExhaustedMs);
        return;
    }
    if (m_workers->add(socket))
        return;
    static_cast<void>(
        ::send(socket, kOverloaded.data(), kOverloaded.size(), MSG_NOSIGNAL | MSG_DONTWAIT));
    ::close(socket);
}

void HttpServer::serveConnection(int socket)
{
    HttpConnection connection(socket, m_stopping, m_limits);
    HttpExchange exchange(
        connection,
        {.api = m_api, .bodies = m_bodies, .limits = m_limits, .trustProxy = m_trustProxy});
    // The first request is waited for even when others wait, as it is on its way.
    bool first = true;
    const auto isWanted = [&] {
        return !first && m_workers->areBehind();
    };
    while (connection.waitForRequest(isWanted)) {
        first = false;
        if (!exchange.serve(isWanted()))
            return;
    }
}

bool HttpServer::finish()
{
    ::close(std::exchange(m_listening, -1));
    ::eventfd_write(m_stopping, 1);
    if (m_workers->waitUntilIdle(m_limits.graceTime))
        return true;
    m_workers->abortAll();
    return m_workers->waitUntilIdle(kToBreakOff);
}

} // namespace service
