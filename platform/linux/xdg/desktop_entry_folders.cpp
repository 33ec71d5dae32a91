// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/xdg/desktop_entry_folders.h"

#include "platform/linux/xdg/base_directories.h"

#include <QString>

#include <optional>

namespace platform::xdg {

QStringList desktopEntryFolders(const QProcessEnvironment& environment)
{
    const std::optional<QString> home = dataHome(environment);
    QString others = environment.value(QStringLiteral("XDG_DATA_DIRS"));
    if (others.isEmpty())
        others = QStringLiteral("/usr/local/share:/usr/share");

    QStringList bases = others.split(u':');
    bases.prepend(home.value_or(QString()));
    bases << QStringLiteral("/var/lib/flatpak/exports/share")
          << home.value_or(QString()) + QLatin1String("/flatpak/exports/share")
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
