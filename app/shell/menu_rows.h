// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/menu_row.h"

#include <QString>

#include <cstdint>
#include <optional>
#include <vector>

namespace shell {

/// What choosing a row of the menu does.
enum class MenuCommand : std::uint8_t {
    LogIn,
    OpenDashboard,
    ToggleTracking,
    SyncNow,
    OpenSettings,
    Quit,
};

/// What the menu depends on.
struct MenuState
{
    bool isAuthenticated = false;
    /// The shown name of the user; none without a user record.
    std::optional<QString> userName;
    bool isTracking = false;
    bool isSyncing = false;
};

/// The menu, top to bottom.
[[nodiscard]] std::vector<platform::MenuRow> menuRows(const MenuState& state);

} // namespace shell
