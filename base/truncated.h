// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>

namespace platform {

/// The whole number that is left of `value` when its fraction is cut off, toward zero; none when
/// 64 bits with a sign do not hold it (not-a-number and infinity included).
/// Any thread.
[[nodiscard]] constexpr std::optional<std::int64_t> truncated(double value)
{
    const bool fits = value >= -0x1p63 && value < 0x1p63; // not-a-number does not
    return fits ? std::optional(static_cast<std::int64_t>(value)) : std::nullopt;
}

} // namespace platform
