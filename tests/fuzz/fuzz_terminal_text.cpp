// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// Any UTF-16 as a line: what comes out is valid UTF-8 in which nothing steers a terminal, and comes
// out the same way again.
#include "base/exact_utf8.h"
#include "base/terminal_text.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QUtf8StringView>

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

void require(bool holds)
{
    if (!holds)
        std::abort();
}

bool steers(char32_t c)
{
    return c < 0x20 || (c >= 0x7F && c < 0xA0) || c == 0x61C || c == 0x200E || c == 0x200F ||
           c == 0x2028 || c == 0x2029 || (c >= 0x202A && c <= 0x202E) ||
           (c >= 0x2066 && c <= 0x2069);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    QString text(static_cast<qsizetype>(size / 2), Qt::Uninitialized);
    std::memcpy(text.data(), bytes, (size / 2) * 2);
    const QByteArray out = platform::terminalText(text);
    require(QUtf8StringView(out).isValidUtf8());
    const QString read = platform::fromExactUtf8(out.toStdString());
    for (const char32_t c : read.toUcs4())
        require(!steers(c));
    require(platform::terminalText(read) == out);
    return 0;
}
