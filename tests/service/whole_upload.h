// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/upload.h"

#include <string>
#include <string_view>
#include <utility>

/// An upload that is in memory, with all its rows.
[[nodiscard]] inline service::Result<service::Upload, service::Fault>
decodeUpload(const std::string& body)
{
    service::UploadReader reader(
        [&body](std::uint64_t offset) { return std::string_view(body).substr(offset); });
    const auto head = reader.check();
    if (!head)
        return head.error();
    service::Upload upload{.deviceId = head.value().deviceId,
                           .syncTimestamp = head.value().syncTimestamp,
                           .intervalMinutes = head.value().intervalMinutes,
                           .activities = {}};
    for (auto rows = reader.next(); !rows.empty(); rows = reader.next())
        upload.activities.insert(upload.activities.end(), rows.begin(), rows.end());
    return upload;
}
