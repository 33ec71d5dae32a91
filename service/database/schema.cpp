// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/database/schema.h"

#include "service/database/database_text.h"
#include "service/database/old_rows.h"

#include <QStringList>

#include <set>
#include <vector>

namespace service {

namespace {

/// The statements that lead from each version to the next; what stands here never changes.
const std::vector<QStringList>& migrations()
{
    static const std::vector<QStringList> all = {
        {
            QStringLiteral("create table users ("
                           "id bigint not null primary key, "
                           "email text not null, "
                           "email_key text not null unique, "
                           "name text not null, "
                           "phone_number text, "
                           "password_hash text not null, "
                           "created_at bigint not null)"),
            QStringLiteral("create table tokens ("
                           "digest text not null primary key, "
                           "user_id bigint not null references users (id) on delete cascade, "
                           "device_id text not null, "
                           "device_name text not null, "
                           "created_at bigint not null)"),
            QStringLiteral("create index tokens_of_user on tokens (user_id, created_at)"),
            QStringLiteral("create table activities ("
                           "user_id bigint not null references users (id) on delete cascade, "
                           "digest text not null, "
                           "device_id text not null, "
                           "app_name text not null, "
                           "window_title text, "
                           "url text, "
                           "start_time bigint not null, "
                           "duration_seconds bigint not null, "
                           "primary key (user_id, digest))"),
        },
        {
            QStringLiteral("create table removed_users (id bigint not null primary key)"),
        },
    };
    return all;
}

QString instant()
{
    return QString::number(secondsNow());
}

/// What the third version has, whose types and partitions differ.
QStringList thirdVersion(bool postgreSql)
{
    const QString bytes = postgreSql ? QStringLiteral("bytea") : QStringLiteral("blob");
    QStringList all = {
        QStringLiteral("alter table users add column removed bigint not null default 0"),
        QStringLiteral("alter table users add column disabled bigint not null default 0"),
        QStringLiteral("alter table users add column is_admin bigint not null default 0"),
        QStringLiteral("alter table users add column time_zone text not null default 'UTC'"),
        // 0: none is left in the old table, 1: they wait, 2: somebody waits for them.
        QStringLiteral("alter table users add column old_rows bigint not null default 0"),
        QStringLiteral("alter table users add column old_next text not null default ''"),
        QStringLiteral("create index users_with_old_rows on users (old_rows desc, id) "
                       "where old_rows > 0"),
        QStringLiteral("create table devices ("
                       "user_id bigint not null references users (id) on delete cascade, "
                       "id bigint not null, "
                       "device_id text not null, "
                       "name text not null, "
                       "signed_in bigint, "
                       "first_seen bigint, "
                       "last_seen bigint, "
                       "interval_minutes bigint, "
                       "clock_skew_seconds bigint, "
                       "primary key (user_id, id), "
                       "unique (user_id, device_id))"),
        QStringLiteral("create table days ("
                       "user_id bigint not null, "
                       "day bigint not null, "
                       "version bigint not null, "
                       "sealed bigint not null default 0, "
                       "stored_rows bigint, "
                       "stored_millions bigint, "
                       "stored_rest bigint, "
                       "seconds bigint, "
                       "pack %1, "
                       "primary key (user_id, day))")
            .arg(bytes),
        QStringLiteral("create index days_without_pack on days (user_id, day) where pack is null"),
        // Of all users, for those who seal and pack what is due.
        QStringLiteral("create index open_days on days (day) where sealed = 0"),
        QStringLiteral("create table sessions ("
                       "user_id bigint not null references users (id) on delete cascade, "
                       "digest text not null, "
                       "kind text not null, "
                       "scope text not null, "
                       "device_id text not null, "
                       "device_name text not null, "
                       "user_agent text not null, "
                       "created_at bigint not null, "
                       "last_used bigint not null, "
                       "expires bigint not null, "
                       "idle_seconds bigint not null, "
                       "primary key (user_id, digest))"),
        // Finds whose it is.
        QStringLiteral("create index sessions_by_digest on sessions (digest)"),
        QStringLiteral(
            "insert into sessions (user_id, digest, kind, scope, device_id, device_name, "
            "user_agent, created_at, last_used, expires, idle_seconds) "
            "select user_id, digest, 'application', 'upload', device_id, device_name, "
            "'', created_at, %1, %1 + 7776000, 7776000 from tokens")
            .arg(instant()),
        QStringLiteral("insert into devices (user_id, id, device_id, name, signed_in) "
                       "select user_id, number, device_id, case number when 1 then 'Desktop' else "
                       "'Desktop ' || number end, %1 from (select user_id, device_id, row_number() "
                       "over (partition by user_id order by min(created_at), device_id) as number "
                       "from tokens group by user_id, device_id) as known")
            .arg(instant()),
        QStringLiteral("drop table tokens"),
        QStringLiteral("create table categories ("
                       "user_id bigint not null references users (id) on delete cascade, "
                       "position bigint not null, "
                       "name text not null, "
                       "field bigint not null, "
                       "how bigint not null, "
                       "pattern text not null, "
                       "primary key (user_id, position))"),
        QStringLiteral("create table access_log ("
                       "user_id bigint not null, "
                       "at bigint not null, "
                       "what text not null, "
                       "network text not null, "
                       "primary key (user_id, at, what))"),
        QStringLiteral("create table failures ("
                       "account text not null, "
                       "network text not null, "
                       "at bigint not null, "
                       "primary key (account, network, at))"),
        QStringLiteral("create index failures_of_network on failures (network, at)"),
        QStringLiteral("create table jobs ("
                       "name text not null primary key, "
                       "due bigint not null, "
                       "taken_until bigint not null default 0, "
                       "taken_by text not null default '', "
                       "failures bigint not null default 0, "
                       "finished bigint, "
                       "result text not null default '')"),
        // In this order nothing is lost to alignment.
        QStringLiteral("create table runs ("
                       "user_id integer not null, "
                       "start_day integer not null, "
                       "start_second integer not null, "
                       "digest integer not null, "
                       "duration_seconds bigint not null, "
                       "device integer not null, "
                       "app_name text not null, "
                       "window_title text, "
                       "url text, "
                       "site text, "
                       "primary key (user_id, start_day, start_second, digest)) ") +
            (postgreSql ? QStringLiteral("partition by range (start_day)")
                        : QStringLiteral("without rowid")),
        // Those that a day has to look for further back than one day.
        QStringLiteral("create index long_runs on runs (user_id, start_day) "
                       "where duration_seconds > 86400"),
    };
    if (postgreSql) {
        all.append(QStringLiteral("create table runs_of_other_times partition of runs default"));
        // It need not be searched when a month is added.
        all.append(QStringLiteral("alter table runs_of_other_times add constraint other_times "
                                  "check (start_day < 10957 or start_day >= 47482)"));
    }
    // An instance of the version before finds no table to put rows into that nobody would move.
    all.append(QStringLiteral("alter table activities rename to old_activities"));
    all.append(QStringLiteral("update users set old_rows = 1 where exists "
                              "(select 1 from old_activities where user_id = users.id)"));
    if (postgreSql) // removing a user must not delete all rows in one statement
        all.append(QStringLiteral(
            "do $$ declare c record; begin for c in select conname from pg_constraint "
            "where conrelid = 'old_activities'::regclass and contype = 'f' loop execute "
            "format('alter table old_activities drop constraint %I', c.conname); "
            "end loop; end $$"));
    return all;
}

constexpr int kNewest = 3;

QStringList statementsOf(int version, bool postgreSql)
{
    return version == kNewest ? thirdVersion(postgreSql)
                              : migrations().at(static_cast<std::size_t>(version) - 1);
}

/// Those that the tables have been through; none for a database without tables.
DatabaseResult<std::set<int>> versionsOf(DatabaseSession& session)
{
    auto there = session.run(
        session.isPostgreSql()
            ? QStringLiteral("select to_regclass('schema_version') is not null")
            : QStringLiteral("select count(*) from sqlite_master where name = 'schema_version'"));
    if (!there)
        return there.error();
    const bool hasTable = there.value().next() && there.value().value(0).toBool();
    there.value().finish();
    std::set<int> versions;
    if (!hasTable)
        return versions;
    auto found = session.run(QStringLiteral("select version from schema_version"));
    if (!found)
        return found.error();
    while (found.value().next())
        versions.insert(found.value().value(0).toInt());
    return versions;
}

/// The first one that is missing among `versions`; kNewest + 1 if none is.
int firstMissing(const std::set<int>& versions)
{
    int next = 1;
    while (next <= kNewest && versions.contains(next))
        ++next;
    return next;
}

/// Says which versions it had been through before.
DatabaseResult<std::set<int>> migrate(DatabaseSession& session)
{
    const auto made = session.run(QStringLiteral(
        "create table if not exists schema_version (version bigint not null primary key)"));
    if (!made)
        return made.error();
    auto before = versionsOf(session);
    if (!before)
        return before;
    for (int next = firstMissing(before.value()); next <= kNewest; ++next) {
        if (before.value().contains(next))
            continue;
        for (const QString& statement : statementsOf(next, session.isPostgreSql())) {
            if (const auto done = session.run(statement); !done)
                return done.error();
        }
        const auto noted =
            session.run(QStringLiteral("insert into schema_version (version) values (?)"), {next});
        if (!noted)
            return noted.error();
        if (next < kNewest)
            continue;
        if (const auto dropped = dropEmptyOldTable(session); !dropped)
            return dropped.error();
    }
    return before;
}

} // namespace

Outcome prepareSchema(DatabaseSession& session)
{
    // Nothing is locked where there is nothing to do: others may be in the middle of something
    // long.
    auto before = versionsOf(session);
    if (before && firstMissing(before.value()) <= kNewest)
        before = session.inExclusiveTransaction([&] { return migrate(session); });
    if (!before)
        return Error{"cannot prepare the database: " + before.error().text};
    if (!before.value().empty() && *before.value().rbegin() > kNewest)
        return Error{"the database was written by a newer version of this program"};
    return success();
}

DatabaseResult<bool> hasCurrentSchema(DatabaseSession& session)
{
    const auto versions = versionsOf(session);
    if (!versions)
        return versions.error();
    return firstMissing(versions.value()) > kNewest && *versions.value().rbegin() == kNewest;
}

DatabaseResult<bool> isWritable(DatabaseSession& session)
{
    if (!session.isPostgreSql())
        return true;
    auto found = session.run(QStringLiteral(
        "select not pg_is_in_recovery() and current_setting('transaction_read_only') = 'off'"));
    if (!found)
        return found.error();
    return found.value().next() && found.value().value(0).toBool();
}

} // namespace service
