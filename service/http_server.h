// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/api.h"
#include "service/byte_budget.h"
#include "service/http_limits.h"
#include "service/http_workers.h"
#include "service/result.h"

#include <memory>
#include <string>

namespace service {

/// Listens on a TCP port and has the requests answered. One thread.
class HttpServer final
{
public:
    HttpServer(Api& api, const HttpLimits& limits, bool trustProxy);
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;
    ~HttpServer();

    /// Listens on the IP address `address`; `port` 0 means any that is free. The port.
    [[nodiscard]] Result<int> listen(const std::string& address, int port);

    /// Serves until the descriptor `stop` is readable. Then nothing new is accepted, requests in
    /// hand are finished, and after the time of grace broken off. False when some could not even be
    /// broken off, or the port failed.
    [[nodiscard]] bool serve(int stop);

private:
    void acceptConnection();
    void serveConnection(int socket);
    [[nodiscard]] bool finish();

    Api& m_api;
    HttpLimits m_limits;
    bool m_trustProxy;
    ByteBudget m_bodies;
    int m_listening = -1;
    int m_stopping; // readable from the moment when the service ends
    std::unique_ptr<HttpWorkers> m_workers;
};

} // namespace service
