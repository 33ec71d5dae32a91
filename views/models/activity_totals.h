// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "activity/activity_list.h"
#include "activity/shared_text.h"

#include <QString>
#include <QTimeZone>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace views {

/// What was spent on one application or site.
struct AggregatedItem
{
    /// Tells the items of one list apart.
    QString name;
    /// In seconds.
    double duration = 0;

    bool operator==(const AggregatedItem&) const = default;
};

/// Adds up durations by what a text stands for. Texts that share a buffer are told by that, so
/// each distinct one is looked at once; what is added meanwhile costs no memory.
/// The texts must live as long as this does. One thread at a time.
class DurationTotals final
{
public:
    /// What a text stands for; equal results are one group.
    using Name = std::string (*)(std::string_view text);

    explicit DurationTotals(Name name);

    /// Adds `duration` to the group of `text`, a new one starting from 0.
    void add(const activity::SharedText& text, double duration)
    {
        // Odd where there is a buffer or none, so that no key is 0.
        const std::uintptr_t key = reinterpret_cast<std::uintptr_t>(text.identity()) + 1;
        if (key != m_lastKey) {
            m_lastGroup = groupOf(key, text);
            m_lastKey = key;
        }
        m_sums[m_lastGroup] += duration;
    }

    /// The `count` largest groups, or all if there are fewer, the largest first; of equal ones the
    /// one that was there first. A sum that is no number counts as smallest.
    [[nodiscard]] std::vector<AggregatedItem> largest(std::size_t count) const;

private:
    using Group = std::uint32_t;

    struct Slot
    {
        std::uintptr_t key; // 0: free
        Group group;
    };

    [[nodiscard]] Group groupOf(std::uintptr_t key, const activity::SharedText& text);
    [[nodiscard]] Slot& slotOf(std::uintptr_t key);
    [[nodiscard]] Group groupNamed(std::string name);
    void grow();

    Name m_name;
    std::vector<Slot> m_slots; // open addressing, a power of two, at most half full
    std::size_t m_usedSlots = 0;
    std::unordered_map<std::string, Group> m_groups;
    std::vector<const std::string*> m_names; // by group, in order of appearance
    std::vector<double> m_sums;              // likewise
    std::uintptr_t m_lastKey = 0;
    Group m_lastGroup = 0;
};

/// A calendar day of a time zone. Asking where an instant falls is a comparison or two, however the
/// clocks are set on that day. Any thread.
class LocalDay final
{
public:
    /// The day on which `instant` (seconds since 2001-01-01T00:00:00Z) falls in `zone`, an invalid
    /// one being UTC. Holds nothing when the instant is not a number or more than 100,000 years
    /// away.
    LocalDay(double instant, const QTimeZone& zone);

    /// Whether `instant` has the same date.
    [[nodiscard]] bool contains(double instant) const
    {
        return std::ranges::any_of(m_parts, [instant](const Part& part) {
            return instant >= part.start && instant < part.end;
        });
    }

private:
    struct Part
    {
        double start;
        double end;
    };

    // One, unless clocks are set back over midnight: then the day goes on after a piece of the
    // next one.
    std::vector<Part> m_parts;
};

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
