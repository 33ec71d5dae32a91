// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QString>

namespace support {

/// Installs the native host `host` in a new folder beside a link to the program `monitor`, which is
/// the usage monitor to it then. The installed host, empty when that failed.
[[nodiscard]] inline QString
installHost(const QString& folder, const QString& host, const QString& monitor)
{
    const QString installed = folder + QStringLiteral("/velomira-browser-host");
    const bool isDone = QDir().mkpath(folder) && QFile::copy(host, installed) &&
                        QFile::link(monitor, folder + QStringLiteral("/Quillstep"));
    return isDone ? QFileInfo(installed).canonicalFilePath() : QString();
}

} // namespace support
