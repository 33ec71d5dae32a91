// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/database/schema.h"

#include <QStringList>

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

DatabaseResult<int> versionOf(DatabaseSession& session)
{
    auto found = session.run(QStringLiteral("select max(version) from schema_version"));
    if (!found)
        return found.error();
    return found.value().next() ? found.value().value(0).toInt() : 0;
}

DatabaseResult<int> migrate(DatabaseSession& session)
{
    const auto made = session.run(QStringLiteral(
        "create table if not exists schema_version (version bigint not null primary key)"));
    if (!made)
        return made.error();
    auto version = versionOf(session);
    if (!version)
        return version;
    const int newest = static_cast<int>(migrations().size());
    for (int next = version.value(); next < newest; ++next) {
        for (const QString& statement : migrations().at(static_cast<std::size_t>(next))) {
            if (const auto done = session.run(statement); !done)
                return done.error();
        }
        const auto noted = session.run(
            QStringLiteral("insert into schema_version (version) values (?)"), {next + 1});
        if (!noted)
            return noted.error();
    }
    return version;
}

} // namespace

Outcome prepareSchema(DatabaseSession& session)
{
    const auto before = session.inExclusiveTransaction([&] { return migrate(session); });
    if (!before)
        return Error{"cannot prepare the database: " + before.error().text};
    if (before.value() > static_cast<int>(migrations().size()))
        return Error{"the database was written by a newer version of this program"};
    return success();
}

} // namespace service
