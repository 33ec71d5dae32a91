// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/database/database_session.h"
#include "service/sign_in_request.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace service {

/// The users and their tokens in the database; see DatabaseSession for threads and blocking. E-mail
/// addresses are the same when they differ only in the case of ASCII letters.

struct User
{
    std::int64_t id = 0;
    std::string email;
    std::string name;
    std::optional<std::string> phoneNumber;
    std::string passwordHash;
};

/// Adds a user; the new number, or nothing when there is one with that address. A number is never
/// given twice, so that what is on its way for a user who is removed reaches nobody else.
[[nodiscard]] DatabaseResult<std::optional<std::int64_t>> addUser(DatabaseSession& session,
                                                                  const std::string& email,
                                                                  const std::string& name,
                                                                  const std::string& passwordHash);

[[nodiscard]] DatabaseResult<std::optional<User>> findUser(DatabaseSession& session,
                                                           const std::string& email);

/// Makes `token` valid for `user` on the device of `request`; false when the user is gone or has
/// another password by now. Of many tokens of a user only the newest 50 stay valid.
[[nodiscard]] DatabaseResult<bool> addToken(DatabaseSession& session,
                                            const User& user,
                                            const std::string& token,
                                            const SignInRequest& request);

/// Whose `token` is; nothing when it is not valid.
[[nodiscard]] DatabaseResult<std::optional<std::int64_t>> userOfToken(DatabaseSession& session,
                                                                      const std::string& token);

/// Gives a user another password and ends all tokens; how many there were, or nothing when there is
/// no such user.
[[nodiscard]] DatabaseResult<std::optional<std::int64_t>>
setPassword(DatabaseSession& session, const std::string& email, const std::string& passwordHash);

/// Deletes a user with all tokens and uploads; how many rows there were, or nothing when there is
/// no such user.
[[nodiscard]] DatabaseResult<std::optional<std::int64_t>> removeUser(DatabaseSession& session,
                                                                     const std::string& email);

/// Ends all tokens of a user; how many there were, or nothing when there is no such user.
[[nodiscard]] DatabaseResult<std::optional<std::int64_t>> revokeTokens(DatabaseSession& session,
                                                                       const std::string& email);

} // namespace service
