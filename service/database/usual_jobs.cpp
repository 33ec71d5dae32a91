// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/database/usual_jobs.h"

#include "service/database/accounts.h"
#include "service/database/database_text.h"
#include "service/database/days.h"
#include "service/database/old_rows.h"
#include "service/database/partitions.h"
#include "service/history/run.h"

#include <memory>
#include <set>
#include <string>

namespace service {

namespace {

using std::chrono::hours;
using std::chrono::minutes;

DatabaseResult<Job::Step> makeComingMonths(DatabaseSession& session)
{
    const int month = monthOf(secondsNow());
    const auto made = makePartitions(session, {month - 1, month, month + 1, month + 2});
    if (!made)
        return made.error();
    return Job::Step{.more = false, .result = "the coming months are there"};
}

Job moveJob()
{
    const auto pace = std::make_shared<OldRowsPace>();
    return {.name = "move",
            .period = hours(24),
            .step = [pace](DatabaseSession& session) -> DatabaseResult<Job::Step> {
                const auto more = moveOldRows(session, *pace);
                if (!more)
                    return more.error();
                return Job::Step{.more = more.value(),
                                 .result = more.value() ? "rows of schema 2 are being moved"
                                                        : "all moved"};
            }};
}

DatabaseResult<Job::Step> eraseUsers(DatabaseSession& session)
{
    std::int64_t rows = 0;
    const auto more = eraseSome(session, rows);
    if (!more)
        return more.error();
    return Job::Step{.more = more.value(), .result = "nothing is left of removed users"};
}

DatabaseResult<Job::Step> endSessions(DatabaseSession& session)
{
    const auto deleted = deleteExpired(session, secondsNow());
    if (!deleted)
        return deleted.error();
    return Job::Step{.more = false, .result = "deleted " + std::to_string(deleted.value())};
}

DatabaseResult<Job::Step> packDays(DatabaseSession& session)
{
    const auto more = packSomeDays(session, secondsNow());
    if (!more)
        return more.error();
    return Job::Step{.more = more.value(), .result = "all days before today have a pack"};
}

Job pruneJob(const Retention& retention)
{
    const auto pruning = std::make_shared<Pruning>();
    return {.name = "prune",
            .period = hours(24),
            .step = [retention, pruning](DatabaseSession& session) -> DatabaseResult<Job::Step> {
                const auto old = hasOldTable(session);
                if (!old)
                    return old.error();
                if (old.value())
                    return Job::Step{.more = false,
                                     .result = "waits until the rows of schema 2 have been moved",
                                     .again = minutes(10)};
                const auto more = pruneSome(session, retention, secondsNow(), *pruning);
                if (!more)
                    return more.error();
                const Pruned& done = pruning->done;
                Job::Step step{.more = more.value(),
                               .result = "deleted " + std::to_string(done.runs) + " rows, " +
                                         std::to_string(done.days) + " days, " +
                                         std::to_string(done.partitions) + " months"};
                if (!step.more)
                    *pruning = {};
                return step;
            }};
}

} // namespace

std::vector<Job> usualJobs(const Retention& retention)
{
    std::vector<Job> jobs = {
        {.name = "partitions", .period = hours(24), .step = makeComingMonths},
        moveJob(),
        {.name = "erase", .period = minutes(10), .step = eraseUsers},
        {.name = "sessions", .period = hours(1), .step = endSessions},
    };
    if (retention.keepRunsDays || retention.keepDaysDays)
        jobs.push_back(pruneJob(retention));
    jobs.push_back({.name = "pack", .period = minutes(30), .step = packDays});
    return jobs;
}

} // namespace service
