// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <optional>

namespace platform::posix {

// What the kernel tells of a process, proc(5). Each function reads one small file or link, bounded;
// /proc is another folder in tests.
// Any thread.

/// One process, told apart from a later one that gets its number.
struct ProcessMark
{
    std::int32_t pid = 0;
    std::uint64_t startTime = 0; ///< in the kernel's ticks since the machine started

    bool operator==(const ProcessMark&) const = default;
};

struct ProcessStat
{
    ProcessMark process;
    std::int32_t parent = 0;
};

/// The process that has the number `pid` now; none when there is none.
[[nodiscard]] std::optional<ProcessStat>
readProcessStat(std::int32_t pid, const QString& procFolder = QStringLiteral("/proc"));

/// Whether the process still runs.
[[nodiscard]] bool isRunning(const ProcessMark& process,
                             const QString& procFolder = QStringLiteral("/proc"));

/// The full path of the program that `pid` runs, also when the file has been replaced since. Empty
/// when there is no such process or we may not look.
[[nodiscard]] QString readExecutable(std::int32_t pid,
                                     const QString& procFolder = QStringLiteral("/proc"));

/// The file `name` in the folder of `pid`, at most `limit` bytes of it; empty when it cannot be
/// read.
[[nodiscard]] QByteArray readProcessFile(std::int32_t pid,
                                         const char* name,
                                         qint64 limit,
                                         const QString& procFolder = QStringLiteral("/proc"));

} // namespace platform::posix
