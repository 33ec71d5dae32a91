// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/http/limits.h"
#include "service/http/origin.h"
#include "service/http/routes.h"
#include "service/http/server.h"
#include "service/http/worker_pool.h"
#include "service/request_log.h"

#include <atomic>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/thread_pool.hpp>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace service {

using Strand = boost::asio::strand<boost::asio::io_context::executor_type>;
using Socket = boost::asio::basic_stream_socket<boost::asio::ip::tcp, Strand>;

/// What all connections of a server share. Lives longer than any of them.
struct ConnectionEnvironment
{
    const RouteTable& routes;
    const HttpServer::Settings& settings;
    const OwnAddress& own;
    BodyRoom& room;
    ByteBudget& buffers;
    /// For the handlers, for those apart, for what blocks on the disk, and for finding out whose a
    /// request is.
    WorkerPool& workers;
    WorkerPool& workersApart;
    boost::asio::thread_pool& disk;
    WorkerPool& gate;
    const std::atomic<bool>& stopping;
};

/// A client's connection with limits on what comes and how long it takes. While it waits for a
/// request it has neither a thread nor a buffer.
/// serve() and what it calls run on the strand of the socket, the rest as said.
class Connection final : public std::enable_shared_from_this<Connection>
{
public:
    Connection(Socket socket, std::string peer, const ConnectionEnvironment& environment);
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection() = default;

    /// Reads and answers requests until the connection ends; then it is closed.
    [[nodiscard]] boost::asio::awaitable<void> serve();

    /// The service ends: a connection without a request in hand is closed. Any thread.
    void endWhenIdle();

    /// Closes the connection whatever it does. Any thread.
    void abort();

    [[nodiscard]] Strand strand() { return m_socket.get_executor(); }

    /// What counts as its client.
    [[nodiscard]] const std::string& client() const { return m_client; }

private:
    using Clock = std::chrono::steady_clock;
    struct Exchange;
    struct Piece;

    [[nodiscard]] boost::asio::awaitable<bool> waitForRequest();
    [[nodiscard]] boost::asio::awaitable<bool> serveRequest();
    [[nodiscard]] boost::asio::awaitable<Answer> deal(Exchange& exchange);
    [[nodiscard]] boost::asio::awaitable<bool> perform(WorkerPool& pool,
                                                       const std::function<void()>& work) const;
    [[nodiscard]] WorkerPool& threadsFor(Work work) const;
    [[nodiscard]] boost::asio::awaitable<std::optional<Answer>> authenticate(Request& request);
    [[nodiscard]] boost::asio::awaitable<Result<std::size_t, Answer>>
    receiveHeader(Request& request);
    [[nodiscard]] boost::asio::awaitable<std::optional<Answer>> receiveBody(Exchange& exchange);
    [[nodiscard]] boost::asio::awaitable<bool> keep(RequestBody& body, Piece& piece) const;
    [[nodiscard]] boost::asio::awaitable<void> sayContinue();
    [[nodiscard]] boost::asio::awaitable<void> send(Exchange& exchange);
    [[nodiscard]] boost::asio::awaitable<void> linger();
    [[nodiscard]] boost::asio::awaitable<bool> receive();
    [[nodiscard]] std::optional<Answer> parseHeader(Exchange& exchange, std::size_t size);
    [[nodiscard]] boost::system::error_code parseBody(Exchange& exchange, Piece& piece);
    [[nodiscard]] std::optional<Answer> refuse(Exchange& exchange) const;
    [[nodiscard]] std::string clientOf(const Request& request) const;
    void finish(const Exchange& exchange) const;

    void close();
    void cancel();
    [[nodiscard]] bool endSending(Socket::shutdown_type what);
    void setDeadline(Clock::time_point deadline);
    void clearDeadline();
    [[nodiscard]] std::string_view received() const;
    void makeRoom();
    [[nodiscard]] Answer withoutMore(std::string_view whenSlow, const Answer& otherwise) const;
    void letGoOf(std::unique_ptr<RequestBody> body) const;
    void letGoOfBuffer();

    Socket m_socket;
    boost::asio::steady_timer m_timer;
    std::string m_peer;
    std::string m_client;
    const ConnectionEnvironment& m_environment;
    std::vector<char> m_buffer;
    ByteBudget::Share m_share; // for what it has beyond a small one
    std::size_t m_begin = 0;
    std::size_t m_end = 0;
    unsigned m_deadlines = 0; // counts them, so that an old one does not fire for a new one
    bool m_tooSlow = false;
    bool m_crowded = false; // there was no share for a larger buffer
    bool m_idle = false;
    bool m_writing = false;
    bool m_aborted = false;
};

} // namespace service
