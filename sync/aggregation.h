// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "activity/activity_list.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace syncing {

/// A run: samples of one application, title and address that follow one another without a pause.
///
/// Runs come ordered by the time of their first samples; samples of the same instant keep the order
/// in which they are listed. One whose time is not a number comes last and is a run of its own.
///
/// A sample continues the run before it when application, title and address are the same bytes
/// (an absent one equals only an absent one) and it begins at most 2.0 seconds after the run's end,
/// which is the run's first instant plus the durations so far. It may begin before that end.
struct AggregatedLog
{
    /// The first sample of the run.
    activity::ActivityLog log;
    /// The durations of all its samples added up, in seconds.
    double duration = 0;

    bool operator==(const AggregatedLog&) const = default;
};

/// A run that is being gathered. Refers to its first sample, which must live as long: copying one
/// has its price, and most samples begin no run.
class OpenRun final
{
public:
    explicit OpenRun(const activity::ActivityLog& first)
        : m_first(&first)
        , m_duration(first.duration)
    {
    }

    /// Adds `log` if it continues the run.
    [[nodiscard]] bool take(const activity::ActivityLog& log);

    [[nodiscard]] AggregatedLog closed() const { return {.log = *m_first, .duration = m_duration}; }

private:
    const activity::ActivityLog* m_first;
    double m_duration;
};

/// The positions of a list's samples by time.
using Order = std::vector<std::uint32_t>;
/// None for a list that is in order as it is.
using SharedOrder = std::shared_ptr<const Order>;

/// The order of all of `logs`. Constant time a sample when they are in order, n log n in all
/// otherwise. Any thread.
[[nodiscard]] SharedOrder orderOf(const activity::ActivityList& logs);

/// Whether the samples of `logs` from the position `first` on are in order and none of them comes
/// before that at `last`.
[[nodiscard]] bool
isInOrder(const activity::ActivityList& logs, std::size_t last, std::size_t first);

/// Gives out the runs of a list one after another, so that a backlog never stands in memory twice.
/// One thread at a time, with a list that this thread may read.
class RunReader final
{
public:
    /// `order` is that of `logs`.
    RunReader(activity::ActivityList logs, SharedOrder order);

    /// The next run; none after the last.
    [[nodiscard]] std::optional<AggregatedLog> next();

private:
    [[nodiscard]] const activity::ActivityLog& at(std::size_t position) const;

    activity::ActivityList m_logs;
    SharedOrder m_order;
    std::size_t m_next = 0;
};

} // namespace syncing
