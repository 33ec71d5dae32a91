// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "base/terminal_text.h"

#include <QString>

#include <algorithm>

namespace platform {

namespace {

/// All of them are one unit of UTF-16.
bool isUnfit(QChar c)
{
    const char16_t unit = c.unicode();
    if (unit < 0xA0)
        return unit < 0x20 || unit >= 0x7F;
    return unit == 0x061C || unit == 0x200E || unit == 0x200F ||
           (unit >= 0x2028 && unit <= 0x202E) || (unit >= 0x2066 && unit <= 0x2069);
}

} // namespace

QByteArray terminalText(QStringView text)
{
    if (std::ranges::none_of(text, isUnfit))
        return text.toUtf8();
    QString fit = text.toString();
    std::ranges::replace_if(fit, isUnfit, u' ');
    return fit.toUtf8();
}

} // namespace platform
