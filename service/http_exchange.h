// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/answer.h"
#include "service/api.h"
#include "service/byte_budget.h"
#include "service/http_connection.h"
#include "service/http_framing.h"
#include "service/http_limits.h"
#include "service/request_log.h"

#include <cstdint>
#include <httplib.h>
#include <optional>
#include <string>

namespace service {

/// The requests of one connection. The library reads and writes HTTP; routing, and what may be
/// asked at all, is decided here. One thread.
class HttpExchange final : private httplib::Server
{
public:
    struct Environment
    {
        Api& api;
        ByteBudget& bodies;
        const HttpLimits& limits;
        /// Whether X-Forwarded-For tells the client's address.
        bool trustProxy = false;
    };

    HttpExchange(HttpConnection& connection, const Environment& environment);
    HttpExchange(const HttpExchange&) = delete;
    HttpExchange& operator=(const HttpExchange&) = delete;
    ~HttpExchange() override = default;

    /// Reads a request, answers it and logs it. False when no other can follow. `last` tells the
    /// client that this is so.
    [[nodiscard]] bool serve(bool last);

private:
    /// What is known of the request in hand.
    struct State
    {
        bool headerRead = false;
        bool bodyUnread = false;
        LoggedRequest log;
        std::optional<std::int64_t> user;
        std::optional<Answer> refused;
    };

    void examine(httplib::Request& request);
    [[nodiscard]] std::optional<Answer> refuse(const httplib::Request& request,
                                               const BodyFields& fields);
    [[nodiscard]] std::string peerOf(const httplib::Request& request) const;
    [[nodiscard]] Answer answer(const httplib::Request& request,
                                const httplib::ContentReader& reader);
    [[nodiscard]] Result<std::string, Answer>
    receive(const httplib::ContentReader& reader, std::size_t limit, ByteBudget::Share& share);
    void send(const Answer& answer, httplib::Response& response);
    void describe(httplib::Response& response) const;

    HttpConnection& m_connection;
    Environment m_environment;
    State m_state;
};

} // namespace service
