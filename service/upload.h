// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/answer.h"
#include "service/result.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace service {

/// One row of an upload. Texts are valid UTF-8 and may be empty or hold any character.
struct UploadedActivity
{
    std::string appName;
    std::optional<std::string> windowTitle;
    std::optional<std::string> url;
    std::int64_t durationSeconds = 0;
    /// Seconds since 1970-01-01T00:00:00Z.
    std::int64_t startTime = 0;

    bool operator==(const UploadedActivity&) const = default;
};

/// What an upload tells besides its rows.
struct UploadHead
{
    std::string deviceId;
    /// Seconds since 1970-01-01T00:00:00Z.
    std::int64_t syncTimestamp = 0;
    std::int64_t intervalMinutes = 0;
};

/// Gives the next rows, at most some thousands; empty at the end. Called on the lane's thread.
using NextRows = std::function<std::vector<UploadedActivity>()>;

/// The body of POST /api/activity-log.
struct Upload
{
    std::string deviceId;
    /// Seconds since 1970-01-01T00:00:00Z.
    std::int64_t syncTimestamp = 0;
    std::int64_t intervalMinutes = 0;
    std::vector<UploadedActivity> activities;

    bool operator==(const Upload&) const = default;
};

/// Reads it from JSON; the fault names the first row and member that is wrong. Any thread.
[[nodiscard]] Result<Upload, Fault> decodeUpload(std::string body);

} // namespace service
