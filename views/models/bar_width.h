// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

namespace views {

/// How wide the bar of an item is, in the unit of `available`, the width of the largest item's: the
/// item's share of `maxDuration`, but at least 4. That also where the share is no number, as with
/// nothing of nothing. Any thread.
[[nodiscard]] double barWidth(double available, double duration, double maxDuration);

} // namespace views
