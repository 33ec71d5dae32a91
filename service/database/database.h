// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/database/accounts.h"
#include "service/database/activity_rows.h"
#include "service/database/database_lane.h"

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

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
    [[nodiscard]] DatabaseResult<std::monostate> store(std::int64_t user, const Upload& upload);

private:
    DatabaseLane m_reading;
    DatabaseLane m_writing;
};

} // namespace service
