// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QVariant>

#include <optional>
#include <string>
#include <string_view>

namespace service {

/// `text`, valid UTF-8, as it is stored: U+0000, which PostgreSQL cannot hold, as U+2400, the
/// picture of it. Never null, which would be stored as no text at all. Any thread.
[[nodiscard]] inline QString storedText(std::string_view text)
{
    QString stored = QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
    stored.replace(QChar(0), QChar(0x2400));
    return stored.isNull() ? QString::fromLatin1("") : stored;
}

[[nodiscard]] inline QVariant storedOptional(const std::optional<std::string>& text)
{
    return text ? QVariant(storedText(*text)) : QVariant();
}

} // namespace service
