// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/answer.h"
#include "service/http/request.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace service {

/// Who may make a request.
enum class Caller : std::uint8_t {
    Anybody,
    /// Who shows a valid token in the header Authorization, before the body is read.
    Bearer,
};

/// What a handler does with the thread that it runs on.
enum class Work : std::uint8_t {
    /// Never blocks it; such a request is answered also when all threads for others are in use.
    Instant,
    /// Asks no more than whose a request is, and has the threads for that: it does not wait for
    /// what
    /// others have to do.
    Check,
    Blocking,
    /// Takes so long that it would hold up others: has threads apart.
    Long,
};

/// One row for each endpoint; what is no route is answered from the table, too.
struct Route
{
    /// GET includes HEAD.
    std::string method;
    /// "/api/token"; a segment "{name}" stands for any one that is not empty.
    std::string pattern;
    /// Of the body in bytes; 0 for none.
    std::uint64_t bodyLimit = 0;
    Caller caller = Caller::Anybody;
    /// Deals with a request. An exception is answered with 500.
    std::function<Answer(Request&)> handler;
    /// The type of body that a browser has to announce.
    std::string accepts = "application/json";
    /// Also under a name that is not this machine's, where others are refused.
    bool anyHost = false;
    Work work = Work::Blocking;
};

/// Which route a request takes. Immutable; any thread.
class RouteTable final
{
public:
    explicit RouteTable(std::vector<Route> routes)
        : m_routes(std::move(routes))
    {
    }

    struct Match
    {
        /// Null when there is none for that method.
        const Route* route = nullptr;
        std::vector<std::string> parameters;
        /// For the header Allow; empty when no route has that path.
        std::string allowed;
    };

    /// `path` as it came, without the query.
    [[nodiscard]] Match find(std::string_view method, std::string_view path) const;

    [[nodiscard]] const std::vector<Route>& routes() const { return m_routes; }

private:
    std::vector<Route> m_routes;
};

} // namespace service
