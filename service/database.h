// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/accounts.h"
#include "service/activity_rows.h"
#include "service/database_lane.h"

#include <cstdint>
#include <optional>
#include <string>

namespace service {

/// The database as the web service uses it. What only reads does not wait for uploads.
/// Any thread; calls block on the database.
class Database final
{
public:
    /// The schema must have been prepared.
    explicit Database(const DatabaseAddress& address);

    [[nodiscard]] DatabaseResult<std::optional<User>> findUser(const std::string& email);
    [[nodiscard]] DatabaseResult<std::optional<std::int64_t>> userOfToken(const std::string& token);
    [[nodiscard]] DatabaseResult<bool>
    addToken(const User& user, const std::string& token, const SignInRequest& request);
    /// Stores all rows of an upload or none, and says how many there were. Of equal ones the
    /// durations are added up. What `next` throws comes out.
    [[nodiscard]] DatabaseResult<std::int64_t>
    store(std::int64_t user, const UploadHead& head, const NextRows& next);

private:
    DatabaseLane m_reading;
    DatabaseLane m_writing;
};

} // namespace service
