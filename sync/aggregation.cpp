// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "sync/aggregation.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <ranges>
#include <utility>
#include <vector>

namespace syncing {

namespace {

using activity::ActivityList;
using activity::ActivityLog;

constexpr double kLongestGap = 2.0;

/// A total order: numbers first, by size, and all that are none alike behind them.
bool isEarlier(double a, double b)
{
    return a < b || (std::isnan(b) && !std::isnan(a));
}

/// What sorting needs to know of a sample, so that it need not look at the sample to compare.
struct Position
{
    double timestamp;
    std::uint32_t index;
};

} // namespace

bool OpenRun::take(const ActivityLog& log)
{
    const double gap = log.timestamp - (m_first->timestamp + m_duration);
    const bool continues = log.appName == m_first->appName &&
                           log.windowTitle == m_first->windowTitle && log.url == m_first->url &&
                           gap <= kLongestGap; // not-a-number is not
    if (continues)
        m_duration += log.duration;
    return continues;
}

SharedOrder orderOf(const ActivityList& logs)
{
    if (std::ranges::is_sorted(logs, isEarlier, &ActivityLog::timestamp))
        return nullptr;
    std::vector<Position> positions;
    positions.reserve(logs.size());
    for (const ActivityLog& log : logs)
        positions.push_back(
            {.timestamp = log.timestamp, .index = static_cast<std::uint32_t>(positions.size())});
    std::ranges::sort(positions, [](const Position& one, const Position& other) {
        if (isEarlier(one.timestamp, other.timestamp))
            return true;
        return !isEarlier(other.timestamp, one.timestamp) && one.index < other.index;
    });
    const auto indexes = positions | std::views::transform(&Position::index);
    return std::make_shared<const Order>(indexes.begin(), indexes.end());
}

bool isInOrder(const ActivityList& logs, std::size_t last, std::size_t first)
{
    double before = logs[last].timestamp;
    for (std::size_t i = first; i < logs.size(); ++i) {
        if (isEarlier(logs[i].timestamp, before))
            return false;
        before = logs[i].timestamp;
    }
    return true;
}

RunReader::RunReader(ActivityList logs, SharedOrder order)
    : m_logs(std::move(logs))
    , m_order(std::move(order))
{
}

std::optional<AggregatedLog> RunReader::next()
{
    if (m_next == m_logs.size())
        return std::nullopt;
    OpenRun run(at(m_next++));
    while (m_next < m_logs.size() && run.take(at(m_next)))
        ++m_next;
    return run.closed();
}

const ActivityLog& RunReader::at(std::size_t position) const
{
    return m_logs[m_order != nullptr ? (*m_order)[position] : position];
}

} // namespace syncing
