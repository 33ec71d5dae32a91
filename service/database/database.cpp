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

int longWritersOf(const DatabaseAddress& address)
{
    return address.kind == DatabaseAddress::Kind::Sqlite ? 1 : 2;
}

} // namespace

Database::Database(const DatabaseAddress& address, const std::optional<DatabaseAddress>& reports)
    : m_turnsUsed(address.kind == DatabaseAddress::Kind::Sqlite ? &m_turns : nullptr)
    , m_reading(address, DatabaseSession::Purpose::Reading, kReaders)
    , m_writing(address, DatabaseSession::Purpose::Writing, writersOf(address), m_turnsUsed)
    , m_longUploads(address, DatabaseSession::Purpose::Writing, longWritersOf(address))
    , m_counting(address, DatabaseSession::Purpose::Reading, 1)
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
    // How long it is shows here, before it has a place in a lane.
    std::vector<std::vector<UploadedActivity>> first(1, next());
    if (!first.front().empty())
        first.push_back(next());
    const bool isLong = !first.back().empty() && first.size() > 1;
    auto taken = first.begin();
    const NextRows rows = [&] {
        return taken != first.end() ? std::move(*taken++) : next();
    };
    auto stored = isLong ? m_longUploads.run([&](DatabaseSession& session) {
        return storeUpload(session, user, head, rows, m_turnsUsed);
    })
                         : m_writing.run([&](DatabaseSession& session) {
                               return storeUpload(session, user, head, rows);
                           });
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

Database::Figures Database::figures() const
{
    return {.reading = m_reading.figures(),
            .writing = m_writing.figures(),
            .longUploads = m_longUploads.figures(),
            .counting = m_counting.figures(),
            .reports = m_reports.figures(),
            .rowsStored = m_rowsStored};
}

} // namespace service
