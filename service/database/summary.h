// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/database/database_session.h"

#include <string>

namespace service {

/// Lines such as "user 1: 123 rows, 4567 seconds, 2 devices, 1 tokens", without personal data, from
/// what is kept of the days; only days that have changed since somebody read them are added up.
/// See DatabaseSession for threads and blocking.
[[nodiscard]] DatabaseResult<std::string> summary(DatabaseSession& session);

} // namespace service
