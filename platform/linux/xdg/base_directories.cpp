// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/xdg/base_directories.h"

namespace platform::xdg {

std::optional<QString> dataHome(const QProcessEnvironment& environment)
{
    QString chosen = environment.value(QStringLiteral("XDG_DATA_HOME"));
    if (chosen.startsWith(u'/'))
        return chosen;
    const QString home = environment.value(QStringLiteral("HOME"));
    if (home.startsWith(u'/'))
        return home + QLatin1StringView("/.local/share");
    return std::nullopt;
}

} // namespace platform::xdg
