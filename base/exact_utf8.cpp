// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "base/exact_utf8.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QStringDecoder>

#include <bit>
#include <utility>

namespace platform {

QString fromExactUtf8(std::string_view utf8)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::ConvertInitialBom);
    return decoder.decode(QByteArrayView(utf8.data(), static_cast<qsizetype>(utf8.size())));
}

std::string_view withoutPartialCharacter(std::string_view utf8)
{
    const auto byteBefore = [utf8](std::size_t end) {
        return static_cast<unsigned char>(utf8[end - 1]);
    };
    std::size_t begin = utf8.size(); // of what follows the first byte of the last character
    while (begin > 0 && utf8.size() - begin < 3 && (byteBefore(begin) & 0xC0U) == 0x80U)
        --begin;
    // As many ones as its first byte begins with, so many bytes a character has that is not ASCII.
    const std::size_t bytes = utf8.size() - begin + 1;
    const bool lacksSome = begin > 0 && std::cmp_less(bytes, std::countl_one(byteBefore(begin)));
    return lacksSome ? utf8.substr(0, begin - 1) : utf8;
}

std::string_view cutUtf8(std::string_view text, std::size_t limit)
{
    return text.size() <= limit ? text : withoutPartialCharacter(text.substr(0, limit));
}

QString cutUtf8(const QString& text, std::size_t limit)
{
    const auto most = static_cast<qsizetype>(limit);
    // Every unit of UTF-16 has a byte at least and three at most.
    if (text.size() <= most / 3)
        return text;
    const QByteArray utf8 = text.left(most + 1).toUtf8();
    if (utf8.size() <= most)
        return text;
    const std::string_view cut =
        cutUtf8({utf8.data(), static_cast<std::size_t>(utf8.size())}, limit);
    return fromExactUtf8(cut);
}

} // namespace platform
