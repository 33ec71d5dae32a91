// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/xdg/exec_line.h"

#include "platform/linux/posix/glib_owned.h"

#include <QFileInfo>
#include <QStandardPaths>

#include <algorithm>
#include <glib.h>

namespace platform::xdg {

namespace {

/// Only inside quotes may an argument hold these.
constexpr QStringView kReserved = u" \t\n\"'\\><~|&;$*?#()`";
/// Inside quotes, a backslash must precede these.
constexpr QStringView kEscaped = u"\"`$\\";

/// Whether `program` is the one that sets variables and then runs its arguments.
bool isEnv(const QString& program)
{
    return program.mid(program.lastIndexOf(u'/') + 1) == QLatin1String("env");
}

} // namespace

QString execLine(const QString& path)
{
    QString argument;
    for (const QChar c : path) {
        if (kEscaped.contains(c))
            argument += u'\\';
        if (c == u'%') // which would begin a field code
            argument += u'%';
        argument += c;
    }
    // Quotes only where they are needed: what "%%" is inside of them is left open.
    const bool isPlain = std::ranges::none_of(path, [](QChar c) { return kReserved.contains(c); });
    if (!isPlain)
        argument = u'"' + argument + u'"';
    // Desktops look for the program before they make "%%" a percent sign; env's arguments are not
    // looked at that early. What holds an equals sign would be a variable to it.
    const bool isMissed = path.contains(u'%') && !path.contains(u'=');
    return isMissed ? QLatin1String("env ") + argument : argument;
}

QString programOfExecLine(const QString& line)
{
    gchar** parsed = nullptr;
    if (g_shell_parse_argv(line.toUtf8().constData(), nullptr, &parsed, nullptr) == FALSE)
        return {};
    const posix::GlibOwned<gchar*> words(parsed);
    gchar** word = words.get();
    if (isEnv(QString::fromUtf8(*word))) {
        do
            ++word;
        while (*word != nullptr && QString::fromUtf8(*word).contains(u'='));
    }
    return QString::fromUtf8(*word).replace(QLatin1String("%%"), QLatin1String("%"));
}

bool canRun(const QString& program, const QStringList& folders)
{
    if (program.startsWith(u'/')) {
        const QFileInfo file(program);
        return file.isFile() && file.isExecutable();
    }
    // A name that is a path in part would depend on the folder that the desktop runs in.
    return !program.isEmpty() && !program.contains(u'/') && !folders.isEmpty() &&
           !QStandardPaths::findExecutable(program, folders).isEmpty();
}

} // namespace platform::xdg
