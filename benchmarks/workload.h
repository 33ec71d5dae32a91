// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "activity/activity_list.h"
#include "activity/shared_text.h"

#include <cstddef>
#include <string>

/// The activity that every figure is taken with: 200 applications, 3,000 addresses with a title
/// each, about 230 bytes a record.
namespace workload {

/// Record number `index`, its texts from `pool`.
[[nodiscard]] activity::ActivityLog log(std::size_t index, activity::TextPool& pool);

[[nodiscard]] activity::ActivityList list(std::size_t count, activity::TextPool& pool);

/// The text of a file that holds `list`.
[[nodiscard]] std::string json(const activity::ActivityList& list);

} // namespace workload
