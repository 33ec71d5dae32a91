// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/operator/health.h"

#include "service/database/schema.h"
#include "service/request_log.h"

#include <string>

namespace service {

namespace {

/// Whether the tables are those of this version, of a database that takes changes.
DatabaseResult<bool> look(DatabaseSession& session)
{
    const auto writable = isWritable(session);
    if (!writable)
        return writable.error();
    if (!writable.value()) // the next look makes a connection of its own, which may lead elsewhere
        return DatabaseFailure{"the database takes no changes"};
    return hasCurrentSchema(session);
}

Answer ready(Database& database, const std::string& request)
{
    const auto current = database.read(look);
    if (!current) {
        writeTrouble(current.error().text, request);
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
         .handler = [&database](Request& request) { return ready(database, request.id); },
         .anyHost = true,
         .work = Work::Check}};
}

} // namespace service
