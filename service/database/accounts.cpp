// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/database/accounts.h"

#include "base/ascii.h"
#include "service/database/database_text.h"
#include "service/database/devices.h"
#include "service/database/old_rows.h"
#include "service/database/token.h"

#include <algorithm>
#include <array>

namespace service {

namespace {

QString storedKey(std::string_view email)
{
    return storedText(platform::asciiLower(email));
}

DatabaseResult<std::int64_t> endTokens(DatabaseSession& session, std::int64_t user)
{
    auto removed =
        session.run(QStringLiteral("delete from sessions where user_id = ?"), {number(user)});
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
        auto user = findUserId(session, email);
        if (!user || !user.value())
            return user;
        const DatabaseResult<std::int64_t> number = work(*user.value());
        if (!number)
            return number.error();
        return std::optional(number.value());
    });
}

constexpr std::array kKinds = {"application", "browser", "api"};
constexpr std::array kScopes = {"upload", "read", "manage"};
constexpr std::int64_t kOverlapSeconds = 600;
constexpr std::int64_t kSecondsBetweenNotes = 3600;
constexpr std::int64_t kNotesInTime = 72; // at least so many before a session ends unused
constexpr auto kSessionColumns =
    "sessions.user_id, digest, kind, scope, device_id, device_name, user_agent, "
    "sessions.created_at, last_used, expires, idle_seconds";

template <typename Enum, std::size_t Size>
Enum named(const QString& name, const std::array<const char*, Size>& names)
{
    const auto* const found =
        std::ranges::find_if(names, [&](const char* each) { return name == QLatin1String(each); });
    return static_cast<Enum>(found == names.end() ? 0 : found - names.begin());
}

Session sessionIn(const QSqlQuery& row)
{
    return {.user = row.value(0).toLongLong(),
            .id = row.value(1).toString().toStdString(),
            .kind = named<SessionKind>(row.value(2).toString(), kKinds),
            .scope = named<Scope>(row.value(3).toString(), kScopes),
            .deviceId = row.value(4).toString().toStdString(),
            .deviceName = row.value(5).toString().toStdString(),
            .userAgent = row.value(6).toString().toStdString(),
            .created = row.value(7).toLongLong() / 1'000'000,
            .lastUsed = row.value(8).toLongLong(),
            .expires = row.value(9).toLongLong(),
            .idleSeconds = row.value(10).toLongLong()};
}

/// The only number that a statement yields.
DatabaseResult<std::int64_t>
countOf(DatabaseSession& session, const QString& statement, const QVariantList& values)
{
    auto found = session.run(statement, values);
    if (!found)
        return found.error();
    found.value().next();
    return found.value().value(0).toLongLong();
}

/// Deletes a portion of `table`, whose key is `key`; how many rows that were.
DatabaseResult<std::int64_t>
deletePortion(DatabaseSession& session, const QString& table, const QString& key, std::int64_t user)
{
    const auto deleted = session.run(
        QStringLiteral("delete from %1 where user_id = ? and (%2) in (select %2 from %1 "
                       "where user_id = ? order by %2 limit 5000)")
            .arg(table, key),
        {number(user), number(user)});
    if (!deleted)
        return deleted.error();
    return deleted.value().numRowsAffected();
}

/// Deletes the next portion of what a user who is being removed has in the table of schema 2.
DatabaseResult<std::int64_t>
eraseOldRows(DatabaseSession& session, std::int64_t user, std::int64_t& rows)
{
    const auto there = hasOldTable(session);
    if (!there)
        return there.error();
    if (!there.value())
        return std::int64_t(0);
    // Of what has been moved a copy may still be there.
    const auto waiting = countOf(
        session,
        QStringLiteral("select count(*) from old_activities join users on users.id = user_id "
                       "where user_id = ? and digest > old_next and old_rows > 0"),
        {number(user)});
    if (!waiting)
        return waiting.error();
    const auto counted =
        session.run(QStringLiteral("update users set old_rows = 0 where id = ?"), {number(user)});
    if (!counted)
        return counted.error();
    rows += waiting.value();
    return deletePortion(session, QStringLiteral("old_activities"), QStringLiteral("digest"), user);
}

/// Deletes the next portion of a user who is being removed; false when nothing of that user is
/// left.
DatabaseResult<bool> eraseSomeOf(DatabaseSession& session, std::int64_t user, std::int64_t& rows)
{
    const auto old = eraseOldRows(session, user, rows);
    if (!old)
        return old.error();
    if (old.value() > 0)
        return true;
    const std::pair<QString, QString> tables[] = {
        {QStringLiteral("runs"), QStringLiteral("start_day, start_second, digest")},
        {QStringLiteral("days"), QStringLiteral("day")},
        {QStringLiteral("access_log"), QStringLiteral("at, what")}};
    for (const auto& [table, key] : tables) {
        const auto deleted = deletePortion(session, table, key, user);
        if (!deleted)
            return deleted.error();
        if (table == QStringLiteral("runs"))
            rows += deleted.value();
        if (deleted.value() > 0)
            return true;
    }
    return session.inTransaction([&]() -> DatabaseResult<bool> {
        for (const QString& statement :
             {QStringLiteral("delete from users where id = ?"),
              QStringLiteral("insert into removed_users (id) values (?) on conflict do nothing")}) {
            const auto done = session.run(statement, {number(user)});
            if (!done)
                return done.error();
        }
        return false;
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

DatabaseResult<std::optional<std::int64_t>> findUserId(DatabaseSession& session,
                                                       const std::string& email)
{
    auto found =
        session.run(QStringLiteral("select id from users where email_key = ? and removed = 0"),
                    {storedKey(email)});
    if (!found)
        return found.error();
    // Stored texts hold no U+0000, so an address with one must not find that of its picture.
    if (email.find('\0') != std::string::npos || !found.value().next())
        return std::optional<std::int64_t>();
    return std::optional<std::int64_t>(found.value().value(0).toLongLong());
}

DatabaseResult<std::optional<User>> findUser(DatabaseSession& session, const std::string& email)
{
    const auto id = findUserId(session, email);
    if (!id)
        return id.error();
    auto found = session.run(QStringLiteral("select id, email, name, phone_number, password_hash "
                                            "from users where id = ? and disabled = 0"),
                             {number(id.value().value_or(0))}); // which nobody has
    if (!found)
        return found.error();
    QSqlQuery& row = found.value();
    if (!row.next())
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
        auto same = session.run(QStringLiteral("select id from users where id = ? and "
                                               "password_hash = ? and removed = 0 and "
                                               "disabled = 0"),
                                {number(user.id), storedText(user.passwordHash)});
        if (!same)
            return same.error();
        if (!same.value().next())
            return false;
        same.value().finish();
        const std::int64_t now = secondsNow();
        const auto replaced =
            session.run(QStringLiteral("update sessions set expires = ? where user_id = ? and "
                                       "kind = 'application' and device_id = ? and expires > ?"),
                        {number(now + kOverlapSeconds),
                         number(user.id),
                         storedText(request.deviceId),
                         number(now + kOverlapSeconds)});
        if (!replaced)
            return replaced.error();
        const auto added = addSession(session,
                                      user.id,
                                      token,
                                      {.deviceId = request.deviceId,
                                       .deviceName = request.deviceName,
                                       .userAgent = {},
                                       .secondsValid = kApplicationSessionSeconds,
                                       .lastsFromUse = true});
        if (!added)
            return added.error();
        const auto bounded = session.run(
            QStringLiteral("delete from sessions where user_id = ? and kind = 'application' and "
                           "digest not in (select digest from sessions where user_id = ? and "
                           "kind = 'application' order by created_at desc, digest limit 50)"),
            {number(user.id), number(user.id)});
        if (!bounded)
            return bounded.error();
        if (const auto noted = noteSignIn(session, user.id, request.deviceId, now); !noted)
            return noted.error();
        return true;
    });
}

DatabaseResult<std::monostate> addSession(DatabaseSession& session,
                                          std::int64_t user,
                                          const std::string& token,
                                          const NewSession& made)
{
    const std::int64_t now = secondsNow();
    const auto added =
        session.run(QStringLiteral("insert into sessions (user_id, digest, kind, scope, device_id, "
                                   "device_name, user_agent, created_at, last_used, expires, "
                                   "idle_seconds) values (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"),
                    {number(user),
                     storedText(digestOf({token})),
                     QString::fromLatin1(kKinds.at(static_cast<std::size_t>(made.kind))),
                     QString::fromLatin1(kScopes.at(static_cast<std::size_t>(made.scope))),
                     storedText(made.deviceId),
                     storedText(made.deviceName),
                     storedText(made.userAgent),
                     number(microsecondsNow()),
                     number(now),
                     number(now + made.secondsValid),
                     number(made.lastsFromUse ? made.secondsValid : 0)});
    if (!added)
        return added.error();
    return std::monostate();
}

DatabaseResult<std::optional<Session>> sessionOfToken(DatabaseSession& session,
                                                      const std::string& token)
{
    // Finds whose it is.
    const auto found =
        session.runKept(QStringLiteral("select %1 from sessions join users on users.id = user_id "
                                       "where digest = ? and expires > ? and disabled = 0")
                            .arg(QLatin1String(kSessionColumns)),
                        {storedText(digestOf({token})), number(secondsNow())});
    if (!found)
        return found.error();
    std::optional<Session> valid;
    if (found.value()->next())
        valid = sessionIn(*found.value());
    found.value()->finish();
    return valid;
}

bool needsNote(const Session& used, std::int64_t now)
{
    const std::int64_t between =
        used.idleSeconds > 0 ? std::min(kSecondsBetweenNotes, used.idleSeconds / kNotesInTime)
                             : kSecondsBetweenNotes;
    return now - used.lastUsed >= between;
}

DatabaseResult<std::monostate>
noteUse(DatabaseSession& session, const Session& used, std::int64_t now)
{
    // One that a new sign-in has replaced does not come back to life, also where it was replaced by
    // another instance, whose clock is ahead of ours.
    const bool goesOn = used.idleSeconds > 0 && used.expires > now + 2 * kOverlapSeconds;
    const auto noted =
        session.run(QStringLiteral("update sessions set last_used = ?, expires = ? "
                                   "where user_id = ? and digest = ? and expires = ?"),
                    {number(now),
                     number(goesOn ? now + used.idleSeconds : used.expires),
                     number(used.user),
                     storedText(used.id),
                     number(used.expires)});
    if (!noted)
        return noted.error();
    return std::monostate();
}

DatabaseResult<std::vector<Session>> listSessions(DatabaseSession& session, std::int64_t user)
{
    auto found =
        session.run(QStringLiteral("select %1 from sessions where user_id = ? and expires > ? "
                                   "order by created_at desc, digest")
                        .arg(QLatin1String(kSessionColumns)),
                    {number(user), number(secondsNow())});
    if (!found)
        return found.error();
    std::vector<Session> sessions;
    while (found.value().next())
        sessions.push_back(sessionIn(found.value()));
    return sessions;
}

DatabaseResult<bool> endSession(DatabaseSession& session, std::int64_t user, const std::string& id)
{
    const auto ended =
        session.run(QStringLiteral("delete from sessions where user_id = ? and digest = ?"),
                    {number(user), storedText(id)});
    if (!ended)
        return ended.error();
    return ended.value().numRowsAffected() == 1;
}

DatabaseResult<std::int64_t> deleteExpired(DatabaseSession& session, std::int64_t now)
{
    std::int64_t deleted = 0;
    const std::vector<std::pair<QString, std::int64_t>> statements = {
        // all users
        {QStringLiteral("delete from sessions where expires <= ?"), now},
        {QStringLiteral("delete from failures where at <= ?"),
         (now - kFailureSeconds) * 1'000'000}};
    for (const auto& [statement, limit] : statements) {
        const auto done = session.run(statement, {number(limit)});
        if (!done)
            return done.error();
        deleted += done.value().numRowsAffected();
    }
    return deleted;
}

DatabaseResult<std::optional<std::int64_t>>
setPassword(DatabaseSession& session, const std::string& email, const std::string& passwordHash)
{
    return withUser(session, email, [&](std::int64_t user) -> DatabaseResult<std::int64_t> {
        const auto changed =
            session.run(QStringLiteral("update users set password_hash = ? where id = ?"),
                        {storedText(passwordHash), number(user)});
        if (!changed)
            return changed.error();
        return endTokens(session, user);
    });
}

DatabaseResult<std::optional<std::int64_t>>
removeUser(DatabaseSession& session,
           const std::string& email,
           const std::function<void(std::int64_t)>& progress)
{
    const auto marked =
        withUser(session, email, [&](std::int64_t user) -> DatabaseResult<std::int64_t> {
            // From here on nobody signs in or uploads, and the address may be used anew.
            const auto done = session.run(
                QStringLiteral("update users set removed = 1, email = '', email_key = ?, "
                               "name = '', phone_number = null, password_hash = '' where id = ?"),
                {QStringLiteral("removed %1").arg(user), number(user)});
            if (!done)
                return done.error();
            if (const auto ended = endTokens(session, user); !ended)
                return ended.error();
            return user;
        });
    if (!marked)
        return marked.error();
    const std::optional<std::int64_t>& user = marked.value();
    if (!user)
        return std::optional<std::int64_t>();
    std::int64_t rows = 0;
    for (;;) {
        const auto more = eraseSomeOf(session, *user, rows);
        if (!more)
            return more.error();
        if (!more.value())
            return std::optional(rows);
        if (progress)
            progress(rows);
    }
}

DatabaseResult<bool> eraseSome(DatabaseSession& session, std::int64_t& rows)
{
    auto found =
        session.run(QStringLiteral("select id from users where removed = 1 order by id limit 1"));
    if (!found)
        return found.error();
    if (!found.value().next())
        return false;
    const std::int64_t user = found.value().value(0).toLongLong();
    found.value().finish();
    if (const auto more = eraseSomeOf(session, user, rows); !more)
        return more.error();
    return true;
}

DatabaseResult<std::optional<std::int64_t>> revokeTokens(DatabaseSession& session,
                                                         const std::string& email)
{
    return withUser(session, email, [&](std::int64_t user) { return endTokens(session, user); });
}

DatabaseResult<std::vector<UserLine>> listUsers(DatabaseSession& session)
{
    auto found =
        session.run(QStringLiteral("select id, email, name, is_admin, disabled, created_at "
                                   "from users where removed = 0 order by id"));
    if (!found)
        return found.error();
    std::vector<UserLine> users;
    for (QSqlQuery& row = found.value(); row.next();)
        users.push_back({.id = row.value(0).toLongLong(),
                         .email = row.value(1).toString().toStdString(),
                         .name = row.value(2).toString().toStdString(),
                         .isAdmin = row.value(3).toLongLong() != 0,
                         .isDisabled = row.value(4).toLongLong() != 0,
                         .created = row.value(5).toLongLong() / 1'000'000});
    return users;
}

DatabaseResult<std::monostate>
addFailure(DatabaseSession& session, const std::string& account, const std::string& network)
{
    const auto added =
        session.run(QStringLiteral("insert into failures (account, network, at) values (?, ?, ?) "
                                   "on conflict do nothing"),
                    {storedText(account), storedText(network), number(microsecondsNow())});
    if (!added)
        return added.error();
    return std::monostate();
}

DatabaseResult<Failures>
failuresOf(DatabaseSession& session, const std::string& account, const std::string& network)
{
    auto found = session.run(
        QStringLiteral("select account, network, count(*), min(at) from failures "
                       "where (account = ? or network = ?) and at > ? group by account, network"),
        {storedText(account),
         storedText(network),
         number(microsecondsNow() - kFailureSeconds * 1'000'000)});
    if (!found)
        return found.error();
    Failures failures;
    for (QSqlQuery& row = found.value(); row.next();) {
        const bool ofAccount = row.value(0).toString() == storedText(account);
        const bool ofNetwork = row.value(1).toString() == storedText(network);
        const std::int64_t count = row.value(2).toLongLong();
        const std::int64_t oldest = row.value(3).toLongLong() / 1'000'000;
        failures.here += ofAccount && ofNetwork ? count : 0;
        failures.ofAccount += ofAccount ? count : 0;
        failures.ofNetwork += ofNetwork ? count : 0;
        failures.oldest = failures.oldest == 0 ? oldest : std::min(failures.oldest, oldest);
    }
    return failures;
}

DatabaseResult<std::monostate>
clearFailures(DatabaseSession& session, const std::string& account, const std::string& network)
{
    const auto cleared =
        session.run(QStringLiteral("delete from failures where account = ? and network = ?"),
                    {storedText(account), storedText(network)});
    if (!cleared)
        return cleared.error();
    return std::monostate();
}

DatabaseResult<Counts> countAll(DatabaseSession& session, std::int64_t now)
{
    Counts counts;

    struct Question
    {
        std::int64_t& count;
        QString statement;
        QVariantList values;
    };

    const Question questions[] = {
        {.count = counts.users,
         .statement = QStringLiteral("select count(*) from users where removed = 0"),
         .values = {}},
        {.count = counts.sessions, // all users
         .statement = QStringLiteral("select count(*) from sessions where expires > ?"),
         .values = {number(now)}},
        {.count = counts.devicesReporting, // all users
         .statement = QStringLiteral("select count(*) from devices where last_seen is not null and "
                                     "(? - last_seen) / 180 <= interval_minutes"),
         .values = {number(now + 179)}}, // rounded up; a product might be too great
        {.count = counts.devicesSilent,  // all users
         .statement = QStringLiteral("select count(*) from devices where last_seen is not null"),
         .values = {}},
        {.count = counts.daysWithoutPack, // all users
         .statement = QStringLiteral("select count(*) from days where pack is null"),
         .values = {}}};
    for (const Question& question : questions) {
        const auto found = countOf(session, question.statement, question.values);
        if (!found)
            return found.error();
        question.count = found.value();
    }
    counts.devicesSilent -= counts.devicesReporting;
    return counts;
}

} // namespace service
