// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QStringList>

#include <cstdint>

namespace platform::xdg {

/// What a process tells about the application it belongs to. An empty member: it does not tell, or
/// we may not read it.
struct ProcessFacts
{
    /// The desktop file that the process itself, not a parent of it, was launched from by GIO.
    QString launchedDesktopId;
    /// Desktop ids that the name of its control group may stand for (the naming of systemd for
    /// desktop environments), the likelier first: an unescaped hyphen may belong to the id or
    /// divide it from the launcher's name.
    QStringList controlGroupDesktopIds;
    /// The application that its flatpak sandbox was made for.
    QString flatpakId;
    /// File name of the executable, and of the program as it was called (argv[0]).
    QString executable;
    QString calledAs;
    /// The process's own short name, at most 15 characters.
    QString commandName;

    bool operator==(const ProcessFacts&) const = default;
};

/// Reads the facts about the process `pid` from `procFolder`. All are empty when there is no such
/// process or `pid` is not positive. Reads a few small files of the kernel's, bounded.
/// Any thread.
[[nodiscard]] ProcessFacts readProcessFacts(std::int32_t pid,
                                            const QString& procFolder = QStringLiteral("/proc"));

} // namespace platform::xdg
