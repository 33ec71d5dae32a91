// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "browser/host/monitor_process.h"

#include <array>
#include <climits>
#include <sys/stat.h>
#include <unistd.h>

namespace browser {

namespace {

/// Empty where there is none, or none that may be read.
std::string targetOf(const std::string& link)
{
    std::array<char, PATH_MAX> target{};
    const ssize_t size = ::readlink(link.c_str(), target.data(), target.size());
    return size > 0 ? std::string(target.data(), static_cast<std::size_t>(size)) : std::string();
}

/// By path alone a program with a view of its own of the file system could pass for any. Only root
/// makes files that are root's, and an update removes the one that runs.
bool isReplaced(const struct stat& running, const struct stat& installed)
{
    return running.st_nlink == 0 && running.st_uid == 0 && installed.st_uid == 0;
}

} // namespace

bool runsMonitor(std::uint32_t pid, const std::string& procFolder)
{
    const std::string own = targetOf(procFolder + "/self/exe");
    const std::string monitor = own.substr(0, own.rfind('/') + 1) + QUILLSTEP_EXECUTABLE_NAME;
    const std::string link = procFolder + '/' + std::to_string(pid) + "/exe";
    struct stat installed = {};
    struct stat running = {};
    if (own.empty() || ::stat(monitor.c_str(), &installed) != 0 ||
        ::stat(link.c_str(), &running) != 0)
        return false;
    if (running.st_dev == installed.st_dev && running.st_ino == installed.st_ino)
        return true;
    return isReplaced(running, installed) && targetOf(link) == monitor + " (deleted)";
}

} // namespace browser
