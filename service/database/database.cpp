// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/database/database.h"

#include "service/database/activity_rows.h"
#include "service/database/database_text.h"
#include "service/database/old_rows.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace service {

namespace {

constexpr int kReaders = 2;
constexpr int kReporters = 2;
// Packs that are written back at once: uploads wait for these, but not for a year of them.
constexpr std::ptrdiff_t kDaysOfATransaction = 30;

// SQLite has one writer at a time; waiting in our own queue is fair and knows no time limit.
int writersOf(const DatabaseAddress& address)
{
    return address.kind == DatabaseAddress::Kind::Sqlite ? 1 : 4;
}

} // namespace

Database::Database(const DatabaseAddress& address, const std::optional<DatabaseAddress>& reports)
    : m_reading(address, DatabaseSession::Purpose::Reading, kReaders)
    , m_writing(address, DatabaseSession::Purpose::Writing, writersOf(address))
    , m_reports(reports.value_or(address), DatabaseSession::Purpose::Reports, kReporters)
{
}

DatabaseResult<std::optional<Session>> Database::sessionOfToken(const std::string& token)
{
    auto found = m_reading.run(
        [&](DatabaseSession& session) { return service::sessionOfToken(session, token); });
    if (!found)
        return found;
    const std::optional<Session>& used = found.value();
    const std::int64_t now = secondsNow();
    if (used && needsNote(*used, now))
        m_writing.post([used = *used, now](DatabaseSession& session) {
            return static_cast<bool>(noteUse(session, used, now));
        });
    return found;
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
    auto stored = m_writing.run(
        [&](DatabaseSession& session) { return storeUpload(session, user, head, next); });
    if (stored)
        m_rowsStored += static_cast<std::uint64_t>(stored.value());
    return stored;
}

DatabaseResult<std::vector<PackedDay>> Database::days(std::int64_t user, const DayRange& range)
{
    std::vector<PackToKeep> toKeep;
    bool hasOldRows = false;
    auto read =
        m_reports.run([&](DatabaseSession& session) -> DatabaseResult<std::vector<PackedDay>> {
            toKeep.clear();
            const auto waits = hasOldRowsToAskFor(session, user);
            if (!waits)
                return waits.error();
            hasOldRows = waits.value();
            return readDays(session, user, range, toKeep);
        });
    if (!read)
        return read;
    if (hasOldRows)
        m_writing.post([user](DatabaseSession& session) {
            return static_cast<bool>(askForOldRows(session, user));
        });
    for (auto next = toKeep.begin(); next != toKeep.end();) {
        const auto end = next + std::min(kDaysOfATransaction, toKeep.end() - next);
        std::vector<PackToKeep> packs(std::make_move_iterator(next), std::make_move_iterator(end));
        m_writing.post([packs = std::move(packs)](DatabaseSession& session) {
            return static_cast<bool>(keepPacks(session, packs));
        });
        next = end;
    }
    return read;
}

Database::Waiting Database::waiting() const
{
    return {.reading = m_reading.waiting(),
            .writing = m_writing.waiting(),
            .reports = m_reports.waiting()};
}

Database::Figures Database::figures() const
{
    return {.reading = m_reading.figures(),
            .writing = m_writing.figures(),
            .reports = m_reports.figures(),
            .rowsStored = m_rowsStored};
}

} // namespace service
