// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/answer.h"
#include "service/result.h"

#include <string>

namespace service {

/// The body of POST /api/token. Texts are valid UTF-8 and may be empty or hold any character.
struct SignInRequest
{
    std::string email;
    std::string password;
    std::string deviceName;
    std::string deviceId;

    bool operator==(const SignInRequest&) const = default;
};

/// Reads it from JSON; the fault names every member that is missing or not a string. Of the body,
/// which holds a password, nothing is left where its capacity has room for the padding of a parser.
/// Any thread.
[[nodiscard]] Result<SignInRequest, Fault> decodeSignInRequest(std::string body);

} // namespace service
