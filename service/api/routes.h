// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/api/api.h"
#include "service/http/routes.h"

#include <cstdint>
#include <vector>

namespace service {

/// The endpoints that take JSON, dealt with by `api`, which has to live longer. `largestUpload` is
/// in bytes.
[[nodiscard]] std::vector<Route> apiRoutes(Api& api, std::uint64_t largestUpload);

} // namespace service
