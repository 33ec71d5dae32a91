// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "sync/aggregation.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <ranges>
#include <vector>

namespace syncing {

namespace {

using activity::ActivityList;
using activity::ActivityLog;

constexpr double kLongestGap = 2.0;

/// The run being gathered. Refers to its first sample: copying one has its price, and most samples
/// begin no run.
class OpenRun final
{
public:
    explicit OpenRun(const ActivityLog& first)
        : m_first(&first)
        , m_duration(first.duration)
    {
    }

    /// Adds `log` if it continues the run.
    [[nodiscard]] bool take(const ActivityLog& log)
    {
        const double gap = log.timestamp - (m_first->timestamp + m_duration);
        const bool continues = log.appName == m_first->appName &&
                               log.windowTitle == m_first->windowTitle && log.url == m_first->url &&
                               gap <= kLongestGap; // not-a-number is not
        if (continues)
            m_duration += log.duration;
        return continues;
    }

    [[nodiscard]] AggregatedLog closed() const { return {.log = *m_first, .duration = m_duration}; }

private:
    const ActivityLog* m_first;
    double m_duration;
};

using RunSink = std::function<void(const AggregatedLog&)>;

/// Hands on the runs of `logs`, which must be in order and not empty.
void runs(const std::ranges::input_range auto& logs, const RunSink& take)
{
    auto next = std::ranges::begin(logs);
    OpenRun open(*next);
    for (++next; next != std::ranges::end(logs); ++next) {
        const ActivityLog& log = *next;
        if (open.take(log))
            continue;
        take(open.closed());
        open = OpenRun(log);
    }
    take(open.closed());
}

/// A total order: numbers first, by size, and all that are none alike behind them.
bool isEarlier(double a, double b)
{
    return a < b || (std::isnan(b) && !std::isnan(a));
}

/// What sorting needs to know of a sample, so that it need not look at the sample to compare.
struct Position
{
    double timestamp;
    std::size_t index;
};

std::vector<Position> sorted(const ActivityList& logs)
{
    std::vector<Position> positions;
    positions.reserve(logs.size());
    for (const ActivityLog& log : logs)
        positions.push_back({.timestamp = log.timestamp, .index = positions.size()});
    std::ranges::sort(positions, [](const Position& one, const Position& other) {
        if (isEarlier(one.timestamp, other.timestamp))
            return true;
        return !isEarlier(other.timestamp, one.timestamp) && one.index < other.index;
    });
    return positions;
}

} // namespace

void aggregate(const ActivityList& logs, const RunSink& take)
{
    if (logs.empty())
        return;
    if (std::ranges::is_sorted(logs, isEarlier, &ActivityLog::timestamp)) {
        runs(logs, take);
        return;
    }
    const std::vector<Position> positions = sorted(logs);
    const auto toLog = [&logs](const Position& position) -> const ActivityLog& {
        return logs[position.index];
    };
    runs(positions | std::views::transform(toLog), take);
}

} // namespace syncing
