// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/database/database_session.h"
#include "service/database/run_key.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace service {

/// A row as its user gets it back.
struct StoredRun
{
    RunKey key;
    std::int64_t durationSeconds = 0;
    std::int64_t device = 0;
    std::string appName;
    std::optional<std::string> windowTitle;
    std::optional<std::string> url;
};

/// The rows of `user` behind `last` (all of them without one), oldest first, at most `most`. What
/// waits in the table of schema 2 is not among them: see moveRowsOf(). See DatabaseSession for
/// threads and blocking.
[[nodiscard]] DatabaseResult<std::vector<StoredRun>> runsBehind(
    DatabaseSession& session, std::int64_t user, const std::optional<StoredRun>& last, int most);

/// Moves the rows of `user` that still are in the table of schema 2, a portion at a time.
[[nodiscard]] DatabaseResult<std::monostate> moveRowsOf(DatabaseSession& session,
                                                        std::int64_t user);

} // namespace service
