// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/xdg/autostart_login_item.h"
#include "tests/support/written_file.h"

#include <QFile>
#include <QFileInfo>
#include <QString>
#include <QTemporaryDir>

namespace support {

/// A session with folders of its own, in which a program is to be started at login.
class AutostartFolders final
{
public:
    /// The program is there; `folder` is where the user's settings are, one of its own by default.
    explicit AutostartFolders(const QString& folder = {})
        : m_configHome(folder.isEmpty() ? m_folder.filePath(QStringLiteral("config")) : folder)
    {
        addProgram(program());
    }

    [[nodiscard]] QString configHome() const { return m_configHome; }

    [[nodiscard]] QString program() const { return m_folder.filePath(QStringLiteral("monitor")); }

    [[nodiscard]] QString path(const QString& name) const { return m_folder.filePath(name); }

    [[nodiscard]] QString userFile() const { return fileIn(m_configHome); }

    /// The one of the system's first folder or of its second one.
    [[nodiscard]] QString systemFile(int number = 1) const { return fileIn(systemFolder(number)); }

    [[nodiscard]] platform::xdg::AutostartLoginItem::Session session() const
    {
        return {.configHome = m_configHome,
                .configDirs = {systemFolder(1), systemFolder(2)},
                .currentDesktops = {QStringLiteral("Desk"), QStringLiteral("Base")},
                .programFolders = {m_folder.filePath(QStringLiteral("bin"))}};
    }

    [[nodiscard]] platform::xdg::AutostartLoginItem item() { return itemOf(program()); }

    [[nodiscard]] platform::xdg::AutostartLoginItem itemOf(const QString& executable)
    {
        return {session(), executable};
    }

    /// Makes `path` a script that creates the file `path` + ".ran".
    static void addProgram(const QString& path)
    {
        QFile file(path);
        if (!writeFile(path, "#!/bin/sh\n: > \"$0.ran\"\n") ||
            !file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner))
            qFatal("cannot make a program");
    }

    /// Writes a desktop file with these lines behind its head.
    static void write(const QString& file, const QByteArray& lines)
    {
        if (!writeFile(file, "[Desktop Entry]\n" + lines))
            qFatal("cannot write an entry");
    }

    [[nodiscard]] static QByteArray read(const QString& path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

private:
    [[nodiscard]] static QString fileIn(const QString& folder)
    {
        return folder + QStringLiteral("/autostart/com.velomira.UsageMonitor.desktop");
    }

    [[nodiscard]] QString systemFolder(int number) const
    {
        return m_folder.filePath(QStringLiteral("system%1").arg(number));
    }

    QTemporaryDir m_folder;
    QString m_configHome;
};

} // namespace support
