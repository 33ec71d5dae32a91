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
    QVariantList values = {number(user)};
    if (last)
        values += {number(last->startTime), number(last->digest)};
    values += most;
    auto found =
        session.run(QStringLiteral("select start_time, digest, duration_seconds, device, app_name, "
                                   "window_title, url from runs where user_id = ? %1"
                                   "order by start_time, digest limit ?")
                        .arg(QLatin1String(last ? "and (start_time, digest) > (?, ?) " : "")),
                    values);
    if (!found)
        return found.error();
    std::vector<StoredRun> runs;
    for (QSqlQuery& row = found.value(); row.next();)
        runs.push_back({.startTime = row.value(0).toLongLong(),
                        .digest = row.value(1).toLongLong(),
                        .durationSeconds = row.value(2).toLongLong(),
                        .device = row.value(3).toLongLong(),
                        .appName = row.value(4).toString().toStdString(),
                        .windowTitle = textIn(row, 5),
                        .url = textIn(row, 6)});
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
