// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/operator/health.h"

#include "service/database/schema.h"
#include "service/request_log.h"

namespace service {

namespace {

Answer ready(Database& database)
{
    const auto current = database.read(hasCurrentSchema);
    if (!current) {
        writeTrouble(current.error().text);
        return refusal(503, "The database cannot be used at the moment");
    }
    if (!current.value())
        return refusal(503, "The tables are not those of this version");
    return {.status = 200, .body = R"({"status":"ready"})"};
}

} // namespace

std::vector<Route> healthRoutes(Database& database)
{
    return {
        {.method = "GET",
         .pattern = "/healthz",
         .handler = [](Request&) { return Answer{.status = 200, .body = R"({"status":"ok"})"}; },
         .anyHost = true,
         .work = Work::Instant},
        {.method = "GET",
         .pattern = "/readyz",
         .handler = [&database](Request&) { return ready(database); },
         .anyHost = true}};
}

} // namespace service
