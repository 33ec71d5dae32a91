// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/text_scale.h"

#include <algorithm>

namespace platform {

namespace {

constexpr double kSmallestUsualPoints = 9;
constexpr double kLargestUsualPoints = 11;
constexpr double kSmallestScale = 0.75;
constexpr double kLargestScale = 3;

} // namespace

double textScale(double points)
{
    const double usual = std::clamp(points, kSmallestUsualPoints, kLargestUsualPoints);
    return std::clamp(points / usual, kSmallestScale, kLargestScale);
}

} // namespace platform
