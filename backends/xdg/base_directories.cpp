// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/xdg/base_directories.h"

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

QStringList desktopEntryFolders(const QProcessEnvironment& environment)
{
    const QString home = dataHome(environment).value_or(QString());
    QString others = environment.value(QStringLiteral("XDG_DATA_DIRS"));
    if (others.isEmpty())
        others = QStringLiteral("/usr/local/share:/usr/share");

    QStringList bases = others.split(u':');
    bases.prepend(home);
    bases << QStringLiteral("/var/lib/flatpak/exports/share")
          << home + QLatin1String("/flatpak/exports/share")
          << QStringLiteral("/var/lib/snapd/desktop");

    QStringList folders;
    for (QString& base : bases) {
        while (base.size() > 1 && base.endsWith(u'/'))
            base.chop(1);
        if (base.startsWith(u'/')) // others are not valid here
            folders.append(base + QLatin1String("/applications"));
    }
    folders.removeDuplicates();
    return folders;
}

} // namespace platform::xdg
