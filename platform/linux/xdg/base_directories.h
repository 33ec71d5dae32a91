// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QProcessEnvironment>
#include <QString>

#include <optional>

namespace platform::xdg {

/// $XDG_DATA_HOME, or ~/.local/share where it is unset, empty or not absolute (XDG Base Directory
/// Specification). None when there is no home folder either. Any thread.
[[nodiscard]] std::optional<QString> dataHome(const QProcessEnvironment& environment);

/// Likewise $XDG_CONFIG_HOME, or ~/.config.
[[nodiscard]] std::optional<QString> configHome(const QProcessEnvironment& environment);

} // namespace platform::xdg
