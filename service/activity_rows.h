// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/database_session.h"
#include "service/upload.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace service {

/// The uploaded activity in the database; see DatabaseSession for threads and blocking.

/// A row ready to be stored.
struct StoredActivity
{
    std::string digest; ///< of what makes two rows the same
    const UploadedActivity* activity;
    std::int64_t durationSeconds;
};

/// The rows of `upload` that differ in device, start, application, title or address, by digest. Of
/// equal ones the durations are added up, within the bounds of 64 bits. They refer to `upload`.
/// Any thread.
[[nodiscard]] std::vector<StoredActivity> rowsToStore(const Upload& upload);

/// Stores an upload for `user` in a transaction of the caller's, and says how many rows it had. A
/// row that is there gets the new duration, so that an upload that comes again changes nothing;
/// equal rows of one upload are added up, in whatever portions they come.
[[nodiscard]] DatabaseResult<std::int64_t> storeUpload(DatabaseSession& session,
                                                       std::int64_t user,
                                                       const UploadHead& head,
                                                       const NextRows& next);

/// Lines such as "user 1: 123 rows, 4567 seconds, 2 devices, 1 tokens", without personal data.
[[nodiscard]] DatabaseResult<std::string> summary(DatabaseSession& session);

} // namespace service
