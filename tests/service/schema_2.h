// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/database/activity_rows.h"
#include "service/database/database_session.h"

#include <QString>
#include <QStringList>
#include <QVariantList>

#include <string>

/// A database as version 1.0.0 of the service left it, for tests.
namespace schema_2 {

enum class Table { Plain, PartitionedByHand };

/// Makes its tables. By hand means as the operator's guide of that version said.
inline bool make(service::DatabaseSession& session, Table table)
{
    QStringList statements = {
        QStringLiteral("create table schema_version (version bigint not null primary key)"),
        QStringLiteral("insert into schema_version (version) values (1), (2)"),
        QStringLiteral("create table users (id bigint not null primary key, email text not null, "
                       "email_key text not null unique, name text not null, phone_number text, "
                       "password_hash text not null, created_at bigint not null)"),
        QStringLiteral("create table tokens (digest text not null primary key, user_id bigint not "
                       "null references users (id) on delete cascade, device_id text not null, "
                       "device_name text not null, created_at bigint not null)"),
        QStringLiteral("create index tokens_of_user on tokens (user_id, created_at)"),
        QStringLiteral("create table activities (user_id bigint not null references users (id) on "
                       "delete cascade, digest text not null, device_id text not null, app_name "
                       "text not null, window_title text, url text, start_time bigint not null, "
                       "duration_seconds bigint not null, primary key (user_id, digest))"),
        QStringLiteral("create table removed_users (id bigint not null primary key)")};
    if (table == Table::PartitionedByHand) {
        statements << QStringLiteral("alter table activities rename to whole_activities")
                   << QStringLiteral(
                          "create table activities (like whole_activities, primary key (user_id, "
                          "digest), foreign key (user_id) references users (id) on delete cascade) "
                          "partition by hash (user_id)");
        for (int i = 0; i < 4; ++i)
            statements << QStringLiteral("create table activities_%1 partition of activities for "
                                         "values with (modulus 4, remainder %1)")
                              .arg(i);
        statements << QStringLiteral("drop table whole_activities");
    }
    for (const QString& statement : statements) {
        if (!session.run(statement))
            return false;
    }
    return true;
}

inline bool addUser(service::DatabaseSession& session, qlonglong id, const QString& email)
{
    return static_cast<bool>(
        session.run(QStringLiteral("insert into users (id, email, email_key, name, password_hash, "
                                   "created_at) values (?, ?, ?, 'Name', 'hash', 1)"),
                    {id, email, email}));
}

inline bool addRow(service::DatabaseSession& session,
                   qlonglong user,
                   const std::string& device,
                   const service::UploadedActivity& row)
{
    const auto optional = [](const std::optional<std::string>& text) {
        return text ? QVariant(QString::fromStdString(*text)) : QVariant();
    };
    return static_cast<bool>(session.runKept(
        QStringLiteral("insert into activities (user_id, digest, device_id, app_name, "
                       "window_title, url, start_time, duration_seconds) "
                       "values (?, ?, ?, ?, ?, ?, ?, ?)"),
        {user,
         QString::fromStdString(service::digestOfRow(device, row)),
         QString::fromStdString(device),
         QString::fromStdString(row.appName),
         optional(row.windowTitle),
         optional(row.url),
         static_cast<qlonglong>(row.startTime),
         static_cast<qlonglong>(row.durationSeconds)}));
}

/// Row number `n` of a device, one every 30 seconds; different numbers are different rows.
inline service::UploadedActivity row(int n, std::int64_t seconds)
{
    service::UploadedActivity made{.appName = "Application " + std::to_string(n % 7),
                                   .windowTitle = "Title " + std::to_string(n),
                                   .url = std::nullopt,
                                   .durationSeconds = seconds,
                                   .startTime = 1'760'000'000 + 30LL * n};
    if (n % 3 == 0)
        made.url = "https://site" + std::to_string(n % 5) + ".example.org/page";
    return made;
}

} // namespace schema_2
