// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QProcessEnvironment>
#include <QStringList>

namespace platform::xdg {

/// The folders that hold desktop files, the first wins: those of XDG_DATA_HOME and XDG_DATA_DIRS
/// with their defaults (XDG Base Directory Specification), then where flatpak and snap put theirs.
/// They need not exist. Touches no file. Any thread.
[[nodiscard]] QStringList desktopEntryFolders(const QProcessEnvironment& environment);

} // namespace platform::xdg
