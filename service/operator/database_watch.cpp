// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/operator/database_watch.h"

#include "service/database/database_text.h"
#include "service/database/schema.h"

#include <utility>

namespace service {

namespace {

constexpr std::chrono::seconds kBetweenLooks(5);
constexpr std::chrono::seconds kLate(5);
constexpr std::chrono::seconds kPatienceForTheFirst(2);

DatabaseResult<StoredFigures> readStored(DatabaseSession& session)
{
    const std::int64_t now = secondsNow();
    auto counts = countAll(session, now);
    if (!counts)
        return counts.error();
    auto jobs = listJobs(session);
    if (!jobs)
        return jobs.error();
    return StoredFigures{.counts = counts.value(), .jobs = std::move(jobs).value(), .read = now};
}

} // namespace

DatabaseWatch::DatabaseWatch(Database& database)
    : m_database(database)
    , m_mainThread([this](const std::stop_token& stop) {
        work(stop, m_main, [this] {
            const auto current = m_database.read(hasCurrentSchema);
            return current && current.value();
        });
    })
    , m_reportsThread([this](const std::stop_token& stop) {
        work(stop, m_reports, [this] { return lookAtReports(); });
    })
{
}

DatabaseWatch::~DatabaseWatch()
{
    // Both, before one of them is waited for.
    m_mainThread.request_stop();
    m_reportsThread.request_stop();
}

DatabaseWatch::Seen DatabaseWatch::seen()
{
    std::unique_lock lock(m_mutex);
    m_changed.wait_for(
        lock, kPatienceForTheFirst, [this] { return m_main.hasEnded && m_reports.hasEnded; });
    return {.isUp = answers(m_main), .canReport = answers(m_reports), .stored = m_stored};
}

bool DatabaseWatch::lookAtReports()
{
    auto read = m_database.report(readStored);
    if (!read)
        return false;
    const std::lock_guard lock(m_mutex);
    m_stored = std::move(read).value();
    return true;
}

/// Looks until it is told to stop.
void DatabaseWatch::work(const std::stop_token& stop, Look& look, const std::function<bool()>& ask)
{
    std::unique_lock lock(m_mutex);
    while (!stop.stop_requested()) {
        look.begun = Clock::now();
        lock.unlock();
        bool succeeded = false;
        try {
            succeeded = ask();
        } catch (...) { // without memory; the next look may have some
            succeeded = false;
        }
        lock.lock();
        look = {.hasEnded = true, .succeeded = succeeded, .begun = std::nullopt};
        m_changed.notify_all();
        m_changed.wait_for(lock, stop, kBetweenLooks, [] { return false; });
    }
}

bool DatabaseWatch::answers(const Look& look)
{
    return look.succeeded && (!look.begun || Clock::now() - *look.begun < kLate);
}

} // namespace service
