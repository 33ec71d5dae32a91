// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/page_addresses/browser_process.h"

namespace platform::browsers {

std::optional<BrowserChild> readBrowserChild(std::int32_t pid, const QString& procFolder)
{
    // More processes of one program on top of each other no browser has.
    constexpr std::size_t kMostAncestors = 8;
    const auto stat = posix::readProcessStat(pid, procFolder);
    if (!stat)
        return std::nullopt;
    BrowserChild child{.process = stat->process,
                       .executable = posix::readExecutable(pid, procFolder),
                       .browser = {},
                       .browserExecutable = posix::readExecutable(stat->parent, procFolder)};
    auto ancestor = posix::readProcessStat(stat->parent, procFolder);
    while (ancestor && child.browser.size() < kMostAncestors &&
           posix::readExecutable(ancestor->process.pid, procFolder) == child.browserExecutable) {
        child.browser.push_back(ancestor->process);
        ancestor = posix::readProcessStat(ancestor->parent, procFolder);
    }
    if (child.executable.isEmpty() || child.browserExecutable.isEmpty() || child.browser.empty() ||
        !posix::isRunning(child.process, procFolder))
        return std::nullopt;
    return child;
}

} // namespace platform::browsers
