// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>

namespace platform {

// Characters of ASCII, whatever the language of the user. Any thread.

[[nodiscard]] constexpr bool isAsciiDigit(char c)
{
    return c >= '0' && c <= '9';
}

[[nodiscard]] constexpr bool isAsciiLetter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

/// What a hexadecimal digit in either case stands for; none for any other character.
[[nodiscard]] constexpr std::optional<unsigned> hexDigitValue(char c)
{
    if (isAsciiDigit(c))
        return static_cast<unsigned>(c - '0');
    if (c >= 'A' && c <= 'F')
        return static_cast<unsigned>(c - 'A') + 10;
    if (c >= 'a' && c <= 'f')
        return static_cast<unsigned>(c - 'a') + 10;
    return std::nullopt;
}

/// `text` with its ASCII letters small, everything else as it is.
[[nodiscard]] inline std::string asciiLower(std::string_view text)
{
    std::string lower(text);
    std::ranges::transform(lower, lower.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return lower;
}

} // namespace platform
