// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/database/database_session.h"

#include <cstdint>

namespace service {

/// How much the rows of `user` are: a hundred bytes each, and their texts. Adds all of them up, a
/// month in each statement, and those that wait in the table of schema 2. See DatabaseSession for
/// threads and blocking.
[[nodiscard]] DatabaseResult<std::int64_t> bytesOfRows(DatabaseSession& session, std::int64_t user);

} // namespace service
