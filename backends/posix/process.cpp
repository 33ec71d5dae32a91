// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/posix/process.h"

#include <QFile>
#include <QList>

namespace platform::posix {

namespace {

constexpr qint64 kLongestStat = 4096;

QString pathOf(std::int32_t pid, const char* name, const QString& procFolder)
{
    return QStringLiteral("%1/%2/%3").arg(procFolder).arg(pid).arg(QLatin1StringView(name));
}

} // namespace

std::optional<ProcessStat> readProcessStat(std::int32_t pid, const QString& procFolder)
{
    // Counted behind the name, which may hold anything and stands in brackets.
    constexpr qsizetype kParent = 1;
    constexpr qsizetype kStartTime = 19;
    const QByteArray text = readProcessFile(pid, "stat", kLongestStat, procFolder);
    const QList<QByteArray> fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
    if (!text.contains(')') || fields.size() <= kStartTime)
        return std::nullopt;
    bool hasParent = false;
    bool hasStart = false;
    const ProcessStat stat{
        .process = {.pid = pid, .startTime = fields[kStartTime].toULongLong(&hasStart)},
        .parent = fields[kParent].toInt(&hasParent)};
    return hasParent && hasStart ? std::optional(stat) : std::nullopt;
}

bool isRunning(const ProcessMark& process, const QString& procFolder)
{
    const auto stat = readProcessStat(process.pid, procFolder);
    return stat && stat->process == process;
}

QString readExecutable(std::int32_t pid, const QString& procFolder)
{
    constexpr QLatin1StringView kDeleted(" (deleted)"); // replaced by an update while it runs
    QString target = QFile::symLinkTarget(pathOf(pid, "exe", procFolder));
    if (target.endsWith(kDeleted))
        target.chop(kDeleted.size());
    return target;
}

QByteArray
readProcessFile(std::int32_t pid, const char* name, qint64 limit, const QString& procFolder)
{
    QFile file(pathOf(pid, name, procFolder));
    // Unbuffered: files in /proc have no size to read ahead by.
    if (pid <= 0 || !file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return {};
    return file.read(limit);
}

} // namespace platform::posix
