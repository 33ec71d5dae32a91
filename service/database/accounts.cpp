// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/database/accounts.h"

#include "base/ascii.h"
#include "service/database/database_text.h"
#include "service/database/token.h"

#include <chrono>

namespace service {

namespace {

std::int64_t microsecondsNow()
{
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

QVariant number(std::int64_t value)
{
    return {static_cast<qlonglong>(value)};
}

QString storedKey(std::string_view email)
{
    return storedText(platform::asciiLower(email));
}

DatabaseResult<std::int64_t> endTokens(DatabaseSession& session, std::int64_t user)
{
    auto removed =
        session.run(QStringLiteral("delete from tokens where user_id = ?"), {number(user)});
    if (!removed)
        return removed.error();
    return removed.value().numRowsAffected();
}

/// The number that `work` makes of the user of that address, in a transaction; nothing when there
/// is none.
template <typename Work>
DatabaseResult<std::optional<std::int64_t>>
withUser(DatabaseSession& session, const std::string& email, Work work)
{
    using Done = DatabaseResult<std::optional<std::int64_t>>;
    return session.inExclusiveTransaction([&]() -> Done {
        const auto user = findUser(session, email);
        if (!user)
            return user.error();
        if (!user.value())
            return std::optional<std::int64_t>();
        const DatabaseResult<std::int64_t> number = work(*user.value());
        if (!number)
            return number.error();
        return std::optional(number.value());
    });
}

} // namespace

DatabaseResult<std::optional<std::int64_t>> addUser(DatabaseSession& session,
                                                    const std::string& email,
                                                    const std::string& name,
                                                    const std::string& passwordHash)
{
    using Added = DatabaseResult<std::optional<std::int64_t>>;
    return session.inExclusiveTransaction([&]() -> Added {
        auto there = session.run(QStringLiteral("select id from users where email_key = ?"),
                                 {storedKey(email)});
        if (!there)
            return there.error();
        if (there.value().next())
            return std::optional<std::int64_t>();
        auto last = session.run(QStringLiteral(
            "select coalesce(max(id), 0) from "
            "(select id from users union all select id from removed_users) as all_ids"));
        if (!last)
            return last.error();
        last.value().next();
        const std::int64_t id = last.value().value(0).toLongLong() + 1;
        const auto added = session.run(
            QStringLiteral("insert into users (id, email, email_key, name, password_hash, "
                           "created_at) values (?, ?, ?, ?, ?, ?)"),
            {number(id),
             storedText(email),
             storedKey(email),
             storedText(name),
             storedText(passwordHash),
             number(microsecondsNow())});
        if (!added)
            return added.error();
        return std::optional(id);
    });
}

DatabaseResult<std::optional<User>> findUser(DatabaseSession& session, const std::string& email)
{
    auto found = session.run(QStringLiteral("select id, email, name, phone_number, password_hash "
                                            "from users where email_key = ?"),
                             {storedKey(email)});
    if (!found)
        return found.error();
    QSqlQuery& row = found.value();
    // Stored texts hold no U+0000, so an address with one must not find that of its picture.
    if (email.find('\0') != std::string::npos || !row.next())
        return std::optional<User>();
    return std::optional(User{
        .id = row.value(0).toLongLong(),
        .email = row.value(1).toString().toStdString(),
        .name = row.value(2).toString().toStdString(),
        .phoneNumber =
            row.isNull(3) ? std::nullopt : std::optional(row.value(3).toString().toStdString()),
        .passwordHash = row.value(4).toString().toStdString(),
    });
}

DatabaseResult<bool> addToken(DatabaseSession& session,
                              const User& user,
                              const std::string& token,
                              const SignInRequest& request)
{
    return session.inExclusiveTransaction([&]() -> DatabaseResult<bool> {
        // The password was checked before, and may be another by now.
        auto added = session.run(
            QStringLiteral(
                "insert into tokens (digest, user_id, device_id, device_name, created_at) "
                "select ?, id, ?, ?, cast(? as bigint) from users "
                "where id = ? and password_hash = ?"),
            {storedText(digestOf({token})),
             storedText(request.deviceId),
             storedText(request.deviceName),
             number(microsecondsNow()),
             number(user.id),
             storedText(user.passwordHash)});
        if (!added)
            return added.error();
        if (added.value().numRowsAffected() == 0)
            return false;
        const auto bounded = session.run(
            QStringLiteral("delete from tokens where user_id = ? and digest not in (select digest "
                           "from tokens where user_id = ? order by created_at desc, digest "
                           "limit 50)"),
            {number(user.id), number(user.id)});
        if (!bounded)
            return bounded.error();
        return true;
    });
}

DatabaseResult<std::optional<std::int64_t>> userOfToken(DatabaseSession& session,
                                                        const std::string& token)
{
    auto found = session.run(QStringLiteral("select user_id from tokens where digest = ?"),
                             {storedText(digestOf({token}))});
    if (!found)
        return found.error();
    if (!found.value().next())
        return std::optional<std::int64_t>();
    return std::optional<std::int64_t>(found.value().value(0).toLongLong());
}

DatabaseResult<std::optional<std::int64_t>>
setPassword(DatabaseSession& session, const std::string& email, const std::string& passwordHash)
{
    return withUser(session, email, [&](const User& user) -> DatabaseResult<std::int64_t> {
        const auto changed =
            session.run(QStringLiteral("update users set password_hash = ? where id = ?"),
                        {storedText(passwordHash), number(user.id)});
        if (!changed)
            return changed.error();
        return endTokens(session, user.id);
    });
}

DatabaseResult<std::optional<std::int64_t>> removeUser(DatabaseSession& session,
                                                       const std::string& email)
{
    return withUser(session, email, [&](const User& user) -> DatabaseResult<std::int64_t> {
        auto counted = session.run(
            QStringLiteral("select count(*) from activities where user_id = ?"), {number(user.id)});
        if (!counted)
            return counted.error();
        counted.value().next();
        const std::int64_t rows = counted.value().value(0).toLongLong();
        // Rows and tokens go with the user, also those that have come meanwhile.
        const auto removed =
            session.run(QStringLiteral("delete from users where id = ?"), {number(user.id)});
        if (!removed)
            return removed.error();
        const auto noted = session.run(QStringLiteral("insert into removed_users (id) values (?)"),
                                       {number(user.id)});
        if (!noted)
            return noted.error();
        return rows;
    });
}

DatabaseResult<std::optional<std::int64_t>> revokeTokens(DatabaseSession& session,
                                                         const std::string& email)
{
    return withUser(session, email, [&](const User& user) { return endTokens(session, user.id); });
}

} // namespace service
