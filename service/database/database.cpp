// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/database/database.h"

namespace service {

namespace {

constexpr int kReaders = 2;

// SQLite has one writer at a time; waiting in our own queue is fair and knows no time limit.
int writersOf(const DatabaseAddress& address)
{
    return address.kind == DatabaseAddress::Kind::Sqlite ? 1 : 4;
}

} // namespace

Database::Database(const DatabaseAddress& address)
    : m_reading(address, kReaders)
    , m_writing(address, writersOf(address))
{
}

DatabaseResult<std::optional<User>> Database::findUser(const std::string& email)
{
    return m_reading.run(
        [&](DatabaseSession& session) { return service::findUser(session, email); });
}

DatabaseResult<std::optional<std::int64_t>> Database::userOfToken(const std::string& token)
{
    return m_reading.run(
        [&](DatabaseSession& session) { return service::userOfToken(session, token); });
}

DatabaseResult<bool>
Database::addToken(const User& user, const std::string& token, const SignInRequest& request)
{
    return m_writing.run(
        [&](DatabaseSession& session) { return service::addToken(session, user, token, request); });
}

DatabaseResult<std::monostate> Database::store(std::int64_t user, const Upload& upload)
{
    const std::vector<StoredActivity> rows = rowsToStore(upload);
    return m_writing.run(
        [&](DatabaseSession& session) { return storeRows(session, user, upload.deviceId, rows); });
}

} // namespace service
