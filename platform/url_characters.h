// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace platform {

/// The places of an address that allow different characters (RFC 3986, section 3; RFC 6874 for the
/// zone of an IPv6 address).
enum class UrlPlace : std::uint8_t {
    UserInfo, ///< also what brackets hold
    HostName,
    Zone,
    FirstSegment, ///< of a path that does not begin with a slash: no colon, it would end a scheme
    Path,
    QueryOrFragment,
};

/// Whether `text` is made of characters allowed in `place` and of complete escapes (%41) only.
/// Any thread.
[[nodiscard]] bool isValidUrlText(std::string_view text, UrlPlace place);

/// Appends `text` with every byte escaped that `place` does not allow, the percent sign included.
/// Any thread.
void appendUrlEncoded(std::string& out, std::string_view text, UrlPlace place);

/// `text` with its escapes replaced by what they stand for; none when one is not complete or the
/// result is not valid UTF-8.
/// Any thread.
[[nodiscard]] std::optional<std::string> urlDecoded(std::string_view text);

[[nodiscard]] constexpr bool isAsciiDigit(char c)
{
    return c >= '0' && c <= '9';
}

[[nodiscard]] constexpr bool isAsciiLetter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

} // namespace platform
