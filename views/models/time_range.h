// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <array>
#include <cstdint>

namespace views {

/// Which records the dashboard looks at.
enum class TimeRange : std::uint8_t {
    Today,
    AllTime,
};

/// All of them, in the order in which they are offered.
inline constexpr std::array kTimeRanges{TimeRange::Today, TimeRange::AllTime};

/// Its name for users, which also identifies it: "Today", "All Time".
[[nodiscard]] QString rawValue(TimeRange range);

} // namespace views
