// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/xdg/desktop_entry_folders.h"

#include <QString>

namespace platform::xdg {

QStringList desktopEntryFolders(const QProcessEnvironment& environment)
{
    const auto variable = [&environment](QLatin1String name, const QString& otherwise) {
        const QString value = environment.value(name);
        return value.isEmpty() ? otherwise : value;
    };
    const QString home = environment.value(QStringLiteral("HOME"));
    const QString defaultDataHome = home + QLatin1String("/.local/share");
    QString dataHome = variable(QLatin1String("XDG_DATA_HOME"), defaultDataHome);
    if (!dataHome.startsWith(u'/'))
        dataHome = defaultDataHome;

    QStringList bases{dataHome};
    bases += variable(QLatin1String("XDG_DATA_DIRS"), QStringLiteral("/usr/local/share:/usr/share"))
                 .split(u':');
    bases << QStringLiteral("/var/lib/flatpak/exports/share")
          << dataHome + QLatin1String("/flatpak/exports/share")
          << QStringLiteral("/var/lib/snapd/desktop");

    QStringList folders;
    for (QString& base : bases) {
        while (base.size() > 1 && base.endsWith(u'/'))
            base.chop(1);
        if (base.startsWith(u'/')) // the specification has relative paths ignored
            folders.append(base + QLatin1String("/applications"));
    }
    folders.removeDuplicates();
    return folders;
}

} // namespace platform::xdg
