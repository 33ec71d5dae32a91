// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/url_characters.h"

#include <QUtf8StringView>

#include <array>
#include <cstddef>

namespace platform {

namespace {

constexpr std::string_view kSubDelimiters = "!$&'()*+,;=";

constexpr unsigned bit(UrlPlace place)
{
    return 1U << static_cast<unsigned>(place);
}

/// For each byte the places that allow it.
constexpr std::array<std::uint8_t, 256> kAllowed = [] {
    std::array<std::uint8_t, 256> table{};
    const auto allow = [&table](char c, unsigned places) {
        std::uint8_t& entry = table[static_cast<unsigned char>(c)];
        entry = static_cast<std::uint8_t>(entry | places);
    };
    constexpr unsigned kAll = 0xFF;
    for (char c = 0; c < 0x7F; ++c) {
        if (isAsciiLetter(c) || isAsciiDigit(c))
            allow(c, kAll);
    }
    for (const char c : std::string_view("-._~"))
        allow(c, kAll);
    for (const char c : kSubDelimiters)
        allow(c, kAll & ~bit(UrlPlace::Zone));
    allow(':', bit(UrlPlace::UserInfo) | bit(UrlPlace::Path) | bit(UrlPlace::QueryOrFragment));
    allow('@', bit(UrlPlace::FirstSegment) | bit(UrlPlace::Path) | bit(UrlPlace::QueryOrFragment));
    allow('/', bit(UrlPlace::Path) | bit(UrlPlace::QueryOrFragment));
    allow('?', bit(UrlPlace::QueryOrFragment));
    return table;
}();

bool isAllowed(char c, UrlPlace place)
{
    return (kAllowed[static_cast<unsigned char>(c)] & bit(place)) != 0;
}

std::optional<unsigned> digitValue(char c)
{
    if (isAsciiDigit(c))
        return static_cast<unsigned>(c - '0');
    if (c >= 'A' && c <= 'F')
        return static_cast<unsigned>(c - 'A') + 10;
    if (c >= 'a' && c <= 'f')
        return static_cast<unsigned>(c - 'a') + 10;
    return std::nullopt;
}

/// The byte that the escape at `position` stands for; none when it is not complete.
std::optional<char> escapedByte(std::string_view text, std::size_t position)
{
    if (text.size() - position < 3)
        return std::nullopt;
    const auto high = digitValue(text[position + 1]);
    const auto low = digitValue(text[position + 2]);
    if (!high || !low)
        return std::nullopt;
    return static_cast<char>((*high << 4U) | *low);
}

} // namespace

bool isValidUrlText(std::string_view text, UrlPlace place)
{
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (isAllowed(text[i], place))
            continue;
        if (text[i] != '%' || !escapedByte(text, i))
            return false;
        i += 2;
    }
    return true;
}

void appendUrlEncoded(std::string& out, std::string_view text, UrlPlace place)
{
    static constexpr std::string_view kDigits = "0123456789ABCDEF";
    for (const char c : text) {
        if (isAllowed(c, place)) {
            out += c;
            continue;
        }
        const auto byte = static_cast<unsigned char>(c);
        out += '%';
        out += kDigits[byte >> 4U];
        out += kDigits[byte & 15U];
    }
}

std::optional<std::string> urlDecoded(std::string_view text)
{
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            out += text[i];
            continue;
        }
        const auto byte = escapedByte(text, i);
        if (!byte)
            return std::nullopt;
        out += *byte;
        i += 2;
    }
    const QUtf8StringView utf8(out.data(), static_cast<qsizetype>(out.size()));
    return utf8.isValidUtf8() ? std::optional(std::move(out)) : std::nullopt;
}

} // namespace platform
