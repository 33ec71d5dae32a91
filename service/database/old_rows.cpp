// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/database/old_rows.h"

#include "service/database/activity_rows.h"
#include "service/database/database_text.h"
#include "service/database/days.h"
#include "service/database/devices.h"
#include "service/database/partitions.h"
#include "service/history/run.h"

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace service {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kMostTime(200); // that an upload may have to wait

/// The user whose turn it is, and how far.
struct Turn
{
    std::int64_t user = 0;
    QString after;
};

struct OldRow
{
    QString digest;
    std::string deviceId;
    UploadedActivity activity;
};

std::optional<std::string> optionalText(const QSqlQuery& row, int column)
{
    return row.isNull(column) ? std::nullopt
                              : std::optional(row.value(column).toString().toStdString());
}

DatabaseResult<std::optional<Turn>> nextTurn(DatabaseSession& session)
{
    auto found = session.run(QStringLiteral("select id, old_next from users where old_rows > 0 and "
                                            "removed = 0 order by old_rows desc, id limit 1"));
    if (!found)
        return found.error();
    if (!found.value().next())
        return std::optional<Turn>();
    return std::optional(Turn{.user = found.value().value(0).toLongLong(),
                              .after = found.value().value(1).toString()});
}

DatabaseResult<std::vector<OldRow>> portionOf(DatabaseSession& session, const Turn& turn, int most)
{
    auto found = session.run(
        QStringLiteral("select digest, device_id, app_name, window_title, url, start_time, "
                       "duration_seconds from old_activities where user_id = ? and digest > ? "
                       "order by digest limit %1")
            .arg(most),
        {number(turn.user), turn.after});
    if (!found)
        return found.error();
    std::vector<OldRow> rows;
    for (QSqlQuery& row = found.value(); row.next();)
        rows.push_back({.digest = row.value(0).toString(),
                        .deviceId = row.value(1).toString().toStdString(),
                        .activity = {.appName = row.value(2).toString().toStdString(),
                                     .windowTitle = optionalText(row, 3),
                                     .url = optionalText(row, 4),
                                     .durationSeconds = row.value(6).toLongLong(),
                                     .startTime = row.value(5).toLongLong()}});
    if (const auto all = DatabaseSession::allRead(found.value()); !all)
        return all.error();
    return rows;
}

/// Whether it is still that user's turn from there on, which it then stays until the end of the
/// transaction.
DatabaseResult<bool> hold(DatabaseSession& session, const Turn& turn)
{
    auto held = session.run(
        QStringLiteral("select id from users where id = ? and old_rows > 0 and old_next = ?") +
            (session.isPostgreSql() ? QStringLiteral(" for no key update") : QString()),
        {number(turn.user), turn.after});
    if (!held)
        return held.error();
    return held.value().next();
}

/// Of a portion that is the last one of the user, or not.
DatabaseResult<std::monostate>
note(DatabaseSession& session, const Turn& turn, const std::vector<OldRow>& rows, bool isLast)
{
    const QString last = rows.empty() ? turn.after : rows.back().digest;
    const auto noted = session.run(
        QStringLiteral("update users set old_next = ?, old_rows = old_rows * ? where id = ?"),
        {last, number(isLast ? 0 : 1), number(turn.user)});
    if (!noted)
        return noted.error();
    if (session.isPostgreSql()) // which drops a full table as fast as an empty one
        return std::monostate();
    const auto deleted = session.run(QStringLiteral("delete from old_activities where user_id = ? "
                                                    "and digest > ? and digest <= ?"),
                                     {number(turn.user), turn.after, last});
    if (!deleted)
        return deleted.error();
    return std::monostate();
}

/// Notes when the device was seen, of which nothing is known but the rows, by start, that it has
/// uploaded; some at times that cannot be.
DatabaseResult<std::monostate> noteSeen(DatabaseSession& session,
                                        std::int64_t user,
                                        std::int64_t device,
                                        const std::vector<StoredActivity>& rows)
{
    const std::int64_t now = secondsNow();
    std::optional<std::int64_t> first;
    std::int64_t last = 0;
    for (const StoredActivity& row : rows) {
        const std::int64_t start = row.activity->startTime;
        if (!isCountedTime(start))
            continue;
        last = std::min(start, now);
        first = first.value_or(last);
    }
    const auto seen =
        first
            ? session.run(QStringLiteral(
                              "update devices set "
                              "first_seen = case when first_seen <= ? then first_seen else ? end, "
                              "last_seen = case when last_seen >= ? then last_seen else ? end "
                              "where user_id = ? and id = ?"),
                          {number(*first),
                           number(*first),
                           number(last),
                           number(last),
                           number(user),
                           number(device)})
            : session.run(QStringLiteral("update devices set last_seen = coalesce(last_seen, ?) "
                                         "where user_id = ? and id = ?"),
                          {number(kFirstCountedSecond), number(user), number(device)});
    if (!seen)
        return seen.error();
    return std::monostate();
}

DatabaseResult<std::monostate>
move(DatabaseSession& session, const Turn& turn, const std::vector<OldRow>& rows, bool isLast)
{
    const auto held = hold(session, turn);
    if (!held)
        return held.error();
    if (!held.value())
        return std::monostate(); // another one was faster
    std::map<std::string, std::vector<StoredActivity>> byDevice;
    std::vector<DayRange> days;
    for (const OldRow& row : rows) {
        byDevice[row.deviceId].push_back(
            {.key = keyOfDigest(row.activity.startTime, row.digest.toStdString()),
             .activity = &row.activity,
             .durationSeconds = row.activity.durationSeconds});
        days.push_back(daysOfRun(row.activity.startTime, row.activity.durationSeconds));
    }
    for (auto& [deviceId, ofDevice] : byDevice) {
        const auto device = numberOfDevice(session, turn.user, deviceId);
        if (!device)
            return device.error();
        addUpEqual(ofDevice);
        const auto seen = noteSeen(session, turn.user, device.value(), ofDevice);
        if (!seen)
            return seen.error();
        const auto inserted = insertRuns(session, turn.user, device.value(), ofDevice);
        if (!inserted)
            return inserted.error();
    }
    if (const auto bumped = bumpDays(session, turn.user, daysIn(std::move(days))); !bumped)
        return bumped.error();
    return note(session, turn, rows, isLast);
}

} // namespace

DatabaseResult<bool> hasOldTable(DatabaseSession& session)
{
    auto found = session.run(
        session.isPostgreSql()
            ? QStringLiteral("select to_regclass('old_activities') is not null")
            : QStringLiteral("select count(*) from sqlite_master where name = 'old_activities'"));
    if (!found)
        return found.error();
    return found.value().next() && found.value().value(0).toBool();
}

void OldRowsPace::note(Clock::duration took)
{
    if (took > kMostTime)
        m_rows = std::max(m_rows / 2, 1);
    else if (took < kMostTime / 3)
        m_rows = std::min(m_rows * 2, kMostRows);
}

DatabaseResult<bool> moveOldRows(DatabaseSession& session, OldRowsPace& pace)
{
    auto there = hasOldTable(session);
    if (!there || !there.value())
        return there;
    const auto turn = nextTurn(session);
    if (!turn)
        return turn.error();
    const std::optional<Turn>& found = turn.value();
    if (!found) {
        const auto dropped =
            session.inExclusiveTransaction([&] { return dropEmptyOldTable(session); });
        if (!dropped)
            return dropped.error();
        return false;
    }
    const int most = pace.rows();
    const auto rows = portionOf(session, *found, most);
    if (!rows)
        return rows.error();
    std::set<int> months;
    for (const OldRow& row : rows.value()) {
        if (isCountedTime(row.activity.startTime))
            months.insert(monthOf(row.activity.startTime));
    }
    if (const auto made = makePartitions(session, months); !made)
        return made.error();
    const bool isLast = rows.value().size() < static_cast<std::size_t>(most);
    const auto begun = Clock::now();
    const auto moved =
        session.inTransaction([&] { return move(session, *found, rows.value(), isLast); });
    if (!moved)
        return moved.error();
    pace.note(Clock::now() - begun);
    return true;
}

DatabaseResult<bool> hasOldRowsToAskFor(DatabaseSession& session, std::int64_t user)
{
    auto found = session.run(QStringLiteral("select id from users where id = ? and old_rows = 1"),
                             {number(user)});
    if (!found)
        return found.error();
    return found.value().next();
}

DatabaseResult<std::monostate> askForOldRows(DatabaseSession& session, std::int64_t user)
{
    const auto asked =
        session.run(QStringLiteral("update users set old_rows = 2 where id = ? and old_rows = 1"),
                    {number(user)});
    if (!asked)
        return asked.error();
    return std::monostate();
}

DatabaseResult<std::monostate> dropEmptyOldTable(DatabaseSession& session)
{
    const auto there = hasOldTable(session);
    if (!there)
        return there.error();
    if (!there.value())
        return std::monostate();
    if (session.isPostgreSql()) {
        // Uploads that have seen that there are rows are waited for.
        const auto locked =
            session.run(QStringLiteral("select id from users order by id for update"));
        if (!locked)
            return locked.error();
    }
    auto waiting = session.run(QStringLiteral("select count(*) from users where old_rows > 0"));
    if (!waiting)
        return waiting.error();
    waiting.value().next();
    const bool waits = waiting.value().value(0).toLongLong() > 0;
    waiting.value().finish();
    if (waits)
        return std::monostate();
    const auto dropped = session.run(QStringLiteral("drop table if exists old_activities"));
    if (!dropped)
        return dropped.error();
    return std::monostate();
}

} // namespace service
