// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/database/database_session.h"
#include "service/history/category_rules.h"
#include "service/history/day_pack.h"
#include "service/history/run.h"

#include <QByteArray>

#include <cstdint>
#include <optional>
#include <set>
#include <utility>
#include <vector>

namespace service {

/// The days of users in the database: for each a version, which every change of its rows raises,
/// and its pack, which such a change clears. Whoever finds none adds the rows up and writes the
/// pack back where the version is still the same, so a pack is never stale and needs no lock. A
/// sealed day's rows have been deleted for their age: its pack stays, whatever comes late. See
/// DatabaseSession for threads and blocking.

struct PackedDay
{
    std::int64_t day = 0; ///< since 1970-01-01, UTC
    std::int64_t version = 0;
    DayPack pack;
};

/// What was added up of a day that had no pack.
struct PackToKeep
{
    std::int64_t user = 0;
    std::int64_t day = 0;
    std::int64_t version = 0;
    QByteArray pack;
    std::int64_t seconds = 0;
    // Of all rows that begin on the day, also those that are not counted.
    std::int64_t rows = 0;
    std::int64_t millions = 0; ///< of the sum of their durations
    std::int64_t rest = 0;
};

/// The days of `range` that have rows, in their order. What had no pack is added up and stands also
/// in `toKeep`, for keepPacks() on a session that may write. kDayOfOtherTimes has an empty pack.
[[nodiscard]] DatabaseResult<std::vector<PackedDay>> readDays(DatabaseSession& session,
                                                              std::int64_t user,
                                                              const DayRange& range,
                                                              std::vector<PackToKeep>& toKeep);

/// Writes those back in one transaction whose day has not changed since it was read. They stand by
/// user and day.
[[nodiscard]] DatabaseResult<std::monostate> keepPacks(DatabaseSession& session,
                                                       const std::vector<PackToKeep>& packs);

/// Packs these days, of users and days in their order, and seals those that have not changed
/// meanwhile.
[[nodiscard]] DatabaseResult<std::monostate>
sealDays(DatabaseSession& session, const std::vector<std::pair<std::int64_t, std::int64_t>>& days);

/// Notes within a transaction that rows of these days have changed.
[[nodiscard]] DatabaseResult<std::monostate>
bumpDays(DatabaseSession& session, std::int64_t user, const std::set<std::int64_t>& days);

/// The rows of which a part lies on `day`, in no order.
[[nodiscard]] DatabaseResult<std::vector<Run>>
runsOfDay(DatabaseSession& session, std::int64_t user, std::int64_t day);

/// A step of the job that packs what nobody has read: of some days before today that have no pack,
/// but for users whose rows of schema 2 still have to be moved. At `now`, seconds since 1970. False
/// when there were none.
[[nodiscard]] DatabaseResult<bool> packSomeDays(DatabaseSession& session, std::int64_t now);

[[nodiscard]] DatabaseResult<std::vector<CategoryRule>> listCategories(DatabaseSession& session,
                                                                       std::int64_t user);

/// Replaces all rules of a user; all days are packed anew.
[[nodiscard]] DatabaseResult<std::monostate>
setCategories(DatabaseSession& session, std::int64_t user, const std::vector<CategoryRule>& rules);

} // namespace service
