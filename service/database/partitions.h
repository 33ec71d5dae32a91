// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/database/database_session.h"
#include "service/history/run.h"

#include <cstdint>
#include <set>
#include <utility>

namespace service {

/// The months that the table of runs has partitions for (PostgreSQL; SQLite has none, and these do
/// nothing there). Runs outside of the years that are counted are in a partition of their own.
/// See DatabaseSession for threads and blocking.

/// Makes what is missing of `months`, as monthOf() counts them. Not within a transaction. Waits for
/// whoever reads all of the table, for some seconds at most.
[[nodiscard]] DatabaseResult<std::monostate> makePartitions(DatabaseSession& session,
                                                            const std::set<int>& months);

/// Those that are there.
[[nodiscard]] DatabaseResult<std::set<int>> partitionsOf(DatabaseSession& session);

/// Drops the partition of `month` with all that is in it; false when a day of it, or the one after,
/// is not sealed: an upload has come meanwhile. Takes no longer for many rows.
[[nodiscard]] DatabaseResult<bool> dropPartition(DatabaseSession& session, int month);

/// "runs_2026_11"
[[nodiscard]] QString partitionName(int month);

} // namespace service
