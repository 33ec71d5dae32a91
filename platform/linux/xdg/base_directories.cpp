// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/xdg/base_directories.h"

#include <QFile>

namespace platform::xdg {

namespace {

std::optional<QString> absolutePathIn(const char* variable)
{
    QString path = QFile::decodeName(qgetenv(variable));
    if (!path.startsWith(QLatin1Char('/')))
        return std::nullopt;
    return path;
}

} // namespace

std::optional<QString> dataHome()
{
    if (auto path = absolutePathIn("XDG_DATA_HOME"))
        return path;
    if (const auto home = absolutePathIn("HOME"))
        return *home + QLatin1StringView("/.local/share");
    return std::nullopt;
}

} // namespace platform::xdg
