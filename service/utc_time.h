// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace service {

/// Moments in UTC as text "yyyy-MM-ddTHH:mm:ssZ" (ISO 8601) and as whole seconds since
/// 1970-01-01T00:00:00Z, in the Gregorian calendar carried on into all years. Any thread.

/// Nothing when `text` is no such moment. Years have four digits, or up to nine without a zero in
/// front, and may be negative. There are no leap seconds.
[[nodiscard]] std::optional<std::int64_t> secondsFromUtcText(std::string_view text);

/// The text that secondsFromUtcText() reads as `seconds`; only for years of up to nine digits.
[[nodiscard]] std::string utcTextOf(std::int64_t seconds);

} // namespace service
