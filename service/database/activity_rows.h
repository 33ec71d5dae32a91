// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/database/database_session.h"
#include "service/database/run_key.h"
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
    RunKey key;
    const UploadedActivity* activity = nullptr;
    std::int64_t durationSeconds = 0;
};

/// The digest of a row, as base64url of 192 bits, and its key, which also follows from the former.
[[nodiscard]] std::string digestOfRow(const std::string& deviceId, const UploadedActivity& row);
[[nodiscard]] RunKey keyOfRow(const std::string& deviceId, const UploadedActivity& row);
[[nodiscard]] RunKey keyOfDigest(std::int64_t start, std::string_view digest);

/// Puts rows of one device into the order of their keys. Of those with equal keys one stays, with
/// the sum of their durations, within the bounds of 64 bits. Any thread.
void addUpEqual(std::vector<StoredActivity>& rows);

/// The rows that differ in device, start, application, title or address, as addUpEqual() leaves
/// them. They refer to `activities`. Any thread.
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

/// Puts rows of one device, with different keys, into the table; one that is there keeps the
/// greater duration. Within a transaction, their partitions being there (see makePartitions()).
[[nodiscard]] DatabaseResult<std::monostate> insertRuns(DatabaseSession& session,
                                                        std::int64_t user,
                                                        std::int64_t device,
                                                        const std::vector<StoredActivity>& rows);

} // namespace service
