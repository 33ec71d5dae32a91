// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/activity_rows.h"

#include "service/database_text.h"
#include "service/token.h"

#include <QSqlError>
#include <QStringList>

#include <algorithm>
#include <limits>
#include <optional>
#include <set>
#include <span>

namespace service {

namespace {

constexpr std::size_t kRowsOfAStatement = 100;

std::int64_t saturatingSum(std::int64_t a, std::int64_t b)
{
    std::int64_t sum = 0;
    if (!__builtin_add_overflow(a, b, &sum))
        return sum;
    return a < 0 ? std::numeric_limits<std::int64_t>::min()
                 : std::numeric_limits<std::int64_t>::max();
}

QString digestText(const StoredActivity& row)
{
    return QString::fromLatin1(row.digest.data(), static_cast<qsizetype>(row.digest.size()));
}

/// What happens to a row that is there.
enum class Known : std::uint8_t {
    Replaced,
    AddedTo, ///< within 64 bits
};

QString insertion(std::size_t rows, Known known)
{
    constexpr const char* kSum =
        "case when excluded.duration_seconds > 0 and activities.duration_seconds > "
        "9223372036854775807 - excluded.duration_seconds then 9223372036854775807 "
        "when excluded.duration_seconds < 0 and activities.duration_seconds < "
        "-9223372036854775807 - 1 - excluded.duration_seconds then -9223372036854775807 - 1 "
        "else activities.duration_seconds + excluded.duration_seconds end";

    const QStringList places(static_cast<qsizetype>(rows), QStringLiteral("(?,?,?,?,?,?,?,?)"));
    return QStringLiteral("insert into activities (user_id, digest, device_id, app_name, "
                          "window_title, url, start_time, duration_seconds) values ") +
           places.join(QLatin1Char(',')) +
           QStringLiteral(" on conflict (user_id, digest) do update set "
                          "duration_seconds = ") +
           QString::fromLatin1(known == Known::AddedTo ? kSum : "excluded.duration_seconds");
}

/// Runs the insertion of so many rows; `whole` keeps the one of most rows, which comes again.
DatabaseResult<std::monostate> insert(DatabaseSession& session,
                                      std::size_t rows,
                                      const QVariantList& values,
                                      std::optional<QSqlQuery>& whole)
{
    if (rows == kRowsOfAStatement && whole)
        return DatabaseSession::execute(*whole, values);
    auto prepared = session.prepare(insertion(rows, Known::Replaced));
    if (!prepared)
        return prepared.error();
    if (rows < kRowsOfAStatement)
        return DatabaseSession::execute(prepared.value(), values);
    whole = std::move(prepared).value();
    return DatabaseSession::execute(*whole, values);
}

void appendValues(QVariantList& values,
                  std::int64_t user,
                  const QString& device,
                  const StoredActivity& row)
{
    values << static_cast<qlonglong>(user) << digestText(row) << device
           << storedText(row.activity->appName) << storedOptional(row.activity->windowTitle)
           << storedOptional(row.activity->url) << static_cast<qlonglong>(row.activity->startTime)
           << static_cast<qlonglong>(row.durationSeconds);
}

DatabaseResult<std::monostate> storeRows(DatabaseSession& session,
                                         std::int64_t user,
                                         const std::string& deviceId,
                                         const std::vector<StoredActivity>& rows,
                                         std::optional<QSqlQuery>& whole)
{
    const QString device = storedText(deviceId);
    std::span<const StoredActivity> left(rows);
    while (!left.empty()) {
        const auto now = left.first(std::min(left.size(), kRowsOfAStatement));
        left = left.subspan(now.size());
        QVariantList values;
        values.reserve(8 * static_cast<qsizetype>(now.size()));
        for (const StoredActivity& row : now)
            appendValues(values, user, device, row);
        const auto done = insert(session, now.size(), values, whole);
        if (!done)
            return done.error();
    }
    return std::monostate();
}

/// Adds those of `rows` that stood in an earlier portion to what that has stored, takes them out,
/// and notes the others.
DatabaseResult<std::monostate> addToStored(DatabaseSession& session,
                                           std::int64_t user,
                                           const std::string& deviceId,
                                           std::vector<StoredActivity>& rows)
{
    std::set<std::string> fresh;
    std::span<const StoredActivity> left(rows);
    while (!left.empty()) {
        const auto now = left.first(std::min(left.size(), kRowsOfAStatement));
        left = left.subspan(now.size());
        QVariantList digests;
        for (const StoredActivity& row : now)
            digests << digestText(row);
        const QStringList places(digests.size(), QStringLiteral("(?)"));
        auto noted = session.run(QStringLiteral("insert into uploaded (digest) values ") +
                                     places.join(QLatin1Char(',')) +
                                     QStringLiteral(" on conflict do nothing returning digest"),
                                 digests);
        if (!noted)
            return noted.error();
        while (noted.value().next())
            fresh.insert(noted.value().value(0).toString().toStdString());
    }
    for (const StoredActivity& row : rows) {
        if (fresh.contains(row.digest))
            continue;
        QVariantList values;
        appendValues(values, user, storedText(deviceId), row);
        if (const auto added = session.run(insertion(1, Known::AddedTo), values); !added)
            return added.error();
    }
    std::erase_if(rows,
                  [&fresh](const StoredActivity& row) { return !fresh.contains(row.digest); });
    return std::monostate();
}

/// A sum of many 64 bit numbers, whose parts the database adds up without running over.
std::string decimal(std::int64_t millions, std::int64_t rest)
{
    constexpr std::int64_t kMillion = 1'000'000;
    __extension__ using Wide = __int128;
    const Wide sum = static_cast<Wide>(millions) * kMillion + rest;
    std::string digits;
    Wide left = sum < 0 ? -sum : sum;
    do {
        digits += static_cast<char>('0' + static_cast<int>(left % 10));
        left /= 10;
    } while (left != 0);
    if (sum < 0)
        digits += '-';
    std::ranges::reverse(digits);
    return digits;
}

} // namespace

std::vector<StoredActivity> rowsToStore(const Upload& upload)
{
    std::vector<StoredActivity> rows;
    rows.reserve(upload.activities.size());
    for (const UploadedActivity& activity : upload.activities) {
        rows.push_back({.digest = digestOf({upload.deviceId,
                                            std::to_string(activity.startTime),
                                            activity.appName,
                                            activity.windowTitle,
                                            activity.url}),
                        .activity = &activity,
                        .durationSeconds = activity.durationSeconds});
    }
    // In the same order in every transaction: two that touch the same rows then cannot block each
    // other for ever.
    std::ranges::sort(rows, {}, &StoredActivity::digest);
    std::size_t kept = 0;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        if (kept > 0 && rows[kept - 1].digest == rows[i].digest)
            rows[kept - 1].durationSeconds =
                saturatingSum(rows[kept - 1].durationSeconds, rows[i].durationSeconds);
        else if (const std::size_t to = kept++; to != i)
            rows[to] = std::move(rows[i]);
    }
    rows.erase(rows.begin() + static_cast<std::ptrdiff_t>(kept), rows.end());
    return rows;
}

DatabaseResult<std::int64_t> storeUpload(DatabaseSession& session,
                                         std::int64_t user,
                                         const UploadHead& head,
                                         const NextRows& next)
{
    Upload portion{.deviceId = head.deviceId,
                   .syncTimestamp = head.syncTimestamp,
                   .intervalMinutes = head.intervalMinutes,
                   .activities = next()};
    std::optional<QSqlQuery> whole;
    std::int64_t count = 0;
    bool notesDigests = false;
    while (!portion.activities.empty()) {
        count += static_cast<std::int64_t>(portion.activities.size());
        std::vector<UploadedActivity> following = next();
        std::vector<StoredActivity> rows = rowsToStore(portion);
        // Only of an upload of several portions it has to be known what stood in the ones before.
        if (!following.empty() && !std::exchange(notesDigests, true)) {
            if (const auto made = session.run(QStringLiteral(
                    "create temporary table uploaded (digest text not null primary key)"));
                !made)
                return made.error();
        }
        if (notesDigests) {
            if (const auto added = addToStored(session, user, head.deviceId, rows); !added)
                return added.error();
        }
        if (const auto stored = storeRows(session, user, head.deviceId, rows, whole); !stored)
            return stored.error();
        portion.activities = std::move(following);
    }
    if (notesDigests) {
        if (const auto dropped = session.run(QStringLiteral("drop table uploaded")); !dropped)
            return dropped.error();
    }
    return count;
}

DatabaseResult<std::string> summary(DatabaseSession& session)
{
    auto found = session.run(QStringLiteral(
        "select users.id, "
        "(select count(*) from activities where user_id = users.id), "
        "(select cast(coalesce(sum(duration_seconds / 1000000), 0) as bigint) from activities "
        "where user_id = users.id), "
        "(select cast(coalesce(sum(duration_seconds % 1000000), 0) as bigint) from activities "
        "where user_id = users.id), "
        "(select count(distinct device_id) from activities where user_id = users.id), "
        "(select count(*) from tokens where user_id = users.id) "
        "from users order by users.id"));
    if (!found)
        return found.error();
    std::string lines;
    for (QSqlQuery& row = found.value(); row.next();) {
        lines += "user " + row.value(0).toString().toStdString() + ": " +
                 row.value(1).toString().toStdString() + " rows, " +
                 decimal(row.value(2).toLongLong(), row.value(3).toLongLong()) + " seconds, " +
                 row.value(4).toString().toStdString() + " devices, " +
                 row.value(5).toString().toStdString() + " tokens\n";
    }
    return lines;
}

} // namespace service
