// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/database/database.h"
#include "service/http/routes.h"
#include "service/http/server.h"
#include "service/operator/database_watch.h"
#include "service/operator/exposition.h"

#include <array>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace service {

/// Counts requests by route, method and status. Any thread.
class RequestFigures final
{
public:
    /// Upper ends of the histogram, in seconds; longer ones are beyond.
    static constexpr std::array kEnds = {
        0.005, 0.01, 0.025, 0.05, 0.1, 0.25, 0.5, 1.0, 2.5, 5.0, 10.0, 30.0, 60.0};

    void note(const ServedRequest& request);

    void expose(Exposition& out) const;

private:
    struct Histogram
    {
        std::array<std::uint64_t, kEnds.size()> upTo = {};
        std::uint64_t count = 0;
        double seconds = 0;
    };

    void exposeSignIns(Exposition& out) const;

    using Key = std::tuple<std::string, std::string, int>; // route, method, status

    mutable std::mutex m_mutex;
    std::map<Key, Histogram> m_histograms;
};

/// What the process takes of the machine.
struct ProcessFigures
{
    double cpuSeconds = 0;
    std::int64_t residentBytes = 0;
    std::int64_t openFiles = 0;
    std::int64_t startTime = 0; ///< seconds since 1970
};

[[nodiscard]] ProcessFigures processFigures();

/// All of it as text; nothing in it is about one user.
[[nodiscard]] std::string metricsText(const RequestFigures& requests,
                                      const Database::Figures& lanes,
                                      const DatabaseWatch::Seen& seen,
                                      const ProcessFigures& process);

/// The routes of the listener for figures: GET /metrics, which waits for no database. What they
/// refer to has to live longer.
[[nodiscard]] std::vector<Route>
metricsRoutes(const RequestFigures& requests, const Database& database, DatabaseWatch& watch);

} // namespace service
