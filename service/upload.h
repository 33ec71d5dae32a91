// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/answer.h"
#include "service/json_stream.h"
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

/// What the body of POST /api/activity-log says apart from its rows.
struct UploadHead
{
    /// At most 128 characters.
    std::string deviceId;
    /// Seconds since 1970-01-01T00:00:00Z.
    std::int64_t syncTimestamp = 0;
    std::int64_t intervalMinutes = 0;

    bool operator==(const UploadHead&) const = default;
};

/// Gives the next rows, at most some thousands; empty at the end. One thread at a time.
using NextRows = std::function<std::vector<UploadedActivity>()>;

/// The rows of one upload that are stored together.
struct Upload
{
    std::string deviceId;
    /// Seconds since 1970-01-01T00:00:00Z.
    std::int64_t syncTimestamp = 0;
    std::int64_t intervalMinutes = 0;
    std::vector<UploadedActivity> activities;

    bool operator==(const Upload&) const = default;
};

/// Reads the body of POST /api/activity-log from JSON within little memory, in two passes: members
/// may stand in any order, and nothing of an upload counts before all of it has been found right.
/// Of texts that are too long for a row (1 KiB for an application, 16 KiB for title and address)
/// the beginning is taken. One thread at a time. What the source throws comes out.
class UploadReader final
{
public:
    explicit UploadReader(JsonStream::Source source);

    /// Reads all of it; the fault names the first row and member that is wrong.
    [[nodiscard]] Result<UploadHead, Fault> check();

    /// After check(): the next rows, at most some thousands; empty at the end.
    [[nodiscard]] std::vector<UploadedActivity> next();

private:
    [[nodiscard]] std::optional<Fault> readRows(JsonStream& json);

    JsonStream::Source m_source;
    std::uint64_t m_firstRow = 0;
    std::size_t m_rowCount = 0;
    std::vector<UploadedActivity> m_kept; ///< all of them, if they are few
    std::optional<JsonStream> m_rows;
    bool m_ended = false;
};

} // namespace service
