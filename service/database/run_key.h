// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/history/run.h"

#include <algorithm>
#include <compare>
#include <cstdint>
#include <limits>

namespace service {

/// What tells the rows of a user apart, as it is in the table of runs. With the user these are four
/// columns of 32 bits: PostgreSQL fills the pages of an index with what is appended to a user's
/// part of it only as long as a key takes at most 16 bytes; else it leaves them half empty. Any
/// thread.
struct RunKey
{
    std::int32_t day = 0;    ///< UTC, since 1970-01-01; below 0 before
    std::int32_t second = 0; ///< of that day, from 0 to 86,399
    /// 32 bits of the digest of what makes two rows the same (see digestOfRow()). It is compared
    /// only among rows of one user that begin in the same second, which are rarely two. Of two that
    /// differ it agrees once in 4.3 thousand million times, and they then count as one: among 100
    /// million such pairs that happens with a probability of 2.3 %. Who makes it happen on purpose
    /// harms only rows of the own.
    std::int32_t digest = 0;

    auto operator<=>(const RunKey&) const = default;

    /// Seconds since 1970-01-01T00:00:00Z.
    [[nodiscard]] constexpr std::int64_t start() const { return day * kSecondsOfADay + second; }
};

/// The key of a row that begins at `start`. Days have room for 5.8 million years to either side of
/// 1970; what begins further away is stored as if it began just that far.
[[nodiscard]] constexpr RunKey runKey(std::int64_t start, std::int32_t digest)
{
    using Days = std::numeric_limits<std::int32_t>;
    const std::int64_t held = std::clamp(
        start, Days::min() * kSecondsOfADay, Days::max() * kSecondsOfADay + (kSecondsOfADay - 1));
    const std::int64_t second = (held % kSecondsOfADay + kSecondsOfADay) % kSecondsOfADay;
    return {.day = static_cast<std::int32_t>((held - second) / kSecondsOfADay),
            .second = static_cast<std::int32_t>(second),
            .digest = digest};
}

} // namespace service
