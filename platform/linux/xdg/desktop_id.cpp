// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/xdg/desktop_id.h"

namespace platform::xdg {

namespace {
constexpr QLatin1String kEnding(".desktop");
constexpr QLatin1String kFolder("/applications/");
} // namespace

QString desktopIdOfPath(const QString& pathInFolder)
{
    if (!pathInFolder.endsWith(kEnding))
        return {};
    return withoutDesktopEnding(pathInFolder).replace(u'/', u'-');
}

QString desktopIdOfFile(const QString& path)
{
    const qsizetype folder = path.lastIndexOf(kFolder);
    return desktopIdOfPath(folder >= 0 ? path.mid(folder + kFolder.size())
                                       : path.mid(path.lastIndexOf(u'/') + 1));
}

QString withoutDesktopEnding(const QString& identifier)
{
    return identifier.endsWith(kEnding) ? identifier.chopped(kEnding.size()) : identifier;
}

} // namespace platform::xdg
