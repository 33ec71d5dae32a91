// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/xdg/process_facts.h"

#include "backends/posix/process.h"
#include "backends/xdg/desktop_entry_index.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QList>

#include <optional>

namespace platform::xdg {

namespace {
constexpr qint64 kSmallFile = 16LL * 1024;
/// The kernel allows far larger ones; such a process just goes without this fact.
constexpr qint64 kLargestEnvironment = 1024LL * 1024;

/// `bytes` before the first `end`, all of it when there is none.
QByteArray upTo(const QByteArray& bytes, char end)
{
    return bytes.split(end).constFirst();
}

QString baseName(const QString& path)
{
    return path.mid(path.lastIndexOf(u'/') + 1);
}

std::optional<QByteArray> variableIn(const QByteArray& environment, const QByteArray& name)
{
    for (const QByteArray& variable : environment.split('\0')) {
        if (variable.startsWith(name + '='))
            return variable.mid(name.size() + 1);
    }
    return std::nullopt;
}

QString launchedDesktopIdIn(const QByteArray& environment, std::int32_t pid)
{
    // Children inherit the variables; only the launched process carries its own number.
    if (variableIn(environment, "GIO_LAUNCHED_DESKTOP_FILE_PID") != QByteArray::number(pid))
        return {};
    const auto file = variableIn(environment, "GIO_LAUNCHED_DESKTOP_FILE");
    return desktopIdOfFile(QString::fromLocal8Bit(file.value_or(QByteArray())));
}

/// Undoes systemd's escaping: \xHH stands for a byte.
QString unescaped(QByteArray name)
{
    constexpr qsizetype kEscapeLength = 4;
    for (qsizetype at = name.indexOf("\\x"); at >= 0; at = name.indexOf("\\x", at + 1)) {
        bool isNumber = false;
        const int byte = name.mid(at + 2, 2).toInt(&isNumber, 16);
        if (isNumber && at + kEscapeLength <= name.size())
            name.replace(at, kEscapeLength, QByteArray(1, static_cast<char>(byte)));
    }
    return QString::fromUtf8(name);
}

/// The part of an application's unit name that holds the id, perhaps with the launcher before it:
/// app[-LAUNCHER]-ID-RANDOM.scope or app[-LAUNCHER]-ID[@RANDOM].service.
QByteArray idPartOfUnit(const QByteArray& unit)
{
    constexpr QByteArrayView kPrefix("app-");
    constexpr QByteArrayView kScope(".scope");
    constexpr QByteArrayView kService(".service");
    if (!unit.startsWith(kPrefix))
        return {};
    const QByteArray name = unit.mid(kPrefix.size());
    if (name.endsWith(kScope))
        return name.left(name.lastIndexOf('-')); // nothing without a random part
    if (name.endsWith(kService)) {
        const QByteArray stem = name.chopped(kService.size());
        return upTo(stem, '@');
    }
    return {};
}

QStringList desktopIdsInControlGroup(const QByteArray& cgroup)
{
    QStringList ids;
    for (const QByteArray& line : cgroup.split('\n')) {
        for (const QByteArray& unit : line.split('/')) {
            const QByteArray part = idPartOfUnit(unit);
            if (part.isEmpty())
                continue;
            const qsizetype hyphen = part.indexOf('-');
            if (hyphen >= 0)
                ids.append(unescaped(part.mid(hyphen + 1)));
            ids.append(unescaped(part));
        }
    }
    ids.removeDuplicates();
    return ids;
}

QString flatpakIdIn(const QByteArray& info)
{
    constexpr QByteArrayView kName("name=");
    bool inApplication = false;
    for (const QByteArray& line : info.split('\n')) {
        if (line.startsWith('['))
            inApplication = line.trimmed() == "[Application]";
        if (inApplication && line.startsWith(kName))
            return QString::fromUtf8(line.mid(kName.size()).trimmed());
    }
    return {};
}
} // namespace

ProcessFacts readProcessFacts(std::int32_t pid, const QString& procFolder)
{
    if (pid <= 0)
        return {};
    const auto contentOf = [pid, &procFolder](const char* name, qint64 limit = kSmallFile) {
        return posix::readProcessFile(pid, name, limit, procFolder);
    };
    return {
        .launchedDesktopId = launchedDesktopIdIn(contentOf("environ", kLargestEnvironment), pid),
        .controlGroupDesktopIds = desktopIdsInControlGroup(contentOf("cgroup")),
        .flatpakId = flatpakIdIn(contentOf("root/.flatpak-info")),
        .executable = baseName(posix::readExecutable(pid, procFolder)),
        .calledAs = baseName(QString::fromLocal8Bit(upTo(contentOf("cmdline"), '\0'))),
        .commandName = QString::fromLocal8Bit(contentOf("comm").trimmed()),
    };
}

} // namespace platform::xdg
