// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

namespace platform::xdg {

/// The id of a desktop file without its ending ".desktop" (Desktop Entry Specification), from its
/// path within an "applications" folder: sub-folders become prefixes, "kde/term.desktop" is
/// "kde-term". Empty when the path does not end in ".desktop". Any thread.
[[nodiscard]] QString desktopIdOfPath(const QString& pathInFolder);

/// The same from the path of the file, by the last folder named "applications" in it; by the file
/// name alone when there is none.
[[nodiscard]] QString desktopIdOfFile(const QString& path);

/// `identifier` without an ending ".desktop", which some programs leave on it.
[[nodiscard]] QString withoutDesktopEnding(const QString& identifier);

} // namespace platform::xdg
