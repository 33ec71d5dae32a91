// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/database/days.h"

#include "service/database/database_text.h"
#include "service/database/devices.h"
#include "service/history/day_pack_encoding.h"

#include <algorithm>
#include <utility>

namespace service {

namespace {

constexpr int kDaysOfAStep = 50;
/// What is kept of a day adds up over all days of a user.
constexpr WideSeconds kMostKept = WideSeconds(1'000'000) * 100'000'000'000'000;
/// Bytes of packs that are held at a time.
constexpr qsizetype kMostHeld = 8 << 20;

std::optional<std::string> optionalText(const QSqlQuery& row, int column)
{
    return row.isNull(column) ? std::nullopt
                              : std::optional(row.value(column).toString().toStdString());
}

/// What a day's rows come to.
struct AddedUp
{
    DayPack pack;
    std::int64_t rows = 0;
    WideSeconds stored = 0;
};

/// Calls `each` with those that begin on the day, or before and reach into it.
template <typename Each>
DatabaseResult<std::monostate>
forRows(DatabaseSession& session, std::int64_t user, std::int64_t day, Each each)
{
    const QString rows = QStringLiteral(
        "select start_day, start_second, duration_seconds, device, app_name, window_title, site "
        "from runs %1where user_id = ? and start_day >= ? and start_day < ?");
    // By itself SQLite would take the key, and read all rows of the user.
    const QString ofLongRuns =
        session.isPostgreSql() ? QString() : QStringLiteral("indexed by long_runs ");
    auto found =
        session.run(rows.arg(QString()) + QStringLiteral(" union all ") + rows.arg(QString()) +
                        QStringLiteral(" and duration_seconds > 86400 - start_second union all ") +
                        rows.arg(ofLongRuns) +
                        QStringLiteral(" and duration_seconds > "
                                       "(cast(? as bigint) - start_day) * 86400 - start_second and "
                                       "duration_seconds > 86400"),
                    {number(user),
                     number(day),
                     number(day + 1),
                     number(user),
                     number(std::max(day - 1, kFirstCountedDay)),
                     number(day),
                     number(user),
                     number(kFirstCountedDay),
                     number(day - 1),
                     number(day)});
    if (!found)
        return found.error();
    QSqlQuery& row = found.value();
    while (row.next())
        each(Run{.start = row.value(0).toLongLong() * kSecondsOfADay + row.value(1).toLongLong(),
                 .seconds = row.value(2).toLongLong(),
                 .device = row.value(3).toLongLong(),
                 .app = row.value(4).toString().toStdString(),
                 .title = optionalText(row, 5),
                 .site = optionalText(row, 6)});
    // A pack of some of the rows must not be kept.
    return DatabaseSession::allRead(row);
}

DatabaseResult<AddedUp> addUpOtherTimes(DatabaseSession& session, std::int64_t user)
{
    auto found = session.run(QStringLiteral("select count(*), %1 from runs where user_id = ? and "
                                            "(start_day < ? or start_day >= ?)")
                                 .arg(sumOfDurations()),
                             {number(user), number(kFirstCountedDay), number(kEndOfCountedDays)});
    if (!found)
        return found.error();
    found.value().next();
    return AddedUp{.pack = {},
                   .rows = found.value().value(0).toLongLong(),
                   .stored = wideSum(found.value(), 1)};
}

DatabaseResult<AddedUp>
addUp(DatabaseSession& session, std::int64_t user, std::int64_t day, const CategoryRules& rules)
{
    if (day == kDayOfOtherTimes)
        return addUpOtherTimes(session, user);
    DayPackBuilder builder(day, rules);
    AddedUp sums;
    const auto read = forRows(session, user, day, [&](const Run& run) {
        builder.add(run);
        if (run.start < day * kSecondsOfADay)
            return;
        ++sums.rows;
        sums.stored += run.seconds;
    });
    if (!read)
        return read.error();
    sums.pack = builder.pack();
    return sums;
}

DatabaseResult<CategoryRules> rulesOf(DatabaseSession& session, std::int64_t user)
{
    auto rules = listCategories(session, user);
    if (!rules)
        return rules.error();
    return CategoryRules(std::move(rules).value());
}

/// Writes it back unless the day has changed since it was read.
DatabaseResult<std::monostate> keep(DatabaseSession& session, const PackToKeep& pack)
{
    const auto kept = session.runKept(
        QStringLiteral("update days set pack = ?, seconds = ?, stored_rows = ?, "
                       "stored_millions = ?, stored_rest = ? "
                       "where user_id = ? and day = ? and version = ? and sealed = 0"),
        {pack.pack,
         number(pack.seconds),
         number(pack.rows),
         number(pack.millions),
         number(pack.rest),
         number(pack.user),
         number(pack.day),
         number(pack.version)});
    if (!kept)
        return kept.error();
    return std::monostate();
}

DatabaseResult<std::monostate> keepAll(DatabaseSession& session,
                                       const std::vector<PackToKeep>& packs)
{
    std::optional<std::int64_t> locked;
    for (const PackToKeep& pack : packs) {
        // Whoever changes all days of a user does that in an order of its own.
        if (locked != pack.user) {
            if (const auto done = lockUser(session, pack.user); !done)
                return done.error();
            locked = pack.user;
        }
        if (const auto kept = keep(session, pack); !kept)
            return kept.error();
    }
    return std::monostate();
}

/// What the first ones of these days of users come to, as far as they have no pack; not all of them
/// where that would be much at a time.
DatabaseResult<std::vector<PackToKeep>>
packsOf(DatabaseSession& session, const std::vector<std::pair<std::int64_t, std::int64_t>>& days)
{
    std::vector<PackToKeep> packs;
    qsizetype held = 0;
    for (const auto& [user, day] : days) {
        if (held > kMostHeld)
            break;
        const std::size_t before = packs.size();
        const auto read = readDays(session, user, {.first = day, .last = day}, packs);
        if (!read)
            return read.error();
        for (std::size_t i = before; i < packs.size(); ++i)
            held += packs[i].pack.size();
    }
    return packs;
}

} // namespace

DatabaseResult<std::vector<PackedDay>> readDays(DatabaseSession& session,
                                                std::int64_t user,
                                                const DayRange& range,
                                                std::vector<PackToKeep>& toKeep)
{
    auto found = session.run(QStringLiteral("select day, version, pack from days where user_id = ? "
                                            "and day >= ? and day <= ? order by day"),
                             {number(user), number(range.first), number(range.last)});
    if (!found)
        return found.error();
    std::vector<PackedDay> days;
    std::vector<std::size_t> missing;
    for (QSqlQuery& row = found.value(); row.next();) {
        std::optional<DayPack> pack;
        if (!row.isNull(2)) {
            const QByteArray bytes = row.value(2).toByteArray();
            pack = decodePack({bytes.constData(), static_cast<std::size_t>(bytes.size())});
        }
        if (!pack)
            missing.push_back(days.size());
        days.push_back({.day = row.value(0).toLongLong(),
                        .version = row.value(1).toLongLong(),
                        .pack = std::move(pack).value_or(DayPack())});
    }
    if (const auto all = DatabaseSession::allRead(found.value()); !all)
        return all.error();
    if (missing.empty())
        return days;
    // After the versions: what changes from here on changes those, too.
    const auto rules = rulesOf(session, user);
    if (!rules)
        return rules.error();
    for (const std::size_t index : missing) {
        PackedDay& day = days[index];
        auto sums = addUp(session, user, day.day, rules.value());
        if (!sums)
            return sums.error();
        day.pack = std::move(sums.value().pack);
        const WideSeconds stored = std::clamp(sums.value().stored, -kMostKept, kMostKept);
        toKeep.push_back({.user = user,
                          .day = day.day,
                          .version = day.version,
                          .pack = QByteArray::fromStdString(encodePack(day.pack)),
                          .seconds = day.pack.seconds(),
                          .rows = sums.value().rows,
                          .millions = static_cast<std::int64_t>(stored / 1'000'000),
                          .rest = static_cast<std::int64_t>(stored % 1'000'000)});
    }
    return days;
}

DatabaseResult<std::monostate> keepPacks(DatabaseSession& session,
                                         const std::vector<PackToKeep>& packs)
{
    return session.inTransaction([&] { return keepAll(session, packs); });
}

DatabaseResult<std::monostate>
sealDays(DatabaseSession& session, const std::vector<std::pair<std::int64_t, std::int64_t>>& days)
{
    const auto packs = packsOf(session, days);
    if (!packs)
        return packs.error();
    return session.inTransaction([&]() -> DatabaseResult<std::monostate> {
        if (const auto kept = keepAll(session, packs.value()); !kept)
            return kept.error();
        for (const auto& [user, day] : days) {
            const auto sealed = session.runKept(
                QStringLiteral("update days set sealed = 1, stored_rows = 0, stored_millions = 0, "
                               "stored_rest = 0 where user_id = ? and day = ? and "
                               "pack is not null"),
                {number(user), number(day)});
            if (!sealed)
                return sealed.error();
        }
        return std::monostate();
    });
}

DatabaseResult<std::monostate>
bumpDays(DatabaseSession& session, std::int64_t user, const std::set<std::int64_t>& days)
{
    if (days.empty())
        return std::monostate();
    // A day that was deleted and is there again must not have a version that somebody still holds.
    const QString bump =
        QStringLiteral("insert into days (user_id, day, version) select cast(? as bigint), value, "
                       "cast(? as bigint) from %1 as given (value) where true "
                       "order by value on conflict (user_id, day) do update set "
                       "version = days.version + 1, "
                       "pack = case when days.sealed = 0 then null else days.pack end")
            .arg(QStringLiteral("unnest(cast(? as bigint[]))"));
    const QString bumpInSqlite =
        QStringLiteral("insert into days (user_id, day, version) select ?, value, ? "
                       "from json_each(?) where true order by value "
                       "on conflict (user_id, day) do update set version = days.version + 1, "
                       "pack = case when days.sealed = 0 then null else days.pack end");
    const auto done =
        session.runKept(session.isPostgreSql() ? bump : bumpInSqlite,
                        {number(user),
                         number(microsecondsNow()),
                         listOfNumbers({days.begin(), days.end()}, session.isPostgreSql())});
    if (!done)
        return done.error();
    return std::monostate();
}

DatabaseResult<std::vector<Run>>
runsOfDay(DatabaseSession& session, std::int64_t user, std::int64_t day)
{
    std::vector<Run> runs;
    const auto read = forRows(session, user, day, [&](Run run) {
        if (run.seconds > 0)
            runs.push_back(std::move(run));
    });
    if (!read)
        return read.error();
    return runs;
}

DatabaseResult<bool> packSomeDays(DatabaseSession& session, std::int64_t now)
{
    // Of all users: each of these days is then read by its own. What is recorded today changes the
    // day again and again, and so does what is moved.
    auto found = session.run(
        QStringLiteral("select user_id, day from days where pack is null and sealed = 0 and "
                       "day < ? and not exists (select 1 from users where id = user_id and "
                       "old_rows > 0) order by user_id, day limit %1")
            .arg(kDaysOfAStep),
        {number(now / kSecondsOfADay)});
    if (!found)
        return found.error();
    std::vector<std::pair<std::int64_t, std::int64_t>> some;
    while (found.value().next())
        some.emplace_back(found.value().value(0).toLongLong(), found.value().value(1).toLongLong());
    found.value().finish();
    const auto packs = packsOf(session, some);
    if (!packs)
        return packs.error();
    if (const auto kept = keepPacks(session, packs.value()); !kept)
        return kept.error();
    return !some.empty();
}

DatabaseResult<std::vector<CategoryRule>> listCategories(DatabaseSession& session,
                                                         std::int64_t user)
{
    auto found = session.run(QStringLiteral("select name, field, how, pattern from categories "
                                            "where user_id = ? order by position"),
                             {number(user)});
    if (!found)
        return found.error();
    std::vector<CategoryRule> rules;
    for (QSqlQuery& row = found.value(); row.next();)
        rules.push_back({.name = row.value(0).toString().toStdString(),
                         .field = static_cast<CategoryRule::Field>(row.value(1).toInt()),
                         .how = static_cast<CategoryRule::How>(row.value(2).toInt()),
                         .pattern = row.value(3).toString().toStdString()});
    if (const auto all = DatabaseSession::allRead(found.value()); !all)
        return all.error();
    return rules;
}

DatabaseResult<std::monostate>
setCategories(DatabaseSession& session, std::int64_t user, const std::vector<CategoryRule>& rules)
{
    return session.inTransaction([&]() -> DatabaseResult<std::monostate> {
        if (session.isPostgreSql()) { // an upload on its way may begin a day that is not seen yet
            const auto locked = session.run(
                QStringLiteral("select id from users where id = ? for update"), {number(user)});
            if (!locked)
                return locked.error();
        }
        const auto gone =
            session.run(QStringLiteral("delete from categories where user_id = ?"), {number(user)});
        if (!gone)
            return gone.error();
        for (std::size_t i = 0; i < rules.size(); ++i) {
            const auto added = session.run(
                QStringLiteral("insert into categories (user_id, position, name, field, how, "
                               "pattern) values (?, ?, ?, ?, ?, ?)"),
                {number(user),
                 number(static_cast<std::int64_t>(i)),
                 storedText(rules[i].name),
                 static_cast<int>(rules[i].field),
                 static_cast<int>(rules[i].how),
                 storedText(rules[i].pattern)});
            if (!added)
                return added.error();
        }
        const auto cleared =
            session.run(QStringLiteral("update days set version = version + 1, pack = null "
                                       "where user_id = ? and sealed = 0"),
                        {number(user)});
        if (!cleared)
            return cleared.error();
        return std::monostate();
    });
}

} // namespace service
