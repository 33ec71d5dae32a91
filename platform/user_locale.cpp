// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/user_locale.h"

#include <unicode/locid.h>

namespace platform {

QByteArray userTimeLocale(const QProcessEnvironment& environment)
{
    for (const char* variable : {"LC_ALL", "LC_TIME", "LANG"}) {
        const QByteArray value = environment.value(QLatin1String(variable)).toLatin1();
        if (value.isEmpty())
            continue;
        const QByteArray name = value.split('.').constFirst();
        if (name == "C" || name == "POSIX")
            break;
        return icu::Locale::createCanonical(value.constData()).getName();
    }
    return "en_US";
}

} // namespace platform
