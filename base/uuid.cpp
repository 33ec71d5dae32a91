// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "base/uuid.h"

#include "base/ascii.h"

#include <QUuid>

#include <algorithm>

namespace platform {

namespace {

constexpr bool hyphenAt(std::size_t position)
{
    return position == 8 || position == 13 || position == 18 || position == 23;
}

} // namespace

Uuid Uuid::random()
{
    Uuid result;
    std::ranges::copy(QUuid::createUuid().toRfc4122(), result.bytes.begin());
    return result;
}

std::optional<Uuid> Uuid::fromText(std::string_view text)
{
    if (text.size() != kTextLength)
        return std::nullopt;
    Uuid result;
    std::size_t digits = 0;
    for (std::size_t i = 0; i < kTextLength; ++i) {
        if (hyphenAt(i)) {
            if (text[i] != '-')
                return std::nullopt;
            continue;
        }
        const std::optional<unsigned> value = hexDigitValue(text[i]);
        if (!value)
            return std::nullopt;
        std::uint8_t& byte = result.bytes[digits / 2];
        byte = static_cast<std::uint8_t>((unsigned{byte} << 4U) | *value);
        ++digits;
    }
    return result;
}

std::array<char, Uuid::kTextLength> Uuid::toText() const
{
    static constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::array<char, kTextLength> text{};
    std::size_t at = 0;
    for (const std::uint8_t byte : bytes) {
        if (hyphenAt(at))
            text[at++] = '-';
        text[at++] = kDigits[byte >> 4U];
        text[at++] = kDigits[byte & 15U];
    }
    return text;
}

} // namespace platform
