// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/browsers/browser_process.h"

#include <QByteArray>
#include <QFile>
#include <QList>

namespace platform::browsers {

namespace {

/// More processes of one program on top of each other no browser has.
constexpr std::size_t kMostAncestors = 8;
constexpr qint64 kLongestStat = 4096;

struct Stat
{
    ProcessMark process;
    std::int32_t parent = 0;
};

std::optional<Stat> statOf(std::int32_t pid, const QString& procFolder)
{
    // Fields of proc(5), counted behind the name, which may hold anything and stands in brackets.
    constexpr qsizetype kParent = 1;
    constexpr qsizetype kStartTime = 19;
    QFile file(QStringLiteral("%1/%2/stat").arg(procFolder).arg(pid));
    if (pid <= 0 || !file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return std::nullopt;
    const QByteArray text = file.read(kLongestStat);
    const QList<QByteArray> fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
    if (!text.contains(')') || fields.size() <= kStartTime)
        return std::nullopt;
    bool hasParent = false;
    bool hasStart = false;
    const Stat stat{.process = {.pid = pid, .startTime = fields[kStartTime].toULongLong(&hasStart)},
                    .parent = fields[kParent].toInt(&hasParent)};
    return hasParent && hasStart ? std::optional(stat) : std::nullopt;
}

QString executableOf(std::int32_t pid, const QString& procFolder)
{
    constexpr QLatin1StringView kDeleted(" (deleted)"); // replaced by an update while it runs
    const QString link = QStringLiteral("%1/%2/exe").arg(procFolder).arg(pid);
    QString target = QFile::symLinkTarget(link);
    if (target.endsWith(kDeleted))
        target.chop(kDeleted.size());
    return target;
}

} // namespace

std::optional<BrowserChild> readBrowserChild(std::int32_t pid, const QString& procFolder)
{
    const auto stat = statOf(pid, procFolder);
    if (!stat)
        return std::nullopt;
    BrowserChild child{.process = stat->process,
                       .executable = executableOf(pid, procFolder),
                       .browser = {},
                       .browserExecutable = executableOf(stat->parent, procFolder)};
    auto ancestor = statOf(stat->parent, procFolder);
    while (ancestor && child.browser.size() < kMostAncestors &&
           executableOf(ancestor->process.pid, procFolder) == child.browserExecutable) {
        child.browser.push_back(ancestor->process);
        ancestor = statOf(ancestor->parent, procFolder);
    }
    if (child.executable.isEmpty() || child.browserExecutable.isEmpty() || child.browser.empty() ||
        !isRunning(child.process, procFolder))
        return std::nullopt;
    return child;
}

std::optional<ProcessMark> readProcessMark(std::int32_t pid, const QString& procFolder)
{
    const auto stat = statOf(pid, procFolder);
    return stat ? std::optional(stat->process) : std::nullopt;
}

bool isRunning(const ProcessMark& process, const QString& procFolder)
{
    return readProcessMark(process.pid, procFolder) == process;
}

} // namespace platform::browsers
