// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/xdg/autostart_login_item.h"

#include "backends/posix/file_descriptor.h"
#include "backends/posix/posix_atomic_file.h"
#include "backends/xdg/base_directories.h"
#include "backends/xdg/key_file.h"
#include "base/build_config.h"

#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QStandardPaths>

#include <algorithm>
#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace platform::xdg {

namespace {

// Decisions and failures, for developers; off by default.
Q_LOGGING_CATEGORY(lcAutostart, "velomira.autostart", QtCriticalMsg)

constexpr QLatin1StringView kApplication("Application");
constexpr QLatin1StringView kFolder("/autostart");
const QString kName = u'/' + QString::fromLatin1(kBundleIdentifier) + QStringLiteral(".desktop");

/// What several desktops write when the user switches an entry off in their settings.
constexpr const char* kSwitch = "X-GNOME-Autostart-enabled";

/// Only inside quotes may an argument hold these.
constexpr QStringView kReserved = u" \t\n\"'\\><~|&;$*?#()`";
/// Inside quotes, a backslash must precede these.
constexpr QStringView kEscaped = u"\"`$\\";

/// The value of a desktop file's Exec key (Desktop Entry Specification, "The Exec key") that starts
/// the program `path` without arguments. Not yet escaped as every text value of the file is.
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

/// Whether `program` can be run: an absolute path leads to an executable file, a name is one of a
/// program in `folders`.
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

/// Whether OnlyShowIn and NotShowIn let a desktop of these names take the entry: the first name
/// that either lists decides.
bool isForOneOf(const KeyFile& entry, const QStringList& desktops)
{
    const QStringList only = entry.list("OnlyShowIn");
    const QStringList never = entry.list("NotShowIn");
    for (const QString& desktop : desktops) {
        if (only.contains(desktop))
            return true;
        if (never.contains(desktop))
            return false;
    }
    return !entry.has("OnlyShowIn");
}

/// Whether a desktop of these names starts a program for the entry, which is looked for in
/// `programFolders`.
bool starts(const KeyFile& entry, const QStringList& desktops, const QStringList& programFolders)
{
    if (entry.flag("Hidden").value_or(false) || !entry.flag(kSwitch).value_or(true))
        return false;
    if (entry.text("Type") != kApplication || !isForOneOf(entry, desktops))
        return false;
    const QString tried = entry.text("TryExec");
    if (!tried.isEmpty() && !canRun(tried, programFolders))
        return false;
    return canRun(programOfExecLine(entry.text("Exec")), programFolders);
}

/// The entry as it is in the file `path`, or a new one, with what every entry of ours says. A name
/// and an icon that somebody has given it stay.
KeyFile describedEntry(const QString& path, const QString& executable)
{
    KeyFile entry = KeyFile::read(path, KeyFile::Purpose::Changing).value_or(KeyFile());
    entry.setText("Type", kApplication);
    if (!entry.has("Name"))
        entry.setText("Name", QString::fromLatin1(kBundleDisplayName));
    if (!entry.has("Icon"))
        entry.setText("Icon", QString::fromLatin1(kBundleIdentifier));
    entry.setText("Exec", execLine(executable));
    return entry;
}

/// The content of an entry that a desktop of these names starts `executable` for, whatever may have
/// kept it from that.
QByteArray enabledEntry(const QString& path, const QString& executable, const QStringList& desktops)
{
    KeyFile entry = describedEntry(path, executable);
    entry.remove("Hidden");
    entry.remove("TryExec"); // it may name a program that has gone
    entry.setFlag(kSwitch, true);
    if (!isForOneOf(entry, desktops)) {
        entry.remove("OnlyShowIn");
        entry.remove("NotShowIn");
    }
    return entry.content();
}

/// That of an entry that hides those of the same name in other folders and starts nothing.
QByteArray hidingEntry(const QString& path, const QString& executable)
{
    KeyFile entry = describedEntry(path, executable);
    entry.setFlag("Hidden", true);
    return entry.content();
}

/// Whether anything has that name, a link to nowhere included.
bool isThere(const QString& path)
{
    const QFileInfo info(path);
    return info.exists() || info.isSymLink();
}

Error cannot(QLatin1StringView what, const QString& path, const QString& reason)
{
    return {QStringLiteral("cannot %1 %2: %3").arg(what, path, reason)};
}

Error noPlace()
{
    return {QStringLiteral("there is no folder for the user's settings: neither XDG_CONFIG_HOME "
                           "nor HOME is set to an absolute path")};
}

/// Creates the folder `path`, open to its owner only, and those above it that are missing.
Outcome makeFolder(const QString& path)
{
    if (QFileInfo(path).isDir())
        return success();
    const QString parent = QFileInfo(path).path();
    if (parent != path) {
        if (Outcome made = makeFolder(parent); !made)
            return made;
    }
    if (::mkdir(QFile::encodeName(path).constData(), S_IRWXU) != 0)
        return cannot(QLatin1StringView("create the folder"), path, posix::systemError().text);
    return success();
}

QStringList pathsIn(const QString& list)
{
    QStringList paths;
    for (const QString& path : list.split(u':', Qt::SkipEmptyParts)) {
        if (path.startsWith(u'/'))
            paths.append(path);
    }
    return paths;
}

} // namespace

AutostartLoginItem::Session AutostartLoginItem::Session::of(const QProcessEnvironment& environment)
{
    const auto list = [&environment](const char* name) {
        return environment.value(QLatin1String(name));
    };
    Session session{
        .configHome = xdg::configHome(environment),
        .configDirs = pathsIn(list("XDG_CONFIG_DIRS")),
        .currentDesktops = list("XDG_CURRENT_DESKTOP").split(u':', Qt::SkipEmptyParts),
        .programFolders = pathsIn(list("PATH")),
    };
    if (session.configDirs.isEmpty())
        session.configDirs.append(QStringLiteral("/etc/xdg"));
    return session;
}

AutostartLoginItem::AutostartLoginItem(Session session, QString executable)
    : m_session(std::move(session))
    , m_executable(std::move(executable))
{
}

bool AutostartLoginItem::isEnabled() const
{
    const QString user = userFile();
    const QString path = !user.isEmpty() && isThere(user) ? user : systemFile();
    if (path.isEmpty())
        return false;
    const auto entry = KeyFile::read(path, KeyFile::Purpose::Reading);
    if (!entry)
        qCWarning(lcAutostart, "the entry for this program cannot be read");
    return entry && starts(*entry, m_session.currentDesktops, m_session.programFolders);
}

Outcome AutostartLoginItem::setEnabled(bool enabled)
{
    Outcome done = enabled ? enable() : disable();
    if (!done)
        qCWarning(lcAutostart, "the login item cannot be switched %s", enabled ? "on" : "off");
    return done;
}

/// Empty when there is no place for one.
QString AutostartLoginItem::userFile() const
{
    return m_session.configHome ? *m_session.configHome + kFolder + kName : QString();
}

/// The one that counts of those in the system's folders; empty when there is none.
QString AutostartLoginItem::systemFile() const
{
    for (const QString& folder : m_session.configDirs) {
        if (QString path = folder + kFolder + kName; isThere(path))
            return path;
    }
    return {};
}

Outcome AutostartLoginItem::enable()
{
    const QString user = userFile();
    if ((user.isEmpty() || !isThere(user)) && isEnabled()) { // the system does it for every user
        qCInfo(lcAutostart, "the system starts it at login already");
        return success();
    }
    if (user.isEmpty())
        return noPlace();
    if (!m_executable.startsWith(u'/') || !canRun(m_executable, {}))
        return cannot(QLatin1StringView("start at login"),
                      m_executable,
                      QStringLiteral("it is no executable file"));
    return write(enabledEntry(user, m_executable, m_session.currentDesktops));
}

Outcome AutostartLoginItem::disable()
{
    const QString user = userFile();
    if (user.isEmpty())
        return isEnabled() ? Outcome(noPlace()) : success();
    if (!systemFile().isEmpty()) // which would count again if ours went
        return write(hidingEntry(user, m_executable));
    if (::unlink(QFile::encodeName(user).constData()) != 0 && errno != ENOENT)
        return cannot(QLatin1StringView("remove"), user, posix::systemError().text);
    return success();
}

Outcome AutostartLoginItem::write(const QByteArray& content)
{
    const QString path = userFile();
    if (Outcome made = makeFolder(QFileInfo(path).path()); !made)
        return made;
    if (const Outcome written = posix::replaceFile(path, content); !written)
        return cannot(QLatin1StringView("write"), path, written.error().text);
    return success();
}

} // namespace platform::xdg
