// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "activity/activity_log.h"

#include <string>

namespace activity {

/// Appends the JSON object form of `log` (docs/formats.md, "Activity record"). False, with `out` as
/// it was, when its timestamp or duration is not a finite number.
/// Any thread.
[[nodiscard]] bool appendActivityLog(std::string& out, const ActivityLog& log);

} // namespace activity
