// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "base/result.h"
#include "platform/http_client.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace account {

/// A board that a user takes part in.
struct BoardResponse
{
    std::int64_t id = 0;
    std::optional<QString> name;
    std::optional<std::int64_t> userId;

    bool operator==(const BoardResponse&) const = default;
};

/// The service's record of a user.
struct UserResponse
{
    std::int64_t id = 0;
    std::optional<QString> name;
    std::optional<QString> email;
    std::optional<QString> phoneNumber;
    std::optional<std::vector<BoardResponse>> boards;

    bool operator==(const UserResponse&) const = default;
};

/// The answer to a sign-in that the service has looked at.
struct TokenResponse
{
    bool success = false;
    std::optional<QString> token;
    std::optional<UserResponse> user;
    std::optional<QString> error;

    bool operator==(const TokenResponse&) const = default;
};

/// The answer to a sign-in that the service has refused.
struct ErrorResponse
{
    /// Texts by what they are about, in the order of the answer.
    using Errors = std::vector<std::pair<QString, QStringList>>;

    std::optional<QString> message;
    std::optional<Errors> errors;

    bool operator==(const ErrorResponse&) const = default;
};

// Reading an answer from JSON (docs/formats.md, "Sign-in"), strictly: a member of a wrong type or a
// required one that is missing fails the whole, with a text that names it. Unknown members are
// ignored, null and no member alike mean none, and of a key that stands twice the first counts.
// Any thread.

[[nodiscard]] platform::Result<TokenResponse> decodeTokenResponse(std::string_view json);
[[nodiscard]] platform::Result<ErrorResponse> decodeErrorResponse(std::string_view json);

/// What the user is called on screen: the name, else the e-mail address, else "User". Only what is
/// absent is passed over; an empty name is an empty name.
[[nodiscard]] QString displayName(const std::optional<UserResponse>& user);

/// The body of a sign-in (docs/formats.md, "Sign-in"); none when a text is not valid Unicode.
/// Any thread.
[[nodiscard]] std::optional<QByteArray>
loginBody(const QString& email, const QString& password, const QString& deviceId);

/// What a successful sign-in brings.
struct Session
{
    QString token;
    std::optional<UserResponse> user;
};

/// What the service's answer to a sign-in means: a session, or the text to show for a refusal.
/// Only the status 200 can bring a session. Any thread.
[[nodiscard]] platform::Result<Session> readLoginReply(const platform::HttpOutcome& outcome);

} // namespace account
