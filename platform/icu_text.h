// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <unicode/unistr.h>

namespace platform {

[[nodiscard]] inline QString toQString(const icu::UnicodeString& text)
{
    return QStringView(text.getBuffer(), text.length()).toString();
}

} // namespace platform
