// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/database/retention.h"

#include "service/database/database_text.h"
#include "service/database/days.h"
#include "service/database/old_rows.h"
#include "service/database/partitions.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace service {

namespace {

constexpr int kRowsOfAPortion = 5000;
constexpr int kDaysOfAPortion = 100;

/// Days before `day` are sealed, and rows that begin on a day before `firstDayOfRuns` go.
struct Cut
{
    std::int64_t day = 0;
    std::int64_t firstDayOfRuns = 0;
};

std::optional<Cut> cutOfRuns(const Retention& retention, std::int64_t now)
{
    std::optional<int> days = retention.keepRunsDays;
    if (retention.keepDaysDays)
        days = std::min(days.value_or(*retention.keepDaysDays), *retention.keepDaysDays);
    if (!days)
        return std::nullopt;
    const std::int64_t day = now / kSecondsOfADay - *days;
    return Cut{.day = day, .firstDayOfRuns = day - 1};
}

/// The only number that `statement` yields.
DatabaseResult<std::int64_t>
count(DatabaseSession& session, const QString& statement, const QVariantList& values)
{
    auto found = session.run(statement, values);
    if (!found)
        return found.error();
    found.value().next();
    return found.value().value(0).toLongLong();
}

/// The months whose rows are all older than `cut`.
DatabaseResult<std::vector<int>> oldMonths(DatabaseSession& session, const Cut& cut)
{
    const auto there = partitionsOf(session);
    if (!there)
        return there.error();
    std::vector<int> old;
    for (const int month : there.value()) {
        if (firstDayOfMonth(month + 1) <= cut.firstDayOfRuns)
            old.push_back(month);
    }
    return old;
}

/// Packs and seals some days before the cut; false when all are.
DatabaseResult<bool> sealSome(DatabaseSession& session, const Cut& cut)
{
    // Of all users: each of these days is then read and sealed by its own.
    auto found = session.run(
        QStringLiteral("select user_id, day from days where sealed = 0 and day < ? and day <> 0 "
                       "order by day, user_id limit %1")
            .arg(kDaysOfAPortion),
        {number(cut.day)});
    if (!found)
        return found.error();
    std::vector<std::pair<std::int64_t, std::int64_t>> open;
    while (found.value().next())
        open.emplace_back(found.value().value(0).toLongLong(), found.value().value(1).toLongLong());
    found.value().finish();
    std::ranges::sort(open);
    if (const auto sealed = sealDays(session, open); !sealed)
        return sealed.error();
    return !open.empty();
}

/// The first user from `from` on of whom there are rows before the cut.
DatabaseResult<std::optional<std::int64_t>>
nextUser(DatabaseSession& session, const Cut& cut, std::int64_t from)
{
    // Of all users, of whom each is then treated by its own.
    auto found = session.run(
        QStringLiteral("select users.id from users where users.id >= ? and exists (select 1 from "
                       "runs where runs.user_id = users.id and start_day < ?) "
                       "order by users.id limit 1"),
        {number(from), number(cut.firstDayOfRuns)});
    if (!found)
        return found.error();
    return found.value().next() ? std::optional<std::int64_t>(found.value().value(0).toLongLong())
                                : std::nullopt;
}

/// Whether the user has days before the cut that are not sealed. What an upload that is on its way
/// stores is waited for, and none comes until the end of the transaction.
DatabaseResult<bool> hasOpenDays(DatabaseSession& session, const Cut& cut, std::int64_t user)
{
    if (session.isPostgreSql()) {
        const auto patience = session.run(QStringLiteral("set local lock_timeout = '200ms'"));
        if (!patience)
            return patience.error();
        const auto locked = session.run(
            QStringLiteral("select id from users where id = ? for update"), {number(user)});
        if (!locked)
            return locked.error();
    }
    auto open = session.run(QStringLiteral("select day from days where user_id = ? and sealed = 0 "
                                           "and day < ? and day <> 0 limit 1"),
                            {number(user), number(cut.day)});
    if (!open)
        return open.error();
    return open.value().next();
}

/// Deletes some rows before the cut, of one user, so that the statement says whose they are. False
/// when there are none.
DatabaseResult<bool> deleteSomeRuns(DatabaseSession& session, const Cut& cut, Pruning& pruning)
{
    const auto next = nextUser(session, cut, pruning.user);
    if (!next)
        return next.error();
    const std::optional<std::int64_t>& found = next.value();
    if (!found)
        return false;
    const std::int64_t user = *found;
    pruning.user = user;
    const auto deleted = session.inTransaction([&]() -> DatabaseResult<std::int64_t> {
        const auto open = hasOpenDays(session, cut, user);
        if (!open)
            return open.error();
        if (open.value()) // an upload came; the next step seals
            return std::int64_t(0);
        const auto gone = session.run(
            QStringLiteral("delete from runs where user_id = ? and "
                           "(start_day, start_second, digest) in "
                           "(select start_day, start_second, digest from runs where user_id = ? "
                           "and start_day < ? order by start_day, start_second, digest limit %1)")
                .arg(kRowsOfAPortion),
            {number(user), number(user), number(cut.firstDayOfRuns)});
        if (!gone)
            return gone.error();
        const std::int64_t rows = gone.value().numRowsAffected(); // of the last statement
        // Rows of other times may be among them.
        const auto bumped =
            session.run(QStringLiteral("update days set version = version + 1, pack = null "
                                       "where user_id = ? and day = ?"),
                        {number(user), number(kDayOfOtherTimes)});
        if (!bumped)
            return bumped.error();
        return rows;
    });
    if (!deleted)
        return deleted.error();
    pruning.done.runs += deleted.value();
    return true;
}

DatabaseResult<bool> pruneRuns(DatabaseSession& session, const Cut& cut, Pruning& pruning)
{
    auto sealed = sealSome(session, cut);
    if (!sealed || sealed.value())
        return sealed;
    const auto months = oldMonths(session, cut);
    if (!months)
        return months.error();
    if (!months.value().empty()) {
        const auto dropped = dropPartition(session, months.value().front());
        if (!dropped)
            return dropped.error();
        pruning.done.partitions += dropped.value() ? 1 : 0;
        return true;
    }
    return deleteSomeRuns(session, cut, pruning);
}

DatabaseResult<bool> pruneDays(DatabaseSession& session, std::int64_t before, Pruned& pruned)
{
    const auto deleted = session.run(
        QStringLiteral("delete from days where (user_id, day) in (select user_id, day from days "
                       "where day < ? and sealed = 1 limit %1)")
            .arg(kRowsOfAPortion),
        {number(before)});
    if (!deleted)
        return deleted.error();
    pruned.days += deleted.value().numRowsAffected();
    return deleted.value().numRowsAffected() > 0;
}

std::int64_t firstDayKept(const Retention& retention, std::int64_t now)
{
    return now / kSecondsOfADay - retention.keepDaysDays.value_or(0);
}

} // namespace

DatabaseResult<Pruned>
countToPrune(DatabaseSession& session, const Retention& retention, std::int64_t now)
{
    Pruned pruned;
    const auto old = hasOldTable(session);
    if (!old)
        return old.error();
    if (old.value())
        return pruned;
    if (const auto cut = cutOfRuns(retention, now)) {
        const auto months = oldMonths(session, *cut);
        if (!months)
            return months.error();
        pruned.partitions = static_cast<std::int64_t>(months.value().size());
        // Of all users; a month that is dropped is not counted.
        const std::int64_t from =
            months.value().empty() ? kFirstCountedDay : firstDayOfMonth(months.value().back() + 1);
        const auto runs =
            count(session,
                  QStringLiteral("select count(user_id) from runs where "
                                 "start_day < ? and (start_day >= ? or "
                                 "start_day < ?)"),
                  {number(cut->firstDayOfRuns), number(from), number(kFirstCountedDay)});
        if (!runs)
            return runs.error();
        pruned.runs = runs.value();
    }
    if (retention.keepDaysDays) {
        const auto days =
            count(session,
                  QStringLiteral("select count(user_id) from days where day < ? and day <> 0"),
                  {number(firstDayKept(retention, now))});
        if (!days)
            return days.error();
        pruned.days = days.value();
    }
    return pruned;
}

DatabaseResult<bool>
pruneSome(DatabaseSession& session, const Retention& retention, std::int64_t now, Pruning& pruning)
{
    const auto old = hasOldTable(session);
    if (!old)
        return old.error();
    if (old.value()) // whose rows would come into days that are sealed
        return false;
    if (const auto cut = cutOfRuns(retention, now)) {
        const auto more = pruneRuns(session, *cut, pruning);
        if (!more || more.value())
            return more;
    }
    if (retention.keepDaysDays)
        return pruneDays(session, firstDayKept(retention, now), pruning.done);
    return false;
}

DatabaseResult<Pruned> prune(DatabaseSession& session, const Retention& retention, std::int64_t now)
{
    Pruning pruning;
    for (;;) {
        const auto more = pruneSome(session, retention, now, pruning);
        if (!more)
            return more.error();
        if (!more.value())
            return pruning.done;
    }
}

} // namespace service
