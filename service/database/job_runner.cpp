// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/database/job_runner.h"

#include "service/database/database_text.h"

#include <QUuid>

#include <algorithm>
#include <utility>

namespace service {

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr std::int64_t kLeaseSeconds = 15;
constexpr std::chrono::seconds kBetweenLooks(2);
constexpr std::chrono::seconds kUntilOthersHaveTheirTurn(5);
constexpr std::int64_t kFirstPauseSeconds = 60; // after a failure; then twice as long each time
constexpr std::int64_t kMostDoublings = 6;

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

/// Takes the job until the lease ends; false when another one has it or it is not due. What lies
/// further ahead than it can was written by a clock that went wrong.
DatabaseResult<bool> take(DatabaseSession& session, const Job& job, const QString& by)
{
    const std::int64_t now = secondsNow();
    const auto taken =
        session.run(QStringLiteral("update jobs set taken_until = ?, taken_by = ? where name = ? "
                                   "and (due <= ? or due > ?) "
                                   "and (taken_until <= ? or taken_until > ?)"),
                    {number(now + kLeaseSeconds),
                     by,
                     storedText(job.name),
                     number(now),
                     number(now + job.period.count()),
                     number(now),
                     number(now + kLeaseSeconds)});
    if (!taken)
        return taken.error();
    return taken.value().numRowsAffected() == 1;
}

/// False when it took so long that another one has taken the job.
DatabaseResult<bool> extend(DatabaseSession& session, const Job& job, const QString& by)
{
    const auto extended = session.run(
        QStringLiteral("update jobs set taken_until = ? where name = ? and taken_by = ?"),
        {number(secondsNow() + kLeaseSeconds), storedText(job.name), by});
    if (!extended)
        return extended.error();
    return extended.value().numRowsAffected() == 1;
}

/// How a run ended.
struct End
{
    std::chrono::seconds pause; ///< until it is due again
    std::string result;
    /// One after the other, this one among them; 0 when the job was done, nothing when there is
    /// more to do.
    std::optional<std::int64_t> failures;
};

QVariant orNull(const std::optional<std::int64_t>& value)
{
    return value ? number(*value) : QVariant(QMetaType::fromType<qlonglong>());
}

/// Lets go of the job, if it has not been taken by another one.
DatabaseResult<std::monostate>
letGo(DatabaseSession& session, const Job& job, const QString& by, const End& end)
{
    const std::int64_t now = secondsNow();
    const auto done =
        session.run(QStringLiteral("update jobs set taken_until = 0, taken_by = '', due = ?, "
                                   "failures = coalesce(?, failures), "
                                   "finished = coalesce(?, finished), result = ? "
                                   "where name = ? and taken_by = ?"),
                    {number(now + end.pause.count()),
                     orNull(end.failures),
                     orNull(end.failures == 0 ? std::optional(now) : std::nullopt),
                     storedText(end.result),
                     storedText(job.name),
                     by});
    if (!done)
        return done.error();
    return std::monostate();
}

DatabaseResult<std::monostate>
noteFailure(DatabaseSession& session, const Job& job, const QString& by, const std::string& text)
{
    auto found = session.run(QStringLiteral("select failures from jobs where name = ?"),
                             {storedText(job.name)});
    if (!found)
        return found.error();
    const std::int64_t before = found.value().next() ? found.value().value(0).toLongLong() : 0;
    found.value().finish();
    const std::chrono::seconds pause(kFirstPauseSeconds << std::min(before, kMostDoublings));
    return letGo(session,
                 job,
                 by,
                 {.pause = std::min(pause, job.period), .result = text, .failures = before + 1});
}

/// A step of it, whatever it throws.
DatabaseResult<Job::Step> attempt(const Job& job, DatabaseSession& session)
{
    try {
        return job.step(session);
    } catch (...) { // its text may hold what was stored
        return DatabaseFailure{"ended by an exception"};
    }
}

} // namespace

DatabaseResult<std::vector<JobLine>> listJobs(DatabaseSession& session)
{
    auto found = session.run(
        QStringLiteral("select name, due, taken_until, finished, failures, result from jobs "
                       "order by name"));
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
                        .failures = row.value(4).toLongLong(),
                        .result = row.value(5).toString().toStdString()});
    return jobs;
}

JobRunner::JobRunner(DatabaseAddress address, std::vector<Job> jobs, Report report)
    : m_address(std::move(address))
    , m_jobs(std::move(jobs))
    , m_report(std::move(report))
    , m_name(QUuid::createUuid().toString(QUuid::WithoutBraces))
    , m_thread([this] { work(); })
{
}

JobRunner::~JobRunner()
{
    askToEnd();
    m_thread.join();
}

void JobRunner::askToEnd()
{
    {
        const std::lock_guard lock(m_mutex);
        m_ending = true;
    }
    m_wake.notify_all();
}

bool JobRunner::isEnding()
{
    const std::lock_guard lock(m_mutex);
    return m_ending;
}

void JobRunner::work()
{
    std::unique_ptr<DatabaseSession> session;
    while (!isEnding()) {
        try {
            look(session);
        } catch (...) { // without memory; the next look may have some
            session.reset();
        }
        rest(kBetweenLooks);
    }
}

/// Runs what is due. A database that is away is looked for again; requests say that it is.
void JobRunner::look(std::unique_ptr<DatabaseSession>& session)
{
    if (session == nullptr) {
        auto opened = DatabaseSession::open(m_address);
        if (!opened)
            return;
        session = std::move(opened).value();
        if (!noteJobs(*session, m_jobs)) {
            session.reset();
            return;
        }
    }
    if (!runDue(session))
        session.reset();
}

void JobRunner::rest(Clock::duration time)
{
    std::unique_lock lock(m_mutex);
    m_wake.wait_for(lock, time, [this] { return m_ending; });
}

DatabaseResult<std::monostate> JobRunner::runDue(std::unique_ptr<DatabaseSession>& session)
{
    for (const Job& job : m_jobs) {
        if (isEnding())
            break;
        const auto taken = take(*session, job, m_name);
        if (!taken)
            return taken.error();
        if (!taken.value())
            continue;
        if (const auto done = run(session, job); !done)
            return done.error();
    }
    return std::monostate();
}

DatabaseResult<bool> JobRunner::isAnotherDue(DatabaseSession& session, const Job& job) const
{
    const auto lines = listJobs(session);
    if (!lines)
        return lines.error();
    const std::int64_t now = secondsNow();
    return std::ranges::any_of(lines.value(), [&](const JobLine& line) {
        return line.name != job.name && line.due <= now && !line.isRunning &&
               std::ranges::find(m_jobs, line.name, &Job::name) != m_jobs.end();
    });
}

DatabaseResult<std::monostate> JobRunner::noteFailed(std::unique_ptr<DatabaseSession>& session,
                                                     const Job& job,
                                                     const std::string& text)
{
    // The failure has spoilt the session; what happened is to be noted all the same.
    auto opened = DatabaseSession::open(m_address);
    if (!opened)
        return DatabaseFailure{opened.error().text};
    session = std::move(opened).value();
    return noteFailure(*session, job, m_name, text);
}

DatabaseResult<std::monostate> JobRunner::run(std::unique_ptr<DatabaseSession>& session,
                                              const Job& job)
{
    const auto begun = Clock::now();
    for (;;) {
        const auto before = Clock::now();
        const auto step = attempt(job, *session);
        const auto took = Clock::now() - before;
        if (!step) {
            const auto noted = noteFailed(session, job, step.error().text);
            if (m_report)
                m_report("the job \"" + job.name + "\" failed: " + step.error().text);
            return noted;
        }
        const auto end = [&](std::chrono::seconds pause, std::optional<std::int64_t> failures) {
            return letGo(*session,
                         job,
                         m_name,
                         {.pause = pause, .result = step.value().result, .failures = failures});
        };
        if (!step.value().more)
            return end(std::min(step.value().again.value_or(job.period), job.period), 0);
        if (isEnding())
            return end(0s, std::nullopt);
        if (Clock::now() - begun > kUntilOthersHaveTheirTurn) {
            const auto another = isAnotherDue(*session, job);
            if (!another)
                return another.error();
            if (another.value())
                return end(0s, std::nullopt);
        }
        const auto extended = extend(*session, job, m_name);
        if (!extended)
            return extended.error();
        if (!extended.value())
            return std::monostate();
        // SQLite has one writer at a time: uploads have as much of it as the jobs.
        if (!session->isPostgreSql())
            rest(std::clamp<Clock::duration>(took, 20ms, 5s));
    }
}

} // namespace service
