// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "activity/shared_text.h"
#include "base/result.h"
#include "sync/aggregation.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

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
    /// In UTC, to the second (base/iso8601.h).
    std::string start_time;

    bool operator==(const ActivityLogPayload&) const = default;
};

/// The row of `run`: the duration in whole seconds, cut off, and the address without its query.
///
/// Ends the process when the run's duration is not finite or too long for 64 bits of seconds, or
/// its time is not finite: no stored record has such numbers.
/// Any thread.
[[nodiscard]] ActivityLogPayload uploadRow(const AggregatedLog& run);

/// What an upload tells beside its rows. The members are named as in the body (docs/formats.md,
/// "Activity upload body").
struct ActivityPayload
{
    std::string device_id;
    /// When the body was made, in UTC, to the second (base/iso8601.h).
    std::string sync_timestamp;
    std::int64_t interval_minutes = 1;

    bool operator==(const ActivityPayload&) const = default;
};

// The body is one JSON object without white space: its beginning, the rows with commas between
// them, and its end. Any thread.

/// The body up to its first row. Fails when `device_id` or `sync_timestamp` is not valid UTF-8.
[[nodiscard]] platform::Result<std::string> beginningOf(const ActivityPayload& payload);

/// Appends `row`, whose time must be valid UTF-8, as the texts always are.
void appendRow(std::string& out, const ActivityLogPayload& row);

inline constexpr char kBetweenRows = ',';
inline constexpr std::string_view kEndOfBody = "]}";

} // namespace syncing
