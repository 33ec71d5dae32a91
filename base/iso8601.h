// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace platform {

// Instants in UTC as the Internet writes them (RFC 3339), to the second: "2026-11-21T09:30:00Z".
// The calendar is the Gregorian one throughout, with a year 0 and without leap seconds. A year
// above 9999 has all its digits, one below 0 a minus and at least four digits. Any thread.

/// 2001-01-01T00:00:00Z, from which our formats count, in seconds since 1970-01-01T00:00:00Z.
inline constexpr std::int64_t kReferenceDate = 978'307'200;

/// The instant `secondsSince2001`. A fraction is cut off, before 1970 too, but for the last half of
/// a millisecond, which counts as the next second. Instants more than 146 million years away from
/// 1970 are written as if they were just that far. None for what is not finite.
[[nodiscard]] std::optional<std::string> iso8601(double secondsSince2001);

/// The instant `seconds` since 1970-01-01T00:00:00Z.
[[nodiscard]] std::string utcText(std::int64_t seconds);

/// What utcText() has made `text` of, in seconds since 1970; none for any other text and for years
/// of more than nine digits.
[[nodiscard]] std::optional<std::int64_t> secondsFromUtcText(std::string_view text);

} // namespace platform
