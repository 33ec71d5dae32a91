// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <unicode/locid.h>
#include <unicode/unistr.h>

namespace platform {

/// The locale that ICU knows as `name`, its default one for the empty name.
[[nodiscard]] inline icu::Locale icuLocale(const QString& name)
{
    return name.isEmpty() ? icu::Locale::getDefault() : icu::Locale(name.toLatin1().constData());
}

[[nodiscard]] inline QString toQString(const icu::UnicodeString& text)
{
    return QStringView(text.getBuffer(), text.length()).toString();
}

} // namespace platform
