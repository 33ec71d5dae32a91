// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/iso8601.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdint>

namespace platform {

namespace {

using namespace std::chrono;

constexpr double kUnixTimeOf2001 = 978307200;

/// The calendar repeats itself after 400 years. The library's own years end at 32767.
using Cycles = duration<std::int64_t, std::ratio<std::int64_t{146097} * 86400>>;

void appendPadded(std::string& out, std::uint64_t number, std::size_t width)
{
    std::array<char, 20> digits{};
    const char* const end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    const auto length = static_cast<std::size_t>(end - digits.data());
    out.append(width - std::min(width, length), '0');
    out.append(digits.data(), length);
}

void appendYear(std::string& out, std::int64_t year)
{
    if (year < 0)
        out += '-';
    appendPadded(out, static_cast<std::uint64_t>(std::abs(year)), 4);
}

void appendTwoDigits(std::string& out, char before, unsigned number)
{
    out += before;
    out += static_cast<char>('0' + number / 10);
    out += static_cast<char>('0' + number % 10);
}

} // namespace

std::optional<std::string> iso8601(double secondsSince2001)
{
    if (!std::isfinite(secondsSince2001))
        return std::nullopt;
    // Sums of doubles may end just below the second that is meant: hence milliseconds, rounded.
    const double rounded = std::floor((secondsSince2001 + kUnixTimeOf2001) * 1000 + 0.5);
    const milliseconds sinceEpoch(static_cast<std::int64_t>(std::clamp(rounded, -0x1p62, 0x1p62)));

    const auto day = floor<days>(sinceEpoch);
    const auto cycle = floor<Cycles>(day);
    const year_month_day date(sys_days(day - cycle));
    const hh_mm_ss time(floor<seconds>(sinceEpoch) - day);
    const auto number = [](auto count) {
        return static_cast<unsigned>(count);
    };
    std::string text;
    text.reserve(24);
    appendYear(text, int{date.year()} + 400 * cycle.count());
    appendTwoDigits(text, '-', unsigned{date.month()});
    appendTwoDigits(text, '-', unsigned{date.day()});
    appendTwoDigits(text, 'T', number(time.hours().count()));
    appendTwoDigits(text, ':', number(time.minutes().count()));
    appendTwoDigits(text, ':', number(time.seconds().count()));
    text += 'Z';
    return text;
}

} // namespace platform
