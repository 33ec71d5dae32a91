// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/xdg/autostart_login_item.h"

#include "platform/build_config.h"
#include "platform/linux/posix/file_descriptor.h"
#include "platform/linux/posix/posix_atomic_file.h"
#include "platform/linux/xdg/autostart_entry.h"
#include "platform/linux/xdg/base_directories.h"
#include "platform/linux/xdg/exec_line.h"

#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace platform::xdg {

namespace {

constexpr QLatin1StringView kFolder("/autostart");
const QString kName = u'/' + QString::fromLatin1(kBundleIdentifier) + QStringLiteral(".desktop");

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
    const auto entry = AutostartEntry::read(path);
    return entry && entry->starts(m_session.currentDesktops, m_session.programFolders);
}

Outcome AutostartLoginItem::setEnabled(bool enabled)
{
    return enabled ? enable() : disable();
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
    if ((user.isEmpty() || !isThere(user)) && isEnabled())
        return success(); // the system does it for every user
    if (user.isEmpty())
        return noPlace();
    if (!m_executable.startsWith(u'/') || !canRun(m_executable, {}))
        return cannot(QLatin1StringView("start at login"),
                      m_executable,
                      QStringLiteral("it is no executable file"));
    AutostartEntry entry = AutostartEntry::read(user).value_or(AutostartEntry());
    entry.enable(m_executable, m_session.currentDesktops);
    return write(entry.content());
}

Outcome AutostartLoginItem::disable()
{
    const QString user = userFile();
    if (user.isEmpty())
        return isEnabled() ? Outcome(noPlace()) : success();
    if (!systemFile().isEmpty()) { // which would count again if ours went
        AutostartEntry entry = AutostartEntry::read(user).value_or(AutostartEntry());
        entry.hide(m_executable);
        return write(entry.content());
    }
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
