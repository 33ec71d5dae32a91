// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/database/database_session.h"
#include "service/database/write_turns.h"
#include "service/upload.h"

#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace service {

/// The uploaded activity in the database; see DatabaseSession for threads and blocking.

/// A row ready to be stored.
struct StoredActivity
{
    /// Of what makes two rows the same: 64 bits, which with user and start are its key.
    std::int64_t digest = 0;
    const UploadedActivity* activity = nullptr;
    std::int64_t durationSeconds = 0;
};

/// The digest of a row, as base64url of 192 bits, and as it is in the key, which also follows from
/// the former.
[[nodiscard]] std::string digestOfRow(const std::string& deviceId, const UploadedActivity& row);
[[nodiscard]] std::int64_t keyOfRow(const std::string& deviceId, const UploadedActivity& row);
[[nodiscard]] std::int64_t keyOfDigest(std::string_view digest);

/// The rows that differ in device, start, application, title or address, by start and digest. Of
/// equal ones the durations are added up, within the bounds of 64 bits. They refer to `activities`.
/// Any thread.
[[nodiscard]] std::vector<StoredActivity> rowsToStore(const std::string& deviceId,
                                                      std::span<const UploadedActivity> activities);

/// Stores an upload of `user`, all of it or none, and says of how many rows `next` has told. A row
/// that is there keeps the greater duration, so that an upload that comes again changes nothing;
/// equal rows of this upload are added up. What `next` throws comes out, and nothing is stored.
/// Memory does not grow with the upload. A long one writes to tables of others at its end only, and
/// then, where there are `turns`, in its turn.
[[nodiscard]] DatabaseResult<std::int64_t> storeUpload(DatabaseSession& session,
                                                       std::int64_t user,
                                                       const UploadHead& head,
                                                       const NextRows& next,
                                                       WriteTurns* turns = nullptr);

/// Puts rows of one device into the table; one that is there keeps the greater duration. Within a
/// transaction, their partitions being there (see makePartitions()).
[[nodiscard]] DatabaseResult<std::monostate> insertRuns(DatabaseSession& session,
                                                        std::int64_t user,
                                                        std::int64_t device,
                                                        const std::vector<StoredActivity>& rows);

} // namespace service
