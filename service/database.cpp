// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/database.h"

#include <exception>

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

DatabaseResult<std::int64_t>
Database::store(std::int64_t user, const UploadHead& head, const NextRows& next)
{
    std::exception_ptr thrown;
    auto stored = m_writing.run([&](DatabaseSession& session) -> DatabaseResult<std::int64_t> {
        return session.inTransaction([&]() -> DatabaseResult<std::int64_t> {
            try {
                return storeUpload(session, user, head, next);
            } catch (...) {
                // It belongs to the one who asks, not to the thread of the lane.
                thrown = std::current_exception();
                return DatabaseFailure{"an upload could not be read"};
            }
        });
    });
    if (thrown)
        std::rethrow_exception(thrown);
    return stored;
}

} // namespace service
