// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "account/auth_records.h"
#include "platform/result.h"

#include <string>
#include <string_view>

namespace account {

/// The JSON form of the service's records (docs/formats.md, "Sign-in"). Any thread.

/// Reads an answer, strictly: a member of a wrong type or a required one that is missing fails the
/// whole, with a text that names it. Unknown members are ignored, null and no member alike mean
/// none, and of a key that stands twice the first counts.
[[nodiscard]] platform::Result<TokenResponse> decodeTokenResponse(std::string_view json);
[[nodiscard]] platform::Result<ErrorResponse> decodeErrorResponse(std::string_view json);

/// Writes a record compactly, without the members that it has none of.
[[nodiscard]] std::string encode(const TokenResponse& record);
[[nodiscard]] std::string encode(const ErrorResponse& record);

} // namespace account
