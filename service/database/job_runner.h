// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/database/database_address.h"
#include "service/database/database_session.h"

#include <QString>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace service {

/// Work that comes up again and again, a step at a time.
struct Job
{
    /// How one step ended.
    struct Step
    {
        bool more = false;  ///< whether the next step may follow at once
        std::string result; ///< of all steps so far, for the operator; no personal data
        std::optional<std::chrono::seconds> again =
            std::nullopt; ///< at the end, instead of the period
    };

    std::string name;
    std::chrono::seconds period; ///< from the end of one run to the begin of the next
    std::function<DatabaseResult<Step>(DatabaseSession&)> step;
};

/// A job as the table has it. Seconds since 1970.
struct JobLine
{
    std::string name;
    std::int64_t due = 0;
    bool isRunning = false;
    std::optional<std::int64_t> finished; ///< when it was done, whatever has failed since
    std::int64_t failures = 0;            ///< one after the other, since it was done
    std::string result;                   ///< of the last run, or what kept it from being done
};

[[nodiscard]] DatabaseResult<std::vector<JobLine>> listJobs(DatabaseSession& session);

/// Runs jobs on a thread of its own when they are due. Each is taken by one instance at a time,
/// for a quarter of a minute that each step begins anew: what a killed instance has left is taken
/// up after that. When it is due and how it ended is in the table "jobs". One that fails, also by
/// an exception, is due again after a minute, and after twice as long each time. One that goes on
/// for long lets others have their turn. In SQLite as much time as a step took passes before the
/// next. Its destructor waits for the step in hand, which in PostgreSQL may take any time.
class JobRunner final
{
public:
    /// Gets a text for the operator each time that a job has failed. On the runner's thread.
    using Report = std::function<void(const std::string&)>;

    JobRunner(DatabaseAddress address, std::vector<Job> jobs, Report report = {});
    JobRunner(const JobRunner&) = delete;
    JobRunner& operator=(const JobRunner&) = delete;
    ~JobRunner();

    /// Begins no further step. Any thread; does not wait.
    void askToEnd();

private:
    void work();
    void look(std::unique_ptr<DatabaseSession>& session);
    void rest(std::chrono::steady_clock::duration time);
    // They open another session when what a job did has spoilt this one.
    [[nodiscard]] DatabaseResult<std::monostate> runDue(std::unique_ptr<DatabaseSession>& session);
    [[nodiscard]] DatabaseResult<std::monostate> run(std::unique_ptr<DatabaseSession>& session,
                                                     const Job& job);
    [[nodiscard]] DatabaseResult<std::monostate>
    noteFailed(std::unique_ptr<DatabaseSession>& session, const Job& job, const std::string& text);
    [[nodiscard]] DatabaseResult<bool> isAnotherDue(DatabaseSession& session, const Job& job) const;
    [[nodiscard]] bool isEnding();

    DatabaseAddress m_address;
    std::vector<Job> m_jobs;
    Report m_report;
    QString m_name; ///< whose the jobs are that it has taken
    std::mutex m_mutex;
    std::condition_variable m_wake;
    bool m_ending = false;
    std::thread m_thread; // the last one, so that the rest is there when it begins
};

} // namespace service
