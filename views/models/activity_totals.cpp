// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "views/models/activity_totals.h"

#include "platform/url_components.h"
#include "views/models/duration_totals.h"
#include "views/models/local_day.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace views {

namespace {

using activity::ActivityList;
using activity::ActivityLog;

constexpr std::size_t kItems = 5;

/// Gives each record of `list` that `range` takes in to `take`, in order.
template <typename Take>
void forEachIn(
    const ActivityList& list, TimeRange range, double now, const QTimeZone& zone, const Take& take)
{
    if (range == TimeRange::AllTime) {
        for (const ActivityLog& log : list)
            take(log);
        return;
    }
    const LocalDay today(now, zone);
    for (const ActivityLog& log : list) {
        if (today.contains(log.timestamp))
            take(log);
    }
}

std::string asItIs(std::string_view text)
{
    return std::string(text);
}

} // namespace

std::vector<AggregatedItem>
topApps(const ActivityList& list, TimeRange range, double now, const QTimeZone& zone)
{
    DurationTotals totals(asItIs);
    forEachIn(list, range, now, zone, [&totals](const ActivityLog& log) {
        totals.add(log.appName, log.duration);
    });
    return totals.largest(kItems);
}

std::vector<AggregatedItem>
topWebsites(const ActivityList& list, TimeRange range, double now, const QTimeZone& zone)
{
    DurationTotals totals(platform::urlHostKey);
    forEachIn(list, range, now, zone, [&totals](const ActivityLog& log) {
        if (log.url && log.url->identity() != nullptr) // the empty text has none
            totals.add(*log.url, log.duration);
    });
    return totals.largest(kItems);
}

} // namespace views
