// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/database/database.h"
#include "service/http/routes.h"

#include <vector>

namespace service {

/// For whoever decides where requests go: GET /healthz, whether the process answers, and GET
/// /readyz, whether it could do its work. `database` has to live longer.
[[nodiscard]] std::vector<Route> healthRoutes(Database& database);

} // namespace service
