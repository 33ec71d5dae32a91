// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "activity/activity_list.h"
#include "activity/text_pool.h"

#include <QIODevice>

#include <cstddef>
#include <optional>

namespace activity {

/// Small enough for what is parsed from it to stay in the processor's cache.
inline constexpr std::size_t kReadWindow = 256UL * 1024;

/// Reads `device`, open for reading, as one JSON array of activity records (docs/formats.md,
/// "Activity file") whose texts come from `pool`. None when any of it is not valid: there is no
/// recovery of single records. Blocks until the end; needs little memory beyond the list that it
/// returns, however long the file, and gives up on garbage at the first byte that is wrong.
/// Any thread, as long as nobody else uses the pool.
/// `window` is how much of the text to look at together, in bytes; longer records make it grow.
[[nodiscard]] std::optional<ActivityList>
readActivityFile(QIODevice& device, TextPool& pool, std::size_t window = kReadWindow);

} // namespace activity
