// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/database/database_session.h"

#include <cstdint>
#include <optional>

namespace service {

/// How long rows and the sums of days are kept, and the deleting of what is older. Rows go before
/// the days that they make up: a day whose rows go is packed and sealed before, so its sums stay.
/// See DatabaseSession for threads and blocking.

struct Retention
{
    std::optional<int> keepRunsDays;
    std::optional<int> keepDaysDays; ///< rows are not kept longer than this, either
};

/// What was deleted, or would be.
struct Pruned
{
    std::int64_t runs = 0; ///< but for those in partitions that were dropped
    std::int64_t days = 0;
    std::int64_t partitions = 0;

    bool operator==(const Pruned&) const = default;
};

/// What pruneSome() has done so far, and where it goes on.
struct Pruning
{
    Pruned done;
    std::int64_t user = 0;
};

/// What prune() would delete, counted. At `now`, seconds since 1970.
[[nodiscard]] DatabaseResult<Pruned>
countToPrune(DatabaseSession& session, const Retention& retention, std::int64_t now);

/// Deletes the next portion: some thousands of rows, or a month of all users (PostgreSQL). False
/// when nothing was left, or rows of schema 2 still have to be moved. Rows go a day later than
/// told, as they may reach into the next day; one of more than a day then counts no more in the
/// days after.
[[nodiscard]] DatabaseResult<bool>
pruneSome(DatabaseSession& session, const Retention& retention, std::int64_t now, Pruning& pruning);

/// All of it.
[[nodiscard]] DatabaseResult<Pruned>
prune(DatabaseSession& session, const Retention& retention, std::int64_t now);

} // namespace service
