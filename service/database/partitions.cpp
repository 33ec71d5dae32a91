// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/database/partitions.h"

#include "service/database/database_text.h"

#include <QStringList>

namespace service {

namespace {

// Who waits for a table holds up everybody who comes later and would not have to wait for those
// that it waits for.
constexpr auto kWaitShortly = "set local lock_timeout = '200ms'";
constexpr auto kLockNotAvailable = "55P03";
constexpr int kTries = 20;

QString twoDigits(int number)
{
    return QStringLiteral("%1").arg(number, 2, 10, QLatin1Char('0'));
}

DatabaseResult<std::monostate> make(DatabaseSession& session, int month)
{
    return session.inExclusiveTransaction([&]() -> DatabaseResult<std::monostate> {
        auto there = session.run(QStringLiteral("select to_regclass(?) is not null"),
                                 {partitionName(month)});
        if (!there)
            return there.error();
        if (there.value().next() && there.value().value(0).toBool())
            return std::monostate();
        const QString name = partitionName(month);
        // Attached rather than made in place: uploads into other months go on meanwhile.
        for (const QString& statement :
             {QString::fromLatin1(kWaitShortly),
              QStringLiteral("create table %1 (like runs including defaults)").arg(name),
              QStringLiteral("alter table runs attach partition %1 for values from (%2) to (%3)")
                  .arg(name)
                  .arg(firstDayOfMonth(month))
                  .arg(firstDayOfMonth(month + 1))}) {
            if (const auto done = session.run(statement); !done)
                return done.error();
        }
        return std::monostate();
    });
}

/// The same, tried again as long as others have the table in use; they go on between the tries.
DatabaseResult<std::monostate> makeInSpiteOfOthers(DatabaseSession& session, int month)
{
    for (int tries = 1;; ++tries) {
        auto made = make(session, month);
        if (made || tries == kTries ||
            made.error().text.find(kLockNotAvailable) == std::string::npos)
            return made;
    }
}

} // namespace

QString partitionName(int month)
{
    return QStringLiteral("runs_%1_%2").arg(month / 12).arg(twoDigits(month % 12 + 1));
}

DatabaseResult<std::monostate> makePartitions(DatabaseSession& session, const std::set<int>& months)
{
    if (!session.isPostgreSql())
        return std::monostate();
    for (const int month : months) {
        if (session.knownMonths().contains(month))
            continue;
        if (const auto made = makeInSpiteOfOthers(session, month); !made)
            return made.error();
        session.knownMonths().insert(month);
    }
    return std::monostate();
}

DatabaseResult<std::set<int>> partitionsOf(DatabaseSession& session)
{
    std::set<int> months;
    if (!session.isPostgreSql())
        return months;
    auto found = session.run(QStringLiteral(
        "select relname from pg_inherits join pg_class on pg_class.oid = inhrelid "
        "where inhparent = 'runs'::regclass and relname ~ '^runs_[0-9]{4}_[0-9]{2}$'"));
    if (!found)
        return found.error();
    while (found.value().next()) {
        const QStringList parts = found.value().value(0).toString().split(QLatin1Char('_'));
        months.insert(12 * parts.at(1).toInt() + parts.at(2).toInt() - 1);
    }
    return months;
}

DatabaseResult<bool> dropPartition(DatabaseSession& session, int month)
{
    session.knownMonths().erase(month);
    return session.inTransaction([&]() -> DatabaseResult<bool> {
        // Uploads that have put rows into it are waited for, and all others wait meanwhile.
        for (const QString& statement :
             {QString::fromLatin1(kWaitShortly),
              QStringLiteral("lock table only runs in access exclusive mode")}) {
            if (const auto done = session.run(statement); !done)
                return done.error();
        }
        auto open = session.run( // of all users
            QStringLiteral(
                "select day from days where sealed = 0 and day >= ? and day <= ? limit 1"),
            {number(firstDayOfMonth(month)), number(firstDayOfMonth(month + 1))});
        if (!open)
            return open.error();
        if (open.value().next())
            return false;
        open.value().finish();
        const auto dropped =
            session.run(QStringLiteral("drop table if exists %1").arg(partitionName(month)));
        if (!dropped)
            return dropped.error();
        return true;
    });
}

} // namespace service
