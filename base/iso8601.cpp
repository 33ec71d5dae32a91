// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "base/iso8601.h"

#include "base/ascii.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cmath>

namespace platform {

namespace {

using namespace std::chrono;

/// The calendar repeats itself after 400 years. The library's own years end at 32767.
constexpr std::int64_t kYearsOfCycle = 400;
using Cycles = duration<std::int64_t, std::ratio<std::int64_t{146097} * 86400>>;

constexpr std::string_view kForm = "-MM-ddTHH:mm:ssZ"; // behind the year
constexpr std::size_t kFewestYearDigits = 4;
constexpr std::size_t kMostYearDigits = 9;

void appendYear(std::string& out, std::int64_t year)
{
    if (year < 0)
        out += '-';
    std::array<char, 20> digits{};
    const char* const end =
        std::to_chars(digits.data(), digits.data() + digits.size(), std::abs(year)).ptr;
    const auto length = static_cast<std::size_t>(end - digits.data());
    out.append(kFewestYearDigits - std::min(kFewestYearDigits, length), '0');
    out.append(digits.data(), length);
}

void appendTwoDigits(std::string& out, char before, unsigned number)
{
    out += before;
    out += static_cast<char>('0' + number / 10);
    out += static_cast<char>('0' + number % 10);
}

/// The year that `text` spells in the one way that there is.
std::optional<std::int64_t> yearFrom(std::string_view text)
{
    const bool isNegative = text.starts_with('-');
    const std::string_view digits = text.substr(isNegative ? 1 : 0);
    if (digits.size() < kFewestYearDigits || digits.size() > kMostYearDigits ||
        (digits.size() > kFewestYearDigits && digits.front() == '0') ||
        !std::ranges::all_of(digits, isAsciiDigit))
        return std::nullopt;
    std::int64_t year = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), year);
    if (isNegative && year == 0)
        return std::nullopt;
    return isNegative ? -year : year;
}

/// Whether `text` has the separators of kForm in their places, and digits in all others.
bool hasForm(std::string_view text)
{
    return std::ranges::equal(text, kForm, [](char c, char form) {
        const bool isDigit = form != 'T' && form != 'Z' && isAsciiLetter(form);
        return isDigit ? isAsciiDigit(c) : c == form;
    });
}

} // namespace

std::optional<std::string> iso8601(double secondsSince2001)
{
    if (!std::isfinite(secondsSince2001))
        return std::nullopt;
    // Sums of doubles may end just below the second that is meant: hence milliseconds, rounded.
    const double rounded =
        std::floor((secondsSince2001 + static_cast<double>(kReferenceDate)) * 1000 + 0.5);
    const milliseconds sinceEpoch(static_cast<std::int64_t>(std::clamp(rounded, -0x1p62, 0x1p62)));
    return utcText(floor<seconds>(sinceEpoch).count());
}

std::string utcText(std::int64_t secondsSince1970)
{
    const seconds sinceEpoch(secondsSince1970);
    const auto day = floor<days>(sinceEpoch);
    const auto cycle = floor<Cycles>(day);
    const year_month_day date(sys_days(day - cycle));
    const hh_mm_ss time(sinceEpoch - day);
    const auto number = [](auto count) {
        return static_cast<unsigned>(count);
    };
    std::string text;
    text.reserve(24);
    appendYear(text, int{date.year()} + kYearsOfCycle * cycle.count());
    appendTwoDigits(text, '-', unsigned{date.month()});
    appendTwoDigits(text, '-', unsigned{date.day()});
    appendTwoDigits(text, 'T', number(time.hours().count()));
    appendTwoDigits(text, ':', number(time.minutes().count()));
    appendTwoDigits(text, ':', number(time.seconds().count()));
    text += 'Z';
    return text;
}

std::optional<std::int64_t> secondsFromUtcText(std::string_view text)
{
    if (text.size() < kForm.size())
        return std::nullopt;
    const std::string_view rest = text.substr(text.size() - kForm.size());
    const auto year = yearFrom(text.substr(0, text.size() - kForm.size()));
    if (!year || !hasForm(rest))
        return std::nullopt;
    const auto numberAt = [rest](std::size_t at) {
        return static_cast<unsigned>((10 * (rest[at] - '0')) + (rest[at + 1] - '0'));
    };
    const Cycles cycle((*year >= 0 ? *year : *year - kYearsOfCycle + 1) / kYearsOfCycle);
    const year_month_day date(
        std::chrono::year(static_cast<int>(*year - kYearsOfCycle * cycle.count())),
        month(numberAt(1)),
        day(numberAt(4)));
    const unsigned hour = numberAt(7);
    const unsigned minute = numberAt(10);
    const unsigned second = numberAt(13);
    if (!date.ok() || hour > 23 || minute > 59 || second > 59)
        return std::nullopt;
    const seconds instant =
        sys_days(date).time_since_epoch() + cycle + hours(hour) + minutes(minute) + seconds(second);
    return instant.count();
}

} // namespace platform
