// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

namespace platform {

/// The instant `secondsSince2001` (seconds since 2001-01-01T00:00:00Z) as the Internet writes it
/// (RFC 3339) in UTC, to the second: "2026-11-21T09:30:00Z". A fraction is cut off, before 1970
/// too, but for the last half of a millisecond, which counts as the next second.
///
/// The calendar is the Gregorian one throughout, with a year 0. A year above 9999 has all its
/// digits, one below 0 a minus and at least four digits. Instants more than 146 million years
/// away from 1970 are written as if they were just that far. None for what is not finite.
/// Any thread.
[[nodiscard]] std::optional<std::string> iso8601(double secondsSince2001);

} // namespace platform
