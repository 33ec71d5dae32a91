// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/database/stored_runs.h"

#include "service/database/database_text.h"
#include "service/database/devices.h"
#include "service/database/old_rows.h"

namespace service {

namespace {

std::optional<std::string> textIn(const QSqlQuery& row, int column)
{
    if (row.isNull(column))
        return std::nullopt;
    return row.value(column).toString().toStdString();
}

} // namespace

DatabaseResult<std::vector<StoredRun>> runsBehind(DatabaseSession& session,
                                                  std::int64_t user,
                                                  const std::optional<StoredRun>& last,
                                                  int most)
{
    constexpr auto kBehind = "and (start_day, start_second, digest) > (?, ?, ?) ";
    QVariantList values = {number(user)};
    if (last)
        values += {last->key.day, last->key.second, last->key.digest};
    values += most;
    auto found =
        session.run(QStringLiteral("select start_day, start_second, digest, duration_seconds, "
                                   "device, app_name, window_title, url from runs "
                                   "where user_id = ? %1"
                                   "order by start_day, start_second, digest limit ?")
                        .arg(QLatin1String(last ? kBehind : "")),
                    values);
    if (!found)
        return found.error();
    std::vector<StoredRun> runs;
    for (QSqlQuery& row = found.value(); row.next();)
        runs.push_back({.key = {.day = row.value(0).toInt(),
                                .second = row.value(1).toInt(),
                                .digest = row.value(2).toInt()},
                        .durationSeconds = row.value(3).toLongLong(),
                        .device = row.value(4).toLongLong(),
                        .appName = row.value(5).toString().toStdString(),
                        .windowTitle = textIn(row, 6),
                        .url = textIn(row, 7)});
    if (const auto all = DatabaseSession::allRead(found.value()); !all)
        return all.error();
    return runs;
}

DatabaseResult<std::monostate> moveRowsOf(DatabaseSession& session, std::int64_t user)
{
    if (const auto asked = askForOldRows(session, user); !asked)
        return asked.error();
    OldRowsPace pace;
    for (;;) {
        const auto left = session.inTransaction([&] { return lockUser(session, user); });
        if (!left)
            return left.error();
        if (left.value().value_or(0) == 0)
            return std::monostate();
        const auto moved = moveOldRows(session, pace);
        if (!moved)
            return moved.error();
        if (!moved.value())
            return std::monostate();
    }
}

} // namespace service
