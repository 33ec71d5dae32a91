// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "activity/activity_list.h"
#include "views/models/duration_totals.h"
#include "views/models/local_day.h"

#include <QString>
#include <QTimeZone>

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace views {

/// Which records the dashboard looks at.
enum class TimeRange : std::uint8_t {
    Today,
    AllTime,
};

/// All of them, in the order in which they are offered.
inline constexpr std::array kTimeRanges{TimeRange::Today, TimeRange::AllTime};

/// Its name for users, which also identifies it: "Today", "All Time".
[[nodiscard]] QString rawValue(TimeRange range);

/// What was spent on applications and web sites. Remembers where it was: of a list that has only
/// grown it looks at what is new. Holds on to the records meanwhile.
/// One thread at a time.
class ActivityTotals final
{
public:
    ActivityTotals() = default;
    ActivityTotals(const ActivityTotals&) = delete;
    ActivityTotals& operator=(const ActivityTotals&) = delete;
    ~ActivityTotals() = default;

    /// Goes on to the records of `range` in `list`; today is the calendar day in `zone` on which
    /// `now` (seconds since 2001-01-01T00:00:00Z) falls, from its beginning to its end. Time linear
    /// in how many records are new, or in all of them when the list, the range, the day or the zone
    /// is another one than before.
    void
    update(const activity::ActivityList& list, TimeRange range, double now, const QTimeZone& zone);

    /// Whether `now` in `zone` is on the day of the last update, and in its zone.
    [[nodiscard]] bool isOfTheDay(double now, const QTimeZone& zone) const;

    /// Lets go of everything.
    void clear() { m_sums.reset(); }

    // Each gives at most five items, the largest sum of durations first, of equal ones the one that
    // was there first. Sums are taken in the order of the list.

    /// The applications, told apart by their exact names; the empty one counts, too.
    [[nodiscard]] std::vector<AggregatedItem> topApps() const;

    /// The web sites, as platform::urlHostKey() tells them apart. Records without an address, or
    /// with an empty one, do not count.
    [[nodiscard]] std::vector<AggregatedItem> topWebsites() const;

private:
    struct Sums
    {
        Sums(TimeRange ofRange, double now, const QTimeZone& ofZone);

        void add(const activity::ActivityLog& log);

        TimeRange range;
        QTimeZone zone;
        LocalDay day;
        activity::ActivityList list; // what has been added; its texts are referred to
        DurationTotals apps;
        DurationTotals websites;
    };

    std::optional<Sums> m_sums;
};

} // namespace views
