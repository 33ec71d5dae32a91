// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "activity/shared_text.h"
#include "sync/aggregation.h"

#include <cstdint>
#include <optional>
#include <string>

namespace syncing {

/// One row of an upload. The members are named as in the body (docs/formats.md, "Activity upload
/// body").
struct ActivityLogPayload
{
    activity::SharedText app_name;
    std::optional<activity::SharedText> window_title;
    /// Without its query.
    std::optional<activity::SharedText> url;
    std::int64_t duration_seconds = 0;
    /// In UTC, to the second (platform/iso8601.h).
    std::string start_time;

    bool operator==(const ActivityLogPayload&) const = default;
};

/// The row of `run`: the duration in whole seconds, cut off, and the address without its query.
///
/// Ends the process when the run's duration is not finite or too long for 64 bits of seconds, or
/// its time is not finite: no stored record has such numbers.
/// Any thread.
[[nodiscard]] ActivityLogPayload uploadRow(const AggregatedLog& run);

} // namespace syncing
