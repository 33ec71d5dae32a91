// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <optional>

namespace platform::xdg {

/// $XDG_DATA_HOME, or ~/.local/share where it is unset, empty or not absolute (XDG Base Directory
/// Specification). None when there is no home folder either. Any thread.
[[nodiscard]] std::optional<QString> dataHome(const QProcessEnvironment& environment);

/// Likewise $XDG_CONFIG_HOME, or ~/.config.
[[nodiscard]] std::optional<QString> configHome(const QProcessEnvironment& environment);

/// The folders that hold desktop files, the first wins: those of XDG_DATA_HOME and XDG_DATA_DIRS
/// with their defaults, then where flatpak and snap put theirs. They need not exist. Touches no
/// file. Any thread.
[[nodiscard]] QStringList desktopEntryFolders(const QProcessEnvironment& environment);

} // namespace platform::xdg
