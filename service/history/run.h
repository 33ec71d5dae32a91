// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace service {

inline constexpr std::int64_t kSecondsOfADay = 86'400;
/// Runs that begin from 2000-01-01 to before 2100-01-01 (UTC) are counted, in days and in seconds
/// since 1970.
inline constexpr std::int64_t kFirstCountedDay = 10'957;
inline constexpr std::int64_t kEndOfCountedDays = 47'482;
inline constexpr std::int64_t kFirstCountedSecond = kFirstCountedDay * kSecondsOfADay;
inline constexpr std::int64_t kEndOfCountedSeconds = kEndOfCountedDays * kSecondsOfADay;
/// The day (since 1970-01-01) that stands for all times outside of these years.
inline constexpr std::int64_t kDayOfOtherTimes = 0;

/// A stored row, as far as it is added up.
struct Run
{
    std::int64_t start = 0; ///< seconds since 1970-01-01T00:00:00Z
    std::int64_t seconds = 0;
    std::int64_t device = 0; ///< its number among the devices of the user
    std::string app;
    std::optional<std::string> title;
    std::optional<std::string> site;

    bool operator==(const Run&) const = default;
};

/// Whether that second lies in the years that are counted.
[[nodiscard]] constexpr bool isCountedTime(std::int64_t second)
{
    return second >= kFirstCountedSecond && second < kEndOfCountedSeconds;
}

/// The second behind the last one that counts of a run that begins in the years that are counted.
[[nodiscard]] constexpr std::int64_t endOfRun(std::int64_t start, std::int64_t seconds)
{
    if (seconds <= 0)
        return start;
    return seconds > kEndOfCountedSeconds - start ? kEndOfCountedSeconds : start + seconds;
}

/// UTC days since 1970-01-01, the last one included.
struct DayRange
{
    std::int64_t first = 0;
    std::int64_t last = 0;

    bool operator==(const DayRange&) const = default;
};

/// The days whose sums depend on such a run. One that is not counted belongs to the day on which it
/// begins, or to kDayOfOtherTimes.
[[nodiscard]] constexpr DayRange daysOfRun(std::int64_t start, std::int64_t seconds)
{
    if (!isCountedTime(start))
        return {.first = kDayOfOtherTimes, .last = kDayOfOtherTimes};
    const std::int64_t first = start / kSecondsOfADay;
    const std::int64_t end = endOfRun(start, seconds);
    return {.first = first, .last = end > start ? (end - 1) / kSecondsOfADay : first};
}

/// The days in any of `ranges`. Many runs may each be as long as all years; every day is looked at
/// once.
[[nodiscard]] inline std::set<std::int64_t> daysIn(std::vector<DayRange> ranges)
{
    std::ranges::sort(ranges, {}, &DayRange::first);
    std::set<std::int64_t> days;
    for (const DayRange& range : ranges) {
        const std::int64_t from =
            days.empty() ? range.first : std::max(range.first, *days.rbegin() + 1);
        for (std::int64_t day = from; day <= range.last; ++day)
            days.insert(days.end(), day);
    }
    return days;
}

/// A month as a number that grows by one from month to month; 0 is January of the year 0. Of a time
/// in the years that are counted.
[[nodiscard]] inline int monthOf(std::int64_t second)
{
    const std::chrono::sys_days day{std::chrono::days(static_cast<int>(second / kSecondsOfADay))};
    const std::chrono::year_month_day date(day);
    return 12 * static_cast<int>(date.year()) +
           static_cast<int>(static_cast<unsigned>(date.month())) - 1;
}

/// The first day of a month, since 1970-01-01.
[[nodiscard]] inline std::int64_t firstDayOfMonth(int month)
{
    const std::chrono::year_month_day date(
        std::chrono::year(month / 12),
        std::chrono::month(static_cast<unsigned>(month % 12) + 1),
        std::chrono::day(1));
    return std::chrono::sys_days(date).time_since_epoch().count();
}

} // namespace service
