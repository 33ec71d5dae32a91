// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QVariantMap>

#include <cstdint>

namespace platform::gnome {

/// How the shell stands to our extension.
enum class ExtensionState : std::uint8_t {
    Unknown,      ///< The shell has not told.
    Working,      ///< It runs, or is about to.
    NotInstalled, ///< It is in none of the folders where the shell looks.
    NotLoaded,    ///< It was installed after the shell had looked.
    SwitchedOff,  ///< The user has not enabled it.
    AllOff,       ///< The user has switched off all extensions.
    Failed,       ///< It ended with an error.
    Outdated,     ///< It is made for other versions of the shell.
};

/// The name by which the shell knows the extension.
[[nodiscard]] QString extensionUuid();

/// What the shell tells of an extension (org.gnome.Shell.Extensions, GetExtensionInfo), as a state.
/// An empty `info` is one of an extension that the shell does not know; then `isInstalled` says
/// whether it is there. `extensionsAreOn` is the shell's switch for all extensions.
/// Pure; any thread.
[[nodiscard]] ExtensionState
extensionState(const QVariantMap& info, bool extensionsAreOn, bool isInstalled);

/// What the user can do about it, as whole sentences; empty when there is nothing to do.
/// Pure; any thread.
[[nodiscard]] QString adviceFor(ExtensionState state);

} // namespace platform::gnome
