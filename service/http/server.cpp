// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/http/server.h"

#include "service/http/client_address.h"
#include "service/http/connection.h"
#include "service/request_log.h"

#include <algorithm>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/ip/address.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <condition_variable>
#include <exception>
#include <map>
#include <mutex>
#include <poll.h>
#include <set>
#include <string_view>
#include <sys/socket.h>
#include <system_error>
#include <thread>
#include <utility>

namespace service {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

namespace {

constexpr std::chrono::seconds kToBreakOff(5);
constexpr std::chrono::milliseconds kPauseWhenExhausted(100);
constexpr int kDiskThreads = 2;
constexpr std::string_view kOverloaded =
    "HTTP/1.1 503 Service Unavailable\r\nContent-Type: application/json\r\nContent-Length: 53\r\n"
    "Cache-Control: no-store\r\nX-Content-Type-Options: nosniff\r\nRetry-After: 10\r\n"
    "Connection: close\r\n\r\n"
    R"({"message":"Too many connections, try again shortly"})";

} // namespace

struct HttpServer::Running
{
    using Acceptor = asio::basic_socket_acceptor<tcp, Strand>;

    Running(std::vector<Route> rows, Settings given)
        : settings(std::move(given))
        , table(std::move(rows))
        , own{.publicUrl = settings.publicUrl}
        , room{.memory = ByteBudget(settings.limits.allBodiesInMemory),
               .memoryOfLong = ByteBudget(settings.limits.allLongBodiesInMemory),
               .files = ByteBudget(settings.limits.allBodiesInFiles),
               .folder = settings.bodyFolder,
               .inMemory = settings.limits.bodyInMemory,
               .ofEachShort = settings.limits.ofEachShortBody}
        , buffers(settings.limits.allBuffers)
        , workers(settings.limits.workers, waitingFor(settings.limits.workers))
        , workersApart(settings.limits.workersApart, waitingFor(settings.limits.workersApart))
        , disk(kDiskThreads)
        , gate(settings.limits.gatekeepers,
               static_cast<std::size_t>(settings.limits.gatekeepers) *
                   settings.limits.waitingForAGatekeeper)
        , io(settings.limits.threads)
        , work(io.get_executor())
        , acceptor(asio::make_strand(io))
        , pause(acceptor.get_executor())
        , environment{.routes = table,
                      .settings = settings,
                      .own = own,
                      .room = room,
                      .buffers = buffers,
                      .workers = workers,
                      .workersApart = workersApart,
                      .disk = disk,
                      .gate = gate,
                      .stopping = stopping}
    {
        for (int i = 0; i < settings.limits.threads; ++i)
            threads.emplace_back([this] { io.run(); });
    }

    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

    // Nothing goes on without knowing that they have ended.
    ~Running() // NOLINT(bugprone-exception-escape)
    {
        closeAcceptor();
        takeNoMore();
        abortAll();
        // What a connection gives to a pool that has been joined is never done, and then it never
        // ends either.
        waitUntilNone();
        workers.threads().join();
        workersApart.threads().join();
        disk.join();
        gate.threads().join();
        work.reset();
        threads.clear();
    }

    asio::awaitable<void> accept();
    [[nodiscard]] asio::awaitable<bool> acceptOne();
    void take(Socket socket);
    [[nodiscard]] bool add(const std::shared_ptr<Connection>& connection);
    void remove(const std::shared_ptr<Connection>& connection);
    void closeAcceptor();
    void takeNoMore();
    void abortAll();
    void waitUntilNone();
    [[nodiscard]] bool waitUntilNone(std::chrono::milliseconds limit);
    [[nodiscard]] bool finish();

    [[nodiscard]] std::size_t waitingFor(int count) const
    {
        return static_cast<std::size_t>(count) * settings.limits.waitingForAWorker;
    }

    const Settings settings;
    const RouteTable table;
    OwnAddress own;
    BodyRoom room;
    ByteBudget buffers;
    std::atomic<bool> stopping = false;
    std::mutex mutex;
    std::condition_variable changed;
    std::set<std::shared_ptr<Connection>> connections;
    std::map<std::string, std::size_t> ofAddress;
    WorkerPool workers;
    WorkerPool workersApart;
    asio::thread_pool disk;
    WorkerPool gate;
    asio::io_context io;
    asio::executor_work_guard<asio::io_context::executor_type> work;
    Acceptor acceptor;
    asio::steady_timer pause;
    ConnectionEnvironment environment;
    std::vector<std::jthread> threads;
};

HttpServer::HttpServer(std::vector<Route> routes, Settings settings)
    : m_running(std::make_unique<Running>(std::move(routes), std::move(settings)))
{
}

HttpServer::~HttpServer() = default;

Result<int> HttpServer::listen(const std::string& address, int port)
{
    error_code error;
    const auto ip = asio::ip::make_address(address, error);
    if (error)
        return Error{"\"" + address + "\" is not an IP address"};
    if (const Outcome folder = checkFolder(m_running->settings.bodyFolder); !folder)
        return folder.error();
    const tcp::endpoint endpoint(ip, static_cast<std::uint16_t>(port));
    auto& acceptor = m_running->acceptor;
    // What they return is the same error.
    static_cast<void>(acceptor.open(endpoint.protocol(), error));
    if (!error)
        static_cast<void>(acceptor.set_option(Running::Acceptor::reuse_address(true), error));
    if (!error)
        static_cast<void>(acceptor.bind(endpoint, error));
    if (!error)
        static_cast<void>(acceptor.listen(asio::socket_base::max_listen_connections, error));
    if (error)
        return Error{"cannot listen on " + address + " port " + std::to_string(port) + ": " +
                     error.message()};
    m_running->own.onlyThisMachine = ip.is_loopback() && !m_running->settings.trustProxy &&
                                     m_running->settings.publicUrl.empty();
    const int bound = acceptor.local_endpoint().port();
    asio::co_spawn(acceptor.get_executor(), m_running->accept(), asio::detached);
    return bound;
}

void HttpServer::serveSocket(int socket)
{
    Socket taken(asio::make_strand(m_running->io));
    error_code error;
    static_cast<void>(taken.assign(tcp::v4(), socket, error)); // it returns the same one
    if (!error)
        m_running->take(std::move(taken));
}

void HttpServer::post(std::function<void()> work)
{
    asio::post(m_running->io, std::move(work));
}

bool HttpServer::serve(int stop)
{
    for (;;) {
        pollfd watched = {.fd = stop, .events = POLLIN, .revents = 0};
        if (::poll(&watched, 1, -1) > 0)
            return m_running->finish();
    }
}

asio::awaitable<void> HttpServer::Running::accept()
{
    bool isExhausted = false;
    while (acceptor.is_open()) {
        try {
            if (isExhausted) {
                error_code ignored;
                pause.expires_after(kPauseWhenExhausted);
                co_await pause.async_wait(asio::redirect_error(asio::use_awaitable, ignored));
            }
            isExhausted = co_await acceptOne();
        } catch (const std::exception&) {
            // Without memory; nothing here may need any.
            writeTrouble("a connection could not be taken");
            isExhausted = true;
        }
    }
}

/// True when the system has no descriptors or memory for another one, which stays in its queue.
asio::awaitable<bool> HttpServer::Running::acceptOne()
{
    error_code error;
    Socket socket = co_await acceptor.async_accept(
        asio::make_strand(io), asio::redirect_error(asio::use_awaitable, error));
    if (!error)
        take(std::move(socket));
    co_return error == asio::error::no_descriptors || error == asio::error::no_memory ||
        error == asio::error::no_buffer_space ||
        error == boost::system::errc::too_many_files_open_in_system;
}

void HttpServer::Running::take(Socket socket)
{
    error_code ignored;
    const auto other = socket.remote_endpoint(ignored);
    std::string peer = ignored ? std::string() : other.address().to_string(ignored);
    // A small answer must not wait for the receipt of what went before; where it does it is late.
    static_cast<void>(socket.set_option(tcp::no_delay(true), ignored));
    const int descriptor = socket.native_handle();
    const auto connection =
        std::make_shared<Connection>(std::move(socket), std::move(peer), environment);
    if (!add(connection)) {
        static_cast<void>(::send(
            descriptor, kOverloaded.data(), kOverloaded.size(), MSG_NOSIGNAL | MSG_DONTWAIT));
        ::shutdown(descriptor, SHUT_WR);
        return;
    }
    try {
        asio::co_spawn(connection->strand(), connection->serve(), [this, connection](const auto&) {
            remove(connection);
        });
    } catch (...) {
        remove(connection);
        throw;
    }
}

/// False when there are too many, of all or of that client's, or the service ends.
bool HttpServer::Running::add(const std::shared_ptr<Connection>& connection)
{
    const std::lock_guard lock(mutex);
    const HttpLimits& limits = settings.limits;
    if (stopping || connections.size() >= limits.connections)
        return false;
    std::size_t* count = nullptr;
    if (limits.connectionsOfAnAddress > 0) {
        count = &ofAddress[connection->client()];
        if (*count >= limits.connectionsOfAnAddress)
            return false;
    }
    connections.insert(connection);
    if (count != nullptr)
        ++*count; // last: where there was no memory nothing is counted
    return true;
}

void HttpServer::Running::remove(const std::shared_ptr<Connection>& connection)
{
    const std::lock_guard lock(mutex);
    connections.erase(connection);
    const auto found = ofAddress.find(connection->client());
    if (found != ofAddress.end() && --found->second == 0)
        ofAddress.erase(found);
    changed.notify_all();
}

void HttpServer::Running::closeAcceptor()
{
    asio::post(acceptor.get_executor(), [this] {
        error_code ignored;
        static_cast<void>(acceptor.close(ignored)); // what cannot be closed is closed
        pause.cancel();
    });
}

/// No connection is added after it.
void HttpServer::Running::takeNoMore()
{
    const std::lock_guard lock(mutex);
    stopping = true;
}

void HttpServer::Running::abortAll()
{
    const std::lock_guard lock(mutex);
    for (const auto& connection : connections)
        connection->abort();
}

void HttpServer::Running::waitUntilNone()
{
    std::unique_lock lock(mutex);
    changed.wait(lock, [this] { return connections.empty(); });
}

bool HttpServer::Running::waitUntilNone(std::chrono::milliseconds limit)
{
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, limit, [this] { return connections.empty(); });
}

bool HttpServer::Running::finish()
{
    closeAcceptor();
    takeNoMore();
    {
        const std::lock_guard lock(mutex);
        for (const auto& connection : connections)
            connection->endWhenIdle();
    }
    if (waitUntilNone(settings.limits.graceTime))
        return true;
    abortAll();
    return waitUntilNone(kToBreakOff);
}

} // namespace service
