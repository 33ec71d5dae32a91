// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "activity/activity_list.h"
#include "views/models/aggregated_item.h"
#include "views/models/time_range.h"

#include <QTimeZone>

#include <vector>

namespace views {

// Both look at the records of `range`; today is the calendar day in `zone` on which `now` (seconds
// since 2001-01-01T00:00:00Z) falls, from its beginning to its end. Each gives at most five items,
// the largest sum of durations first, of equal ones the one that was there first. Sums are taken in
// the order of the list. Time linear in the length of the list. Any thread.

/// The applications, told apart by their exact names; the empty one counts, too.
[[nodiscard]] std::vector<AggregatedItem>
topApps(const activity::ActivityList& list, TimeRange range, double now, const QTimeZone& zone);

/// The web sites, as platform::urlHostKey() tells them apart. Records without an address, or with
/// an empty one, do not count.
[[nodiscard]] std::vector<AggregatedItem>
topWebsites(const activity::ActivityList& list, TimeRange range, double now, const QTimeZone& zone);

} // namespace views
