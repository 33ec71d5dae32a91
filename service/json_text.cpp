// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/json_text.h"

#include <array>
#include <cstdio>

namespace service {

void appendJsonString(std::string& out, std::string_view text)
{
    out += '"';
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (static_cast<unsigned char>(c) < 0x20) {
            std::array<char, 8> escaped = {};
            std::snprintf(escaped.data(), escaped.size(), "\\u%04x", static_cast<unsigned>(c));
            out += escaped.data();
        } else {
            out += c;
        }
    }
    out += '"';
}

} // namespace service
