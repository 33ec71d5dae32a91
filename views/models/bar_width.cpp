// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "views/models/bar_width.h"

namespace views {

double barWidth(double available, double duration, double maxDuration)
{
    constexpr double kLeast = 4;
    const double width = available * (duration / maxDuration);
    return width > kLeast ? width : kLeast; // not-a-number is not
}

} // namespace views
