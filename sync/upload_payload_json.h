// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/result.h"
#include "sync/upload_rows.h"

#include <QByteArray>

#include <cstdint>
#include <string>
#include <vector>

namespace syncing {

/// What one upload sends. The members are named as in the body (docs/formats.md, "Activity upload
/// body").
struct ActivityPayload
{
    std::string device_id;
    /// When the body was made, in UTC, to the second (platform/iso8601.h).
    std::string sync_timestamp;
    std::int64_t interval_minutes = 1;
    std::vector<ActivityLogPayload> activities;

    bool operator==(const ActivityPayload&) const = default;
};

/// The body: one JSON object without white space. Fails only when `device_id` or one of the times
/// is not valid UTF-8.
/// Any thread; some tenths of a second for a million rows.
[[nodiscard]] platform::Result<QByteArray> uploadPayloadJson(const ActivityPayload& payload);

} // namespace syncing
