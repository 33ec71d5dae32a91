// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>

namespace platform {

/// How much larger than usual the desktop wants its text, seen from the size of its font for
/// programs in points: 1 for the sizes that desktops come with, 9 to 11. Windows and menus show
/// their texts so many times as large as they are meant to be.
/// Pure, any thread.
[[nodiscard]] constexpr double textScale(double points)
{
    constexpr double kSmallest = 0.75;
    constexpr double kLargest = 3;
    const double usual = std::clamp(points, 9.0, 11.0);
    return std::clamp(points / usual, kSmallest, kLargest);
}

} // namespace platform
