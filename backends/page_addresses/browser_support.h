// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/page_addresses/browser_script_runner.h"

#include <QByteArray>
#include <QList>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <optional>

namespace platform::browsers {

/// The name by which the extension knows the native host. Any thread.
[[nodiscard]] QString hostName();

/// The manifest, built into this program, that leads browsers of a family to the host's executable
/// at the absolute path `executable`; none for a path that a manifest cannot name. Any thread.
[[nodiscard]] std::optional<QByteArray> hostManifest(Family family, const QString& executable);

struct SupportFile
{
    QString name;
    QByteArray content;
};

/// The files of the extension for a family, built into this program. Any thread.
[[nodiscard]] QList<SupportFile> extensionFiles(Family family);

/// Where --install-browser-support and --diagnose look.
struct SupportPlaces
{
    QString home;
    QString configHome;
    QString dataHome;
    QStringList programFolders; ///< of $PATH
    QString hostExecutable;     ///< full path without links; empty when it is missing
    QString root;               ///< put before the system's folders; empty but in tests
    QString procFolder = QStringLiteral("/proc");
};

/// The places of a user with this environment; none without a home folder.
[[nodiscard]] std::optional<SupportPlaces> supportPlaces(const QProcessEnvironment& environment);

/// The native host that belongs to this program: the one beside it; empty when there is none. Needs
/// an application object.
[[nodiscard]] QString installedHostExecutable();

struct SupportOutcome
{
    bool isDone = true; ///< false when one of the lines tells of a failure
    QStringList lines;  ///< what was done, and what the user still has to do
};

/// Sets up the browsers of one user for whom no package does it: leads every browser whose data
/// folder is there to the native host, and puts the extension where the user can load it from. May
/// be repeated. Files that are not ours stay as they are. Blocks on the disk.
[[nodiscard]] SupportOutcome installBrowserSupport(const SupportPlaces& places);

/// Takes away what installBrowserSupport() has created, folders only while they are empty.
[[nodiscard]] SupportOutcome removeBrowserSupport(const SupportPlaces& places);

/// For --diagnose, a line for each browser that is installed: whether it tells addresses, and if
/// not, why. Nothing in it is personal. Blocks on the disk; looks at all processes.
[[nodiscard]] QStringList browserReport(const SupportPlaces& places);

} // namespace platform::browsers
