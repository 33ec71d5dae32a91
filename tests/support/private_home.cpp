// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/private_home.h"

#include <QDir>
#include <QFile>

namespace support {

namespace {

struct Folder
{
    const char* variable;
    const char* name;
};

constexpr Folder kFolders[]{{"HOME", "."},
                            {"XDG_CONFIG_HOME", "config"},
                            {"XDG_DATA_HOME", "data"},
                            {"XDG_CACHE_HOME", "cache"},
                            {"XDG_STATE_HOME", "state"},
                            {"XDG_RUNTIME_DIR", "runtime"}};

constexpr const char* kForeign[]{"DISPLAY",
                                 "WAYLAND_DISPLAY",
                                 "XAUTHORITY",
                                 "SWAYSOCK",
                                 "XDG_CURRENT_DESKTOP",
                                 "XDG_SESSION_TYPE",
                                 "XDG_SESSION_DESKTOP",
                                 "XDG_SESSION_ID",
                                 "DBUS_SESSION_BUS_ADDRESS",
                                 "QT_QPA_PLATFORM",
                                 "GDK_BACKEND"};

} // namespace

platform::Outcome PrivateHome::create()
{
    for (const Folder& folder : kFolders) {
        const QString path = m_folder.filePath(QString::fromLatin1(folder.name));
        if (!QDir().mkpath(path) ||
            !QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner))
            return platform::Error{QStringLiteral("cannot create %1").arg(path)};
    }
    return platform::success();
}

QString PrivateHome::logFile(const QString& program) const
{
    return filePath(program.mid(program.lastIndexOf(u'/') + 1) + QLatin1String(".log"));
}

QProcessEnvironment PrivateHome::environment() const
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char* foreign : kForeign)
        environment.remove(QString::fromLatin1(foreign));
    for (const Folder& folder : kFolders)
        environment.insert(QString::fromLatin1(folder.variable),
                           QDir::cleanPath(m_folder.filePath(QString::fromLatin1(folder.name))));
    return environment;
}

} // namespace support
