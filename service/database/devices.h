// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/database/database_session.h"
#include "service/upload.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace service {

/// The devices of users in the database; see DatabaseSession for threads and blocking.

struct Device
{
    std::int64_t id = 0; ///< from 1, for each user
    std::string deviceId;
    std::string name; ///< "Desktop", "Desktop 2" until it is renamed
    // Absent as long as it has not uploaded anything. Seconds since 1970-01-01T00:00:00Z.
    std::optional<std::int64_t> firstSeen;
    std::optional<std::int64_t> lastSeen;
    std::optional<std::int64_t> intervalMinutes;
    /// By how much its clock was ahead of ours with the last upload.
    std::optional<std::int64_t> clockSkewSeconds;
};

/// In the order of their numbers.
[[nodiscard]] DatabaseResult<std::vector<Device>> listDevices(DatabaseSession& session,
                                                              std::int64_t user);

/// False when there is no such device.
[[nodiscard]] DatabaseResult<bool> renameDevice(DatabaseSession& session,
                                                std::int64_t user,
                                                std::int64_t device,
                                                const std::string& name);

// The following are for within a transaction, in which lockUser() comes first.

/// Keeps the user from being removed until the end of the transaction. What is left of the user's
/// rows in the table of schema 2 (users.old_rows); nothing when there is no such user.
[[nodiscard]] DatabaseResult<std::optional<std::int64_t>> lockUser(DatabaseSession& session,
                                                                   std::int64_t user);

/// The number of a device, which gets one when it has none.
[[nodiscard]] DatabaseResult<std::int64_t>
numberOfDevice(DatabaseSession& session, std::int64_t user, const std::string& deviceId);

/// The same, and notes what an upload tells of it.
[[nodiscard]] DatabaseResult<std::int64_t>
noteUpload(DatabaseSession& session, std::int64_t user, const UploadHead& head, std::int64_t now);

/// Notes that somebody signed in on it.
[[nodiscard]] DatabaseResult<std::monostate> noteSignIn(DatabaseSession& session,
                                                        std::int64_t user,
                                                        const std::string& deviceId,
                                                        std::int64_t now);

/// Whether somebody has signed in as `user` on it before. Needs no transaction.
[[nodiscard]] DatabaseResult<bool>
isKnownDevice(DatabaseSession& session, std::int64_t user, const std::string& deviceId);

} // namespace service
