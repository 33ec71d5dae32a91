// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/database/job_runner.h"

#include "service/database/database_text.h"

#include <utility>

namespace service {

namespace {

constexpr std::int64_t kLeaseSeconds = 15;
constexpr std::chrono::seconds kBetweenLooks(2);

/// Notes the jobs that the table does not have yet; they are due at once.
DatabaseResult<std::monostate> noteJobs(DatabaseSession& session, const std::vector<Job>& jobs)
{
    for (const Job& job : jobs) {
        const auto noted = session.run(
            QStringLiteral("insert into jobs (name, due) values (?, 0) on conflict do nothing"),
            {storedText(job.name)});
        if (!noted)
            return noted.error();
    }
    return std::monostate();
}

/// Takes the job until the lease ends; false when another one has it or it is not due.
DatabaseResult<bool> take(DatabaseSession& session, const Job& job)
{
    const std::int64_t now = secondsNow();
    const auto taken =
        session.run(QStringLiteral("update jobs set taken_until = ? where name = ? "
                                   "and due <= ? and taken_until <= ?"),
                    {number(now + kLeaseSeconds), storedText(job.name), number(now), number(now)});
    if (!taken)
        return taken.error();
    return taken.value().numRowsAffected() == 1;
}

DatabaseResult<std::monostate> extend(DatabaseSession& session, const Job& job)
{
    const auto extended =
        session.run(QStringLiteral("update jobs set taken_until = ? where name = ?"),
                    {number(secondsNow() + kLeaseSeconds), storedText(job.name)});
    if (!extended)
        return extended.error();
    return std::monostate();
}

/// Lets go of it, with what is to be known of the run; due again after `pause`.
DatabaseResult<std::monostate> letGo(DatabaseSession& session,
                                     const Job& job,
                                     std::chrono::seconds pause,
                                     const std::string& result)
{
    const std::int64_t now = secondsNow();
    const auto done = session.run(
        QStringLiteral("update jobs set taken_until = 0, due = ?, finished = ?, result = ? "
                       "where name = ?"),
        {number(now + pause.count()), number(now), storedText(result), storedText(job.name)});
    if (!done)
        return done.error();
    return std::monostate();
}

} // namespace

DatabaseResult<std::vector<JobLine>> listJobs(DatabaseSession& session)
{
    auto found = session.run(
        QStringLiteral("select name, due, taken_until, finished, result from jobs order by name"));
    if (!found)
        return found.error();
    std::vector<JobLine> jobs;
    const std::int64_t now = secondsNow();
    for (QSqlQuery& row = found.value(); row.next();)
        jobs.push_back({.name = row.value(0).toString().toStdString(),
                        .due = row.value(1).toLongLong(),
                        .isRunning = row.value(2).toLongLong() > now,
                        .finished = row.isNull(3)
                                        ? std::nullopt
                                        : std::optional<std::int64_t>(row.value(3).toLongLong()),
                        .result = row.value(4).toString().toStdString()});
    return jobs;
}

JobRunner::JobRunner(DatabaseAddress address, std::vector<Job> jobs)
    : m_address(std::move(address))
    , m_jobs(std::move(jobs))
    , m_thread([this] { work(); })
{
}

JobRunner::~JobRunner()
{
    {
        const std::lock_guard lock(m_mutex);
        m_ending = true;
    }
    m_wake.notify_all();
    m_thread.join();
}

bool JobRunner::isEnding()
{
    const std::lock_guard lock(m_mutex);
    return m_ending;
}

void JobRunner::work()
{
    std::unique_ptr<DatabaseSession> session;
    std::unique_lock lock(m_mutex);
    while (!m_ending) {
        lock.unlock();
        if (session == nullptr) {
            if (auto opened = DatabaseSession::open(m_address)) {
                session = std::move(opened).value();
                if (!noteJobs(*session, m_jobs))
                    session.reset();
            }
        }
        // A database that is away is looked for again; requests say that it is.
        if (session != nullptr && !runDue(*session))
            session.reset();
        lock.lock();
        m_wake.wait_for(lock, kBetweenLooks, [this] { return m_ending; });
    }
}

DatabaseResult<std::monostate> JobRunner::runDue(DatabaseSession& session)
{
    for (const Job& job : m_jobs) {
        if (isEnding())
            break;
        const auto taken = take(session, job);
        if (!taken)
            return taken.error();
        if (!taken.value())
            continue;
        if (const auto done = run(session, job); !done)
            return done.error();
    }
    return std::monostate();
}

DatabaseResult<std::monostate> JobRunner::run(DatabaseSession& session, const Job& job)
{
    for (;;) {
        const auto step = job.step(session);
        if (!step) // a lock that did not come, say: the next run goes on where this one was
            return letGo(session, job, kBetweenLooks, step.error().text);
        if (!step.value().more)
            return letGo(session, job, job.period, step.value().result);
        if (isEnding())
            return letGo(session, job, std::chrono::seconds(0), step.value().result);
        if (const auto extended = extend(session, job); !extended)
            return extended.error();
    }
}

} // namespace service
