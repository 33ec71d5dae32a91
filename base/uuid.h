// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>

namespace platform {

/// A universally unique identifier (RFC 9562), 128 bits in network byte order.
/// Any thread.
struct Uuid
{
    /// Length of the canonical text: 8-4-4-4-12 hexadecimal digits and four hyphens.
    static constexpr std::size_t kTextLength = 36;

    std::array<std::uint8_t, 16> bytes{};

    /// A fresh random (version 4) identifier.
    [[nodiscard]] static Uuid random();

    /// Reads the canonical text, digits in either case; anything else is none.
    [[nodiscard]] static std::optional<Uuid> fromText(std::string_view text);

    /// The canonical text, digits A to F in upper case.
    [[nodiscard]] std::array<char, kTextLength> toText() const;

    auto operator<=>(const Uuid&) const = default;
};

} // namespace platform
