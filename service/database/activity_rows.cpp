// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/database/activity_rows.h"

#include "base/exact_utf8.h"
#include "base/url_components.h"
#include "service/database/database_text.h"
#include "service/database/days.h"
#include "service/database/devices.h"
#include "service/database/partitions.h"
#include "service/database/token.h"
#include "service/history/day_pack.h"

#include <QByteArray>
#include <QStringList>

#include <algorithm>
#include <array>
#include <initializer_list>
#include <limits>
#include <mutex>
#include <optional>
#include <set>
#include <utility>

namespace service {

namespace {

constexpr std::size_t kMostBytesOfASite = 255; // longer than the name of any host

/// What is stored of the site: what the dashboard tells sites apart by, nothing without an address.
std::optional<std::string> siteOf(const UploadedActivity& row)
{
    if (!row.url || row.url->empty())
        return std::nullopt;
    const std::string site = platform::urlHostKey(*row.url);
    return std::string(platform::cutUtf8(std::string_view(site), kMostBytesOfASite));
}

/// A column of many rows as one value of PostgreSQL's form for arrays. It is made of bytes and
/// becomes a QString as a whole: that takes a small part of the time that its texts would take.
class Column final
{
public:
    explicit Column(std::size_t rows) { m_text.reserve(24 * rows + 2); }

    void add(std::int64_t value)
    {
        separate();
        m_text += std::to_string(value);
    }

    /// As storedText() has it.
    void add(std::string_view text)
    {
        separate();
        m_text += '"';
        std::size_t begin = 0; // of what is not in it yet
        for (std::size_t i = 0; i < text.size(); ++i) {
            const char c = text[i];
            if (c != '"' && c != '\\' && c != '\0')
                continue;
            m_text += text.substr(begin, i - begin);
            m_text += c == '\0' ? "\xE2\x90\x80" : "\\"; // U+2400
            begin = c == '\0' ? i + 1 : i;
        }
        m_text += text.substr(begin);
        m_text += '"';
    }

    void add(const std::optional<std::string>& text)
    {
        if (text) {
            add(std::string_view(*text));
            return;
        }
        separate();
        m_text += "NULL";
    }

    /// Of at least one row.
    [[nodiscard]] QString whole() const { return QString::fromStdString(m_text + '}'); }

private:
    void separate() { m_text += m_text.empty() ? '{' : ','; }

    std::string m_text;
};

/// All of `rows` in arrays.
QVariantList arraysOf(const std::vector<StoredActivity>& rows)
{
    const std::size_t count = rows.size();
    std::array<Column, 4> numbers = {Column(count), Column(count), Column(count), Column(count)};
    std::array<Column, 4> texts = {Column(count), Column(4 * count), Column(count), Column(count)};
    for (const StoredActivity& row : rows) {
        numbers[0].add(row.key.day);
        numbers[1].add(row.key.second);
        numbers[2].add(row.key.digest);
        numbers[3].add(row.durationSeconds);
        texts[0].add(std::string_view(row.activity->appName));
        texts[1].add(row.activity->windowTitle);
        texts[2].add(row.activity->url);
        texts[3].add(siteOf(*row.activity));
    }
    QVariantList values;
    for (const Column& column : numbers)
        values.append(column.whole());
    for (const Column& column : texts)
        values.append(column.whole());
    return values;
}

QString unnested()
{
    return QStringLiteral(
        "from unnest(cast(? as integer[]), cast(? as integer[]), cast(? as integer[]), "
        "cast(? as bigint[]), cast(? as text[]), cast(? as text[]), cast(? as text[]), "
        "cast(? as text[])) as given (start_day, start_second, digest, duration_seconds, "
        "app_name, window_title, url, site)");
}

constexpr auto kKeepTheGreater =
    " on conflict (user_id, start_day, start_second, digest) do update set "
    "duration_seconds = excluded.duration_seconds "
    "where excluded.duration_seconds > runs.duration_seconds";

/// `text` as storedText() has it, for a place in a statement that makes a text of bytes.
QVariant storedBytes(std::string_view text)
{
    QByteArray bytes(text.data(), static_cast<qsizetype>(text.size()));
    if (text.find('\0') != std::string_view::npos)
        bytes.replace('\0', "\xE2\x90\x80"); // U+2400
    return bytes;
}

QVariant storedBytes(const std::optional<std::string>& text)
{
    return text ? storedBytes(std::string_view(*text)) : QVariant();
}

/// The columns of a row in SQLite.
constexpr auto kNamedValues = ":day, :second, :digest, :seconds, cast(:app as text), "
                              "cast(:title as text), cast(:url as text), cast(:site as text)";

using Common = std::initializer_list<std::pair<QString, std::int64_t>>;

/// Runs `statement` for every row, which SQLite does faster than it reads JSON, with values that
/// are the same for all. Qt spends more time on a value that goes by its place, for which it makes
/// up a name, than SQLite on storing it, and would have texts turned into UTF-16 and back.
DatabaseResult<std::monostate> runForEach(DatabaseSession& session,
                                          const QString& statement,
                                          const Common& common,
                                          const std::vector<StoredActivity>& rows)
{
    const auto prepared = session.prepareKept(statement);
    if (!prepared)
        return prepared.error();
    QSqlQuery& query = *prepared.value();
    for (const auto& [name, value] : common)
        query.bindValue(name, number(value));
    std::optional<std::int32_t> day; // stays bound
    for (const StoredActivity& row : rows) {
        if (day != row.key.day) {
            day = row.key.day;
            query.bindValue(QStringLiteral(":day"), row.key.day);
        }
        query.bindValue(QStringLiteral(":second"), row.key.second);
        query.bindValue(QStringLiteral(":digest"), row.key.digest);
        query.bindValue(QStringLiteral(":seconds"), number(row.durationSeconds));
        query.bindValue(QStringLiteral(":app"),
                        storedBytes(std::string_view(row.activity->appName)));
        query.bindValue(QStringLiteral(":title"), storedBytes(row.activity->windowTitle));
        query.bindValue(QStringLiteral(":url"), storedBytes(row.activity->url));
        query.bindValue(QStringLiteral(":site"), storedBytes(siteOf(*row.activity)));
        if (const auto done = DatabaseSession::execute(query, {}); !done)
            return done.error();
    }
    return std::monostate();
}

/// What of an upload does not fit into memory waits in a table of the session's own.
DatabaseResult<std::monostate> clearStaged(DatabaseSession& session)
{
    for (const QString& statement :
         {QStringLiteral("create temporary table if not exists staged_runs ("
                         "start_day integer not null, start_second integer not null, "
                         "digest integer not null, duration_seconds bigint not null, "
                         "app_name text not null, window_title text, url text, site text, "
                         "primary key (start_day, start_second, digest))") +
              (session.isPostgreSql() ? QString() : QStringLiteral(" without rowid")),
          session.isPostgreSql() ? QStringLiteral("truncate staged_runs")
                                 : QStringLiteral("delete from staged_runs")}) {
        if (const auto done = session.run(statement); !done)
            return done.error();
    }
    return std::monostate();
}

DatabaseResult<std::monostate> stage(DatabaseSession& session,
                                     const std::vector<StoredActivity>& rows)
{
    const QString columns =
        QStringLiteral("insert into staged_runs (start_day, start_second, digest, "
                       "duration_seconds, app_name, window_title, url, site) ");
    const QString addUp =
        QStringLiteral(" on conflict (start_day, start_second, digest) do update set "
                       "duration_seconds = case "
                       "when excluded.duration_seconds > 0 and staged_runs.duration_seconds > "
                       "%1 - excluded.duration_seconds then %1 "
                       "when excluded.duration_seconds < 0 and staged_runs.duration_seconds < "
                       "(-%1 - 1) - excluded.duration_seconds then (-%1 - 1) "
                       "else staged_runs.duration_seconds + excluded.duration_seconds end")
            .arg(std::numeric_limits<std::int64_t>::max());
    if (session.isPostgreSql()) {
        const auto done = session.runKept(
            columns + QStringLiteral("select * ") + unnested() + addUp, arraysOf(rows));
        if (!done)
            return done.error();
        return std::monostate();
    }
    // One that locks nothing but the session's own table.
    return session.inSnapshot([&] {
        return runForEach(session,
                          columns + QStringLiteral("values (%1)").arg(QLatin1String(kNamedValues)) +
                              addUp,
                          {},
                          rows);
    });
}

/// What the rows of an upload touch.
struct Touched
{
    std::set<int> months;
    std::vector<DayRange> days; ///< see daysIn()

    void add(std::int64_t start, std::int64_t seconds)
    {
        if (isCountedTime(start))
            months.insert(monthOf(start));
        const DayRange range = daysOfRun(start, seconds);
        if (days.empty() || days.back() != range)
            days.push_back(range);
    }
};

Touched touchedBy(const std::vector<StoredActivity>& rows)
{
    Touched touched;
    for (const StoredActivity& row : rows)
        touched.add(row.activity->startTime, row.durationSeconds);
    return touched;
}

/// Of each day the longest run counts as if it went on at its end; a day too many does no harm.
DatabaseResult<Touched> touchedByStaged(DatabaseSession& session)
{
    auto found =
        session.run(QStringLiteral("select start_day, max(duration_seconds), min(start_second), "
                                   "max(start_second) from staged_runs where start_day >= %1 and "
                                   "start_day < %2 group by start_day union all "
                                   "select distinct %3, 0, 0, 0 from staged_runs "
                                   "where start_day < %1 or start_day >= %2")
                        .arg(kFirstCountedDay)
                        .arg(kEndOfCountedDays)
                        .arg(kDayOfOtherTimes));
    if (!found)
        return found.error();
    Touched touched;
    for (QSqlQuery& row = found.value(); row.next();) {
        const std::int64_t midnight = row.value(0).toLongLong() * kSecondsOfADay;
        const std::int64_t longest = row.value(1).toLongLong();
        touched.add(midnight + row.value(2).toLongLong(), longest);
        touched.add(midnight + row.value(3).toLongLong(), longest);
    }
    if (const auto all = DatabaseSession::allRead(found.value()); !all)
        return all.error();
    return touched;
}

/// Takes those of `rows` that are still in the table of schema 2 out of it, with what they had
/// there, so that each is in one of the tables only.
DatabaseResult<std::monostate> takeOldOnes(DatabaseSession& session,
                                           std::int64_t user,
                                           const std::string& deviceId,
                                           std::vector<StoredActivity>& rows)
{
    for (StoredActivity& row : rows) {
        const auto taken = session.runKept(
            QStringLiteral("delete from old_activities where user_id = ? and digest = ? "
                           "returning duration_seconds"),
            {number(user), QString::fromStdString(digestOfRow(deviceId, *row.activity))});
        if (!taken)
            return taken.error();
        if (taken.value()->next())
            row.durationSeconds =
                std::max<std::int64_t>(row.durationSeconds, taken.value()->value(0).toLongLong());
        taken.value()->finish();
    }
    return std::monostate();
}

/// Stores in one transaction what `insert` puts into the table for a device of that number. It says
/// which days that touches.
template <typename Insert>
DatabaseResult<std::monostate> commitUpload(DatabaseSession& session,
                                            std::int64_t user,
                                            const UploadHead& head,
                                            const std::set<int>& months,
                                            Insert insert)
{
    if (const auto made = makePartitions(session, months); !made)
        return made.error();
    return session.inTransaction([&]() -> DatabaseResult<std::monostate> {
        const auto locked = lockUser(session, user);
        if (!locked)
            return locked.error();
        const std::optional<std::int64_t>& oldRows = locked.value();
        if (!oldRows)
            return DatabaseFailure{"the user of an upload has been removed"};
        const auto device = noteUpload(session, user, head, secondsNow());
        if (!device)
            return device.error();
        const DatabaseResult<std::set<std::int64_t>> days = insert(device.value(), *oldRows != 0);
        if (!days)
            return days.error();
        return bumpDays(session, user, days.value());
    });
}

DatabaseResult<std::monostate> storePortion(DatabaseSession& session,
                                            std::int64_t user,
                                            const UploadHead& head,
                                            const std::vector<UploadedActivity>& portion)
{
    std::vector<StoredActivity> rows = rowsToStore(head.deviceId, portion);
    return commitUpload(
        session,
        user,
        head,
        touchedBy(rows).months,
        [&](std::int64_t device, bool hasOldRows) -> DatabaseResult<std::set<std::int64_t>> {
            if (hasOldRows) {
                const auto taken = takeOldOnes(session, user, head.deviceId, rows);
                if (!taken)
                    return taken.error();
            }
            if (const auto done = insertRuns(session, user, device, rows); !done)
                return done.error();
            return daysIn(touchedBy(rows).days); // what was taken may have been longer
        });
}

DatabaseResult<std::monostate> storeStaged(DatabaseSession& session,
                                           std::int64_t user,
                                           const UploadHead& head,
                                           const Touched& touched)
{
    return commitUpload(
        session,
        user,
        head,
        touched.months,
        [&](std::int64_t device, bool) -> DatabaseResult<std::set<std::int64_t>> {
            if (session.isPostgreSql()) { // all of it is one statement, however much it is
                const auto patience =
                    session.run(QStringLiteral("set local statement_timeout = 0"));
                if (!patience)
                    return patience.error();
            }
            const auto done = session.run(
                QStringLiteral("insert into runs (user_id, device, start_day, start_second, "
                               "digest, duration_seconds, app_name, window_title, url, site) "
                               "select cast(? as integer), cast(? as integer), start_day, "
                               "start_second, digest, duration_seconds, app_name, window_title, "
                               "url, site from staged_runs where true "
                               "order by start_day, start_second, digest") +
                    QLatin1String(kKeepTheGreater),
                {number(user), number(device)});
            if (!done)
                return done.error();
            return daysIn(touched.days);
        });
}

} // namespace

std::string digestOfRow(const std::string& deviceId, const UploadedActivity& row)
{
    return digestOf(
        {deviceId, std::to_string(row.startTime), row.appName, row.windowTitle, row.url});
}

RunKey keyOfRow(const std::string& deviceId, const UploadedActivity& row)
{
    const std::uint32_t bits = first32BitsOf(
        {deviceId, std::to_string(row.startTime), row.appName, row.windowTitle, row.url});
    return runKey(row.startTime, static_cast<std::int32_t>(bits));
}

RunKey keyOfDigest(std::int64_t start, std::string_view digest)
{
    constexpr std::string_view kAlphabet =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
    constexpr std::size_t kCharacters = 6; // of 6 bits each; the last four bits are left over
    std::uint64_t bits = 0;
    for (const char c : digest.substr(0, kCharacters))
        bits = bits << 6U | static_cast<std::uint64_t>(kAlphabet.find(c));
    return runKey(start, static_cast<std::int32_t>(static_cast<std::uint32_t>(bits >> 4U)));
}

void addUpEqual(std::vector<StoredActivity>& rows)
{
    // In the order of the key in every transaction: two that touch the same rows then cannot block
    // each other for ever, and neighbours lie in the same page.
    std::ranges::sort(rows, {}, &StoredActivity::key);
    std::size_t kept = 0;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        if (kept > 0 && rows[kept - 1].key == rows[i].key)
            rows[kept - 1].durationSeconds =
                saturatingSum(rows[kept - 1].durationSeconds, rows[i].durationSeconds);
        else if (const std::size_t to = kept++; to != i)
            rows[to] = rows[i];
    }
    rows.resize(kept);
}

std::vector<StoredActivity> rowsToStore(const std::string& deviceId,
                                        std::span<const UploadedActivity> activities)
{
    std::vector<StoredActivity> rows;
    rows.reserve(activities.size());
    for (const UploadedActivity& activity : activities)
        rows.push_back({.key = keyOfRow(deviceId, activity),
                        .activity = &activity,
                        .durationSeconds = activity.durationSeconds});
    addUpEqual(rows);
    return rows;
}

DatabaseResult<std::monostate> insertRuns(DatabaseSession& session,
                                          std::int64_t user,
                                          std::int64_t device,
                                          const std::vector<StoredActivity>& rows)
{
    if (rows.empty())
        return std::monostate();
    const QString columns =
        QStringLiteral("insert into runs (user_id, device, start_day, start_second, digest, "
                       "duration_seconds, app_name, window_title, url, site) ");
    if (!session.isPostgreSql())
        return runForEach(
            session,
            columns +
                QStringLiteral("values (:user, :device, %1)").arg(QLatin1String(kNamedValues)) +
                QLatin1String(kKeepTheGreater),
            {{QStringLiteral(":user"), user}, {QStringLiteral(":device"), device}},
            rows);
    const auto done = session.runKept(
        columns + QStringLiteral("select cast(? as integer), cast(? as integer), given.* ") +
            unnested() + QLatin1String(kKeepTheGreater),
        QVariantList{number(user), number(device)} + arraysOf(rows));
    if (!done)
        return done.error();
    return std::monostate();
}

DatabaseResult<std::int64_t> storeUpload(DatabaseSession& session,
                                         std::int64_t user,
                                         const UploadHead& head,
                                         const NextRows& next,
                                         WriteTurns* turns)
{
    const std::vector<UploadedActivity> first = next();
    auto count = static_cast<std::int64_t>(first.size());
    std::vector<UploadedActivity> portion =
        first.empty() ? std::vector<UploadedActivity>() : next();
    if (portion.empty()) {
        if (const auto stored = storePortion(session, user, head, first); !stored)
            return stored.error();
        return count;
    }
    if (const auto cleared = clearStaged(session); !cleared)
        return cleared.error();
    if (const auto staged = stage(session, rowsToStore(head.deviceId, first)); !staged)
        return staged.error();
    for (; !portion.empty(); portion = next()) {
        count += static_cast<std::int64_t>(portion.size());
        if (const auto staged = stage(session, rowsToStore(head.deviceId, portion)); !staged)
            return staged.error();
    }
    const auto touched = touchedByStaged(session);
    if (!touched)
        return touched.error();
    std::unique_lock<WriteTurns> turn;
    if (turns != nullptr)
        turn = std::unique_lock(*turns);
    if (const auto stored = storeStaged(session, user, head, touched.value()); !stored)
        return stored.error();
    if (turn)
        turn.unlock();
    if (const auto cleared = clearStaged(session); !cleared)
        return cleared.error();
    return count;
}

} // namespace service
