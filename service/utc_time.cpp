// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/utc_time.h"

#include <array>
#include <cstdio>

namespace service {

namespace {

constexpr std::size_t kMostYearDigits = 9;
constexpr std::string_view kRest = "-MM-ddTHH:mm:ssZ"; // behind the year
constexpr std::int64_t kSecondsOfDay = 86'400;
constexpr std::int64_t kDaysTo1970 = 719'162; // from 0001-01-01

constexpr std::int64_t floorDivision(std::int64_t a, std::int64_t b)
{
    return a / b - (a % b < 0 ? 1 : 0);
}

constexpr bool isLeap(std::int64_t year)
{
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

constexpr int daysOfMonth(std::int64_t year, int month)
{
    constexpr std::array kDays = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return kDays.at(static_cast<std::size_t>(month - 1)) + (month == 2 && isLeap(year) ? 1 : 0);
}

/// Days from 1970-01-01 to the first day of `year`.
constexpr std::int64_t daysToYear(std::int64_t year)
{
    const std::int64_t before = year - 1;
    return 365 * before + floorDivision(before, 4) - floorDivision(before, 100) +
           floorDivision(before, 400) - kDaysTo1970;
}

/// The number that `digits` spells; nothing when one is not a digit.
std::optional<int> number(std::string_view digits)
{
    int value = 0;
    for (const char c : digits) {
        if (c < '0' || c > '9')
            return std::nullopt;
        value = 10 * value + (c - '0');
    }
    return value;
}

std::optional<std::int64_t> yearFrom(std::string_view text)
{
    const bool negative = text.starts_with('-');
    const std::string_view digits = text.substr(negative ? 1 : 0);
    if (digits.size() < 4 || digits.size() > kMostYearDigits ||
        (digits.size() > 4 && digits.front() == '0'))
        return std::nullopt;
    const std::optional<int> value = number(digits);
    if (!value || (negative && *value == 0))
        return std::nullopt;
    return negative ? -*value : *value;
}

/// Whether `rest` has the separators of kRest at their places.
bool hasSeparators(std::string_view rest)
{
    for (std::size_t i = 0; i < kRest.size(); ++i) {
        const bool separator = std::string_view("-T:Z").find(kRest[i]) != std::string_view::npos;
        if (separator && rest[i] != kRest[i])
            return false;
    }
    return true;
}

} // namespace

std::optional<std::int64_t> secondsFromUtcText(std::string_view text)
{
    if (text.size() < kRest.size() + 4)
        return std::nullopt;
    const std::string_view rest = text.substr(text.size() - kRest.size());
    const auto year = yearFrom(text.substr(0, text.size() - kRest.size()));
    const auto month = number(rest.substr(1, 2));
    const auto day = number(rest.substr(4, 2));
    const auto hour = number(rest.substr(7, 2));
    const auto minute = number(rest.substr(10, 2));
    const auto second = number(rest.substr(13, 2));
    if (!hasSeparators(rest) || !year || !month || !day || !hour || !minute || !second)
        return std::nullopt;
    if (*month < 1 || *month > 12 || *day < 1 || *day > daysOfMonth(*year, *month) || *hour > 23 ||
        *minute > 59 || *second > 59)
        return std::nullopt;
    std::int64_t days = daysToYear(*year) + *day - 1;
    for (int before = 1; before < *month; ++before)
        days += daysOfMonth(*year, before);
    return ((days * 24 + *hour) * 60 + *minute) * 60 + *second;
}

std::string utcTextOf(std::int64_t seconds)
{
    std::int64_t days = floorDivision(seconds, kSecondsOfDay);
    const auto time = static_cast<int>(seconds - days * kSecondsOfDay);
    std::int64_t year = 1970 + floorDivision(days * 400, 146'097); // off by one at most
    while (daysToYear(year) > days)
        --year;
    while (daysToYear(year + 1) <= days)
        ++year;
    days -= daysToYear(year);
    int month = 1;
    for (; days >= daysOfMonth(year, month); ++month)
        days -= daysOfMonth(year, month);
    std::array<char, 64> text = {};
    std::snprintf(text.data(),
                  text.size(),
                  "%s%04lld-%02d-%02dT%02d:%02d:%02dZ",
                  year < 0 ? "-" : "",
                  static_cast<long long>(year < 0 ? -year : year),
                  month,
                  static_cast<int>(days) + 1,
                  time / 3600,
                  time / 60 % 60,
                  time % 60);
    return text.data();
}

} // namespace service
