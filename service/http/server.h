// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/http/limits.h"
#include "service/http/origin.h"
#include "service/http/routes.h"
#include "service/result.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace service {

/// A request that has been answered, for measurements.
struct ServedRequest
{
    /// Both are empty when there was no route, so that no client chooses what they say.
    std::string pattern;
    std::string method;
    int status = 0; ///< 0 when there was no one left to answer
    std::chrono::duration<double> seconds{0};
    std::string id;
};

/// Listens on a TCP port and has the requests answered by a table of routes. Few threads carry all
/// connections; what may block runs on others.
/// One thread, which may be any but for serve().
class HttpServer final
{
public:
    struct Settings
    {
        HttpLimits limits = {};
        /// Whether X-Forwarded-For tells the client's address, and others than this machine's
        /// clients come by way of a proxy.
        bool trustProxy = false;
        // NOLINTBEGIN(readability-redundant-member-init): some leave them out
        /// The address that users know; empty when nobody said so.
        std::string publicUrl = {};
        /// Where long bodies wait, without a name.
        std::string bodyFolder = "/tmp";
        /// Whose request it is, by its header, or how it is refused; may block. Any thread.
        std::function<Result<std::int64_t, Answer>(const Request&)> authenticate = {};
        /// Called after each request. Any thread; must not block.
        std::function<void(const ServedRequest&)> onServed = {};
        // NOLINTEND(readability-redundant-member-init)
    };

    HttpServer(std::vector<Route> routes, Settings settings);
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;
    /// Breaks off what is left, and waits for the handlers that run.
    ~HttpServer();

    /// Listens on the IP address `address`; `port` 0 means any that is free. The port.
    [[nodiscard]] Result<int> listen(const std::string& address, int port);

    /// Serves a connection that somebody else has accepted. Takes the socket over.
    void serveSocket(int socket);

    /// Has `work`, which must not block, done on a thread that carries connections. Any thread.
    void post(std::function<void()> work);

    /// Serves until the descriptor `stop` is readable. Then nothing new is accepted, requests in
    /// hand are finished, and after the time of grace broken off. False when some could not even be
    /// broken off.
    [[nodiscard]] bool serve(int stop);

private:
    struct Running;
    std::unique_ptr<Running> m_running;
};

} // namespace service
