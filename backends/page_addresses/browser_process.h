// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/posix/process.h"

#include <QString>

#include <cstdint>
#include <optional>
#include <vector>

namespace platform::browsers {

/// A process that a browser has started.
struct BrowserChild
{
    posix::ProcessMark process;
    QString executable; ///< full path, also when the file has been replaced since
    /// The browser: the parent, and the ancestors after it that run the same executable. Programs
    /// that the browser was started from do not count.
    std::vector<posix::ProcessMark> browser;
    QString browserExecutable;
};

/// Reads from `procFolder` who `pid` is and who started it; none when it is gone, is replaced by
/// another while we look, or may not be looked at. Reads some small files of the kernel's, bounded.
/// Any thread.
[[nodiscard]] std::optional<BrowserChild>
readBrowserChild(std::int32_t pid, const QString& procFolder = QStringLiteral("/proc"));

} // namespace platform::browsers
