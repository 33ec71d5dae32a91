// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "base/json_writer.h"

#include <array>
#include <charconv>
#include <cmath>

namespace platform {

namespace {

/// The letter that stands for `c` behind a backslash; 'u' for the long form, 0 for none needed.
constexpr std::array<char, 256> kEscapes = [] {
    std::array<char, 256> table{};
    for (std::size_t c = 0; c < 0x20; ++c)
        table[c] = 'u';
    table['\b'] = 'b';
    table['\f'] = 'f';
    table['\n'] = 'n';
    table['\r'] = 'r';
    table['\t'] = 't';
    table['"'] = '"';
    table['\\'] = '\\';
    table['/'] = '/';
    return table;
}();

} // namespace

void appendJsonString(std::string& out, std::string_view text)
{
    static constexpr std::string_view kDigits = "0123456789abcdef";
    out += '"';
    std::size_t copied = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        const char escape = kEscapes[c];
        if (escape == 0)
            continue;
        out.append(text.substr(copied, i - copied));
        out += '\\';
        out += escape;
        if (escape == 'u') {
            out += "00";
            out += kDigits[c >> 4U];
            out += kDigits[c & 15U];
        }
        copied = i + 1;
    }
    out.append(text.substr(copied));
    out += '"';
}

bool appendJsonNumber(std::string& out, double value)
{
    if (!std::isfinite(value))
        return false;
    const double size = std::fabs(value);
    const bool legible = value == 0 || (size >= 1e-4 && size <= 0x1p54);
    std::array<char, 32> buffer{}; // 24 characters are the longest shortest form in either format
    const auto result =
        std::to_chars(buffer.data(),
                      buffer.data() + buffer.size(),
                      value,
                      legible ? std::chars_format::fixed : std::chars_format::scientific);
    out.append(buffer.data(), result.ptr);
    return true;
}

} // namespace platform
