// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <optional>

namespace platform::xdg {

/// What we use of one desktop file (Desktop Entry Specification).
struct DesktopEntry
{
    QString id;             ///< without ".desktop"
    QString name;           ///< in the user's language; empty when the file gives none
    QString startupWmClass; ///< empty when the file gives none
    QString program;        ///< file name of the program in Exec, empty when there is none
    bool shown = true;      ///< false: NoDisplay, not for menus
    bool hidden = false;    ///< true: to be treated as if the file did not exist

    bool operator==(const DesktopEntry&) const = default;
};

/// Reads the desktop file `path` and gives it the id `id`. None when it cannot be read, is no
/// valid key file or does not describe an application. That its program is installed is not asked
/// for: it may run in a sandbox, and the name holds all the same. Any thread; blocks on the disk.
[[nodiscard]] std::optional<DesktopEntry> readDesktopEntry(const QString& path, const QString& id);

} // namespace platform::xdg
