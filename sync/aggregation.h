// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "activity/activity_list.h"
#include "activity/activity_log.h"

#include <functional>

namespace syncing {

/// A run: samples of one application, title and address that follow one another without a pause.
struct AggregatedLog
{
    /// The first sample of the run.
    activity::ActivityLog log;
    /// The durations of all its samples added up, in seconds.
    double duration = 0;

    bool operator==(const AggregatedLog&) const = default;
};

/// Hands the runs of `logs` to `take`, one after another and each for that call only, so that a
/// backlog never stands in memory twice. They come ordered by the time of their first samples;
/// samples of the same instant keep the order in which they are listed. One whose time is not a
/// number comes last and is a run of its own.
///
/// A sample continues the run before it when application, title and address are the same bytes
/// (an absent one equals only an absent one) and it begins at most 2.0 seconds after the run's end,
/// which is the run's first instant plus the durations so far. It may begin before that end.
///
/// Any thread, with a list that this thread may read. Constant time a sample when they are in
/// order, n log n in all otherwise.
void aggregate(const activity::ActivityList& logs,
               const std::function<void(const AggregatedLog&)>& take);

} // namespace syncing
