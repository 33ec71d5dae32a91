// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/posix/process.h"

#include <QByteArray>
#include <QHash>
#include <QString>

#include <cstdint>
#include <filesystem>

namespace platform::atspi {

/// Whether browsers of the Firefox family keep a history. One that is set never to remember any
/// has private windows only, and marks none of them. Its settings are found through its process:
/// the lock of its profile that it holds open, and the folder of its program. All are looked for
/// where the process itself sees them, which a sandbox may have elsewhere.
/// Main thread. Reads some small files, bounded, once for each process and again when its profile's
/// settings have changed.
class FirefoxHistory final
{
public:
    explicit FirefoxHistory(QString procFolder = QStringLiteral("/proc"));

    /// Whether this process keeps a history. False when it may not: when its settings say so or
    /// ever did since they were first read, since they hold from the next start on, or when they
    /// cannot be found or read.
    [[nodiscard]] bool isKeptBy(std::int32_t process);

private:
    struct Known
    {
        posix::ProcessMark process;
        bool isKept = false;
        std::filesystem::path profile;
        /// Of the profile's files when they were read.
        QByteArray stamp;
    };

    [[nodiscard]] Known look(const posix::ProcessMark& process) const;

    QString m_procFolder;
    QHash<std::int32_t, Known> m_known;
};

} // namespace platform::atspi
