// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/xdg/base_directories.h"

namespace platform::xdg {

namespace {

std::optional<QString> baseDirectory(const QProcessEnvironment& environment,
                                     const QString& variable,
                                     QLatin1StringView underHome)
{
    QString chosen = environment.value(variable);
    if (chosen.startsWith(u'/'))
        return chosen;
    const QString home = environment.value(QStringLiteral("HOME"));
    if (home.startsWith(u'/'))
        return home + underHome;
    return std::nullopt;
}

} // namespace

std::optional<QString> dataHome(const QProcessEnvironment& environment)
{
    return baseDirectory(
        environment, QStringLiteral("XDG_DATA_HOME"), QLatin1StringView("/.local/share"));
}

std::optional<QString> configHome(const QProcessEnvironment& environment)
{
    return baseDirectory(
        environment, QStringLiteral("XDG_CONFIG_HOME"), QLatin1StringView("/.config"));
}

} // namespace platform::xdg
