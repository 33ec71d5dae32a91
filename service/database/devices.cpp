// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/database/devices.h"

#include "service/database/database_text.h"

namespace service {

namespace {

std::optional<std::int64_t> optionalNumber(const QSqlQuery& row, int column)
{
    return row.isNull(column) ? std::nullopt
                              : std::optional<std::int64_t>(row.value(column).toLongLong());
}

/// The number in the first column of the only row; nothing without a row.
std::optional<std::int64_t> onlyNumber(QSqlQuery& query)
{
    std::optional<std::int64_t> found;
    if (query.next())
        found = query.value(0).toLongLong();
    query.finish();
    return found;
}

/// Whether a difference of times fits; a device may say that it is any year.
std::int64_t skewOf(std::int64_t deviceTime, std::int64_t now)
{
    std::int64_t skew = 0;
    return __builtin_sub_overflow(deviceTime, now, &skew) ? 0 : skew;
}

} // namespace

DatabaseResult<std::vector<Device>> listDevices(DatabaseSession& session, std::int64_t user)
{
    auto found = session.run(
        QStringLiteral("select id, device_id, name, first_seen, last_seen, interval_minutes, "
                       "clock_skew_seconds from devices where user_id = ? order by id"),
        {number(user)});
    if (!found)
        return found.error();
    std::vector<Device> devices;
    for (QSqlQuery& row = found.value(); row.next();)
        devices.push_back({.id = row.value(0).toLongLong(),
                           .deviceId = row.value(1).toString().toStdString(),
                           .name = row.value(2).toString().toStdString(),
                           .firstSeen = optionalNumber(row, 3),
                           .lastSeen = optionalNumber(row, 4),
                           .intervalMinutes = optionalNumber(row, 5),
                           .clockSkewSeconds = optionalNumber(row, 6)});
    return devices;
}

DatabaseResult<bool> renameDevice(DatabaseSession& session,
                                  std::int64_t user,
                                  std::int64_t device,
                                  const std::string& name)
{
    const auto renamed =
        session.run(QStringLiteral("update devices set name = ? where user_id = ? and id = ?"),
                    {storedText(name), number(user), number(device)});
    if (!renamed)
        return renamed.error();
    return renamed.value().numRowsAffected() == 1;
}

DatabaseResult<std::optional<std::int64_t>> lockUser(DatabaseSession& session, std::int64_t user)
{
    const auto found =
        session.runKept(QStringLiteral("select old_rows from users where id = ? and removed = 0") +
                            (session.isPostgreSql() ? QStringLiteral(" for key share") : QString()),
                        {number(user)});
    if (!found)
        return found.error();
    return onlyNumber(*found.value());
}

DatabaseResult<std::int64_t>
numberOfDevice(DatabaseSession& session, std::int64_t user, const std::string& deviceId)
{
    const auto find = [&]() -> DatabaseResult<std::optional<std::int64_t>> {
        const auto found = session.runKept(
            QStringLiteral("select id from devices where user_id = ? and device_id = ?"),
            {number(user), storedText(deviceId)});
        if (!found)
            return found.error();
        return onlyNumber(*found.value());
    };
    auto there = find();
    if (!there)
        return there.error();
    if (const auto id = there.value())
        return *id;
    if (session.isPostgreSql()) { // one new device of a user at a time
        const auto locked = session.run(
            QStringLiteral("select id from users where id = ? for no key update"), {number(user)});
        if (!locked)
            return locked.error();
        there = find();
        if (!there)
            return there.error();
        if (const auto id = there.value())
            return *id;
    }
    auto last =
        session.run(QStringLiteral("select coalesce(max(id), 0) from devices where user_id = ?"),
                    {number(user)});
    if (!last)
        return last.error();
    const std::int64_t id = onlyNumber(last.value()).value_or(0) + 1;
    const QString name = id == 1 ? QStringLiteral("Desktop") : QStringLiteral("Desktop %1").arg(id);
    const auto added = session.run(
        QStringLiteral("insert into devices (user_id, id, device_id, name) values (?, ?, ?, ?)"),
        {number(user), number(id), storedText(deviceId), name});
    if (!added)
        return added.error();
    return id;
}

DatabaseResult<std::int64_t>
noteUpload(DatabaseSession& session, std::int64_t user, const UploadHead& head, std::int64_t now)
{
    const auto id = numberOfDevice(session, user, head.deviceId);
    if (!id)
        return id.error();
    const auto noted = session.runKept(
        QStringLiteral("update devices set first_seen = coalesce(first_seen, ?), last_seen = ?, "
                       "interval_minutes = ?, clock_skew_seconds = ? "
                       "where user_id = ? and id = ?"),
        {number(now),
         number(now),
         number(head.intervalMinutes),
         number(skewOf(head.syncTimestamp, now)),
         number(user),
         number(id.value())});
    if (!noted)
        return noted.error();
    return id.value();
}

DatabaseResult<std::monostate> noteSignIn(DatabaseSession& session,
                                          std::int64_t user,
                                          const std::string& deviceId,
                                          std::int64_t now)
{
    const auto id = numberOfDevice(session, user, deviceId);
    if (!id)
        return id.error();
    const auto noted =
        session.run(QStringLiteral("update devices set signed_in = ? where user_id = ? and id = ?"),
                    {number(now), number(user), number(id.value())});
    if (!noted)
        return noted.error();
    return std::monostate();
}

DatabaseResult<bool>
isKnownDevice(DatabaseSession& session, std::int64_t user, const std::string& deviceId)
{
    auto found = session.run(QStringLiteral("select id from devices where user_id = ? and "
                                            "device_id = ? and signed_in is not null"),
                             {number(user), storedText(deviceId)});
    if (!found)
        return found.error();
    return found.value().next();
}

} // namespace service
