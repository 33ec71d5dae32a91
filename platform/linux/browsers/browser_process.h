// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <cstdint>
#include <optional>
#include <vector>

namespace platform::browsers {

/// One process, told apart from a later one that gets its number.
struct ProcessMark
{
    std::int32_t pid = 0;
    std::uint64_t startTime = 0; ///< in the kernel's ticks since the machine started

    bool operator==(const ProcessMark&) const = default;
};

/// A process that a browser has started.
struct BrowserChild
{
    ProcessMark process;
    QString executable; ///< full path, also when the file has been replaced since
    /// The browser: the parent, and the ancestors after it that run the same executable. Programs
    /// that the browser was started from do not count.
    std::vector<ProcessMark> browser;
    QString browserExecutable;
};

/// Reads from `procFolder` who `pid` is and who started it; none when it is gone, is replaced by
/// another while we look, or may not be looked at. Reads some small files of the kernel's, bounded.
/// Any thread.
[[nodiscard]] std::optional<BrowserChild>
readBrowserChild(std::int32_t pid, const QString& procFolder = QStringLiteral("/proc"));

/// Tells the process that has the number `pid` now; none when there is none. Reads one small file.
/// Any thread.
[[nodiscard]] std::optional<ProcessMark>
readProcessMark(std::int32_t pid, const QString& procFolder = QStringLiteral("/proc"));

/// Whether the process still runs. Reads one small file.
/// Any thread.
[[nodiscard]] bool isRunning(const ProcessMark& process,
                             const QString& procFolder = QStringLiteral("/proc"));

} // namespace platform::browsers
