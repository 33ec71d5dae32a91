// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/database/summary.h"

#include "service/database/database_text.h"
#include "service/database/old_rows.h"
#include "service/history/run.h"

#include <QStringList>

#include <algorithm>
#include <cstdint>
#include <map>

namespace service {

namespace {

struct Line
{
    std::int64_t rows = 0;
    WideSeconds seconds = 0;
    std::int64_t devices = 0;
    std::int64_t tokens = 0;
};

using Lines = std::map<std::int64_t, Line>;

std::string decimal(WideSeconds sum)
{
    std::string digits;
    WideSeconds left = sum < 0 ? -sum : sum;
    do {
        digits += static_cast<char>('0' + static_cast<int>(left % 10));
        left /= 10;
    } while (left != 0);
    if (sum < 0)
        digits += '-';
    std::ranges::reverse(digits);
    return digits;
}

/// Adds user, count and wideSum() of each row that `statement` yields.
DatabaseResult<std::monostate>
addSums(DatabaseSession& session, const QString& statement, Lines& lines)
{
    auto found = session.run(statement);
    if (!found)
        return found.error();
    for (QSqlQuery& row = found.value(); row.next();) {
        const auto line = lines.find(row.value(0).toLongLong());
        if (line == lines.end())
            continue;
        line->second.rows += row.value(1).toLongLong();
        line->second.seconds += wideSum(row, 2);
    }
    return DatabaseSession::allRead(found.value());
}

DatabaseResult<std::monostate> addCounts(DatabaseSession& session,
                                         const QString& statement,
                                         std::int64_t Line::* count,
                                         Lines& lines)
{
    auto found = session.run(statement);
    if (!found)
        return found.error();
    for (QSqlQuery& row = found.value(); row.next();) {
        const auto line = lines.find(row.value(0).toLongLong());
        if (line != lines.end())
            line->second.*count += row.value(1).toLongLong();
    }
    return DatabaseSession::allRead(found.value());
}

DatabaseResult<Lines> countAll(DatabaseSession& session)
{
    auto users = session.run(QStringLiteral("select id from users where removed = 0"));
    if (!users)
        return users.error();
    Lines lines;
    while (users.value().next())
        lines[users.value().value(0).toLongLong()] = {};
    if (const auto all = DatabaseSession::allRead(users.value()); !all)
        return all.error();
    QStringList sums = {
        QStringLiteral("select user_id, cast(sum(stored_rows) as bigint), 0, "
                       "cast(sum(stored_millions) as bigint), cast(sum(stored_rest) as bigint) "
                       "from days where pack is not null group by user_id"),
        // A cross join keeps SQLite from reading all rows to look for the day of each.
        QStringLiteral("select runs.user_id, count(*), %1 from days cross join runs where "
                       "runs.user_id = days.user_id and start_day = day and "
                       "pack is null and day <> 0 group by runs.user_id")
            .arg(sumOfDurations()),
        QStringLiteral("select runs.user_id, count(*), %1 from days cross join runs where "
                       "runs.user_id = days.user_id and (start_day < %2 or start_day >= %3) and "
                       "pack is null and day = 0 group by runs.user_id")
            .arg(sumOfDurations())
            .arg(kFirstCountedDay)
            .arg(kEndOfCountedDays)};
    const auto old = hasOldTable(session);
    if (!old)
        return old.error();
    if (old.value())
        sums.append(QStringLiteral("select user_id, count(*), %1 from old_activities join users on "
                                   "users.id = user_id and old_rows > 0 and digest > old_next "
                                   "group by user_id")
                        .arg(sumOfDurations()));
    for (const QString& statement : std::as_const(sums)) {
        if (const auto added = addSums(session, statement, lines); !added)
            return added.error();
    }
    const auto devices = addCounts(
        session,
        QStringLiteral("select user_id, count(*) from devices where last_seen is not null "
                       "group by user_id"),
        &Line::devices,
        lines);
    if (!devices)
        return devices.error();
    const auto tokens = addCounts(session,
                                  QStringLiteral("select user_id, count(*) from sessions "
                                                 "where expires > %1 group by user_id")
                                      .arg(secondsNow()),
                                  &Line::tokens,
                                  lines);
    if (!tokens)
        return tokens.error();
    return lines;
}

} // namespace

DatabaseResult<std::string> summary(DatabaseSession& session)
{
    const auto lines = session.inSnapshot([&] { return countAll(session); });
    if (!lines)
        return lines.error();
    std::string text;
    for (const auto& [user, line] : lines.value())
        text += "user " + std::to_string(user) + ": " + std::to_string(line.rows) + " rows, " +
                decimal(line.seconds) + " seconds, " + std::to_string(line.devices) + " devices, " +
                std::to_string(line.tokens) + " tokens\n";
    return text;
}

} // namespace service
