// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/qt/ini_text.h"

#include <QByteArray>

#include <algorithm>
#include <iterator>

namespace platform::qt {

namespace {

constexpr QByteArrayView kByteOrderMark("\xEF\xBB\xBF");

bool isControl(char c)
{
    return static_cast<unsigned char>(c) < 0x20 && c != '\t' && c != '\r' && c != '\n';
}

bool isLineEnd(char c)
{
    return c == '\n' || c == '\r';
}

/// Whether what is behind the "=" ends where the line does: in no quotes, and not continued.
bool endsOnItsLine(QByteArrayView value)
{
    bool isQuoted = false;
    bool isEscaped = false;
    for (const char c : value) {
        if (c == '"' && !isEscaped)
            isQuoted = !isQuoted;
        isEscaped = c == '\\' && !isEscaped;
    }
    return !isQuoted && !isEscaped;
}

bool isIniLine(QByteArrayView line)
{
    if (line.isEmpty() || line.startsWith(';') || line.startsWith('#'))
        return true;
    if (line.startsWith('['))
        return line.endsWith(']');
    const qsizetype equals = line.indexOf('=');
    return equals > 0 && endsOnItsLine(line.sliced(equals + 1));
}

} // namespace

bool isIniText(QByteArrayView text)
{
    if (!text.isValidUtf8() || std::ranges::any_of(text, isControl))
        return false;
    if (text.startsWith(kByteOrderMark))
        text = text.sliced(kByteOrderMark.size());
    while (!text.isEmpty()) {
        const auto* const end = std::ranges::find_if(text, isLineEnd);
        const qsizetype length = std::distance(text.begin(), end);
        if (!isIniLine(text.first(length).trimmed()))
            return false;
        text = text.sliced(std::min(length + 1, text.size()));
    }
    return true;
}

} // namespace platform::qt
