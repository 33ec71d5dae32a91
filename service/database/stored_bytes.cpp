// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/database/stored_bytes.h"

#include "service/database/database_text.h"
#include "service/database/old_rows.h"
#include "service/history/run.h"

#include <algorithm>
#include <vector>

namespace service {

namespace {

constexpr std::int64_t kDaysAtATime = 31;

/// The beginning of a statement that adds up what there is in `table` of a user.
QString sumOfBytes(const DatabaseSession& session, const char* table)
{
    // Of SQLite's texts length() counts the characters.
    const QString size = session.isPostgreSql() ? QStringLiteral("octet_length(%1)")
                                                : QStringLiteral("length(cast(%1 as blob))");
    return QStringLiteral("select cast(coalesce(sum(100 + %1 + coalesce(%2, 0) + coalesce(%3, 0)), "
                          "0) as bigint) from %4 where user_id = ? ")
        .arg(size.arg(QStringLiteral("app_name")),
             size.arg(QStringLiteral("window_title")),
             size.arg(QStringLiteral("url")),
             QLatin1String(table));
}

/// Of what has been moved from the table of schema 2 a copy may still be there.
DatabaseResult<std::int64_t> bytesOfOldRows(DatabaseSession& session, std::int64_t user)
{
    const auto there = hasOldTable(session);
    if (!there)
        return there.error();
    if (!there.value())
        return std::int64_t(0);
    auto found = session.run(
        sumOfBytes(session, "old_activities") +
            QStringLiteral("and digest > (select old_next from users where id = ?) and exists "
                           "(select 1 from users where id = ? and old_rows > 0)"),
        {number(user), number(user), number(user)});
    if (!found)
        return found.error();
    found.value().next();
    return found.value().value(0).toLongLong();
}

} // namespace

DatabaseResult<std::int64_t> bytesOfRows(DatabaseSession& session, std::int64_t user)
{
    auto found = session.run(
        QStringLiteral("select distinct day / %1 from days where user_id = ?").arg(kDaysAtATime),
        {number(user)});
    if (!found)
        return found.error();
    std::vector<std::int64_t> months;
    while (found.value().next())
        months.push_back(found.value().value(0).toLongLong());
    found.value().finish();
    const QString sum = sumOfBytes(session, "runs");
    auto old = bytesOfOldRows(session, user);
    if (!old)
        return old;
    std::int64_t bytes = old.value();
    for (const std::int64_t month : months) {
        // Day 0 stands for all times that are not counted.
        auto part =
            month == 0
                ? session.run(sum + QStringLiteral("and (start_day < ? or start_day >= ?)"),
                              {number(user), number(kFirstCountedDay), number(kEndOfCountedDays)})
                : session.run(sum + QStringLiteral("and start_day >= ? and start_day < ?"),
                              {number(user),
                               number(std::max(month * kDaysAtATime, kFirstCountedDay)),
                               number(std::min((month + 1) * kDaysAtATime, kEndOfCountedDays))});
        if (!part)
            return part.error();
        part.value().next();
        bytes += part.value().value(0).toLongLong();
    }
    return bytes;
}

} // namespace service
