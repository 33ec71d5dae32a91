// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

namespace service {

/// A new secret of 256 random bits, as 43 characters that stand in an HTTP header (base64url,
/// RFC 4648, section 5). Any thread; libsodium must be initialised.
[[nodiscard]] std::string newToken();

/// A digest of a list of texts (BLAKE2b, 192 bits) as 32 characters of base64url. Different lists
/// have different digests; a text that is absent differs from an empty one.
[[nodiscard]] std::string digestOf(std::initializer_list<std::optional<std::string_view>> texts);

/// The first 32 bits of that digest.
[[nodiscard]] std::uint32_t
first32BitsOf(std::initializer_list<std::optional<std::string_view>> texts);

} // namespace service
