// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/xdg/exec_line.h"

#include <QFileInfo>
#include <QStandardPaths>

#include <algorithm>
#include <glib.h>
#include <memory>

namespace platform::xdg {

namespace {

struct FreeTexts
{
    void operator()(gchar** texts) const noexcept { g_strfreev(texts); }
};

/// Only inside quotes may an argument hold these.
constexpr QStringView kReserved = u" \t\n\"'\\><~|&;$*?#()`";
/// Inside quotes, a backslash must precede these.
constexpr QStringView kEscaped = u"\"`$\\";

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
    return isPlain ? argument : u'"' + argument + u'"';
}

QString programOfExecLine(const QString& line)
{
    gchar** parsed = nullptr;
    if (g_shell_parse_argv(line.toUtf8().constData(), nullptr, &parsed, nullptr) == FALSE)
        return {};
    const std::unique_ptr<gchar*, FreeTexts> words(parsed);
    return QString::fromUtf8(*words).replace(QLatin1String("%%"), QLatin1String("%"));
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
