// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/menu_row.h"
#include "shell/services.h"

#include <QObject>
#include <QString>

#include <cstdint>
#include <optional>
#include <vector>

namespace platform {
class MainQueue;
class StatusItem;
} // namespace platform

namespace shell {

class WindowRouter;

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

/// The content of the status icon's menu: the rows for the state of the services, kept up to date,
/// and what choosing them does. Main thread; everything given must outlive it.
class AppMenu final : public QObject
{
    Q_OBJECT

public:
    AppMenu(const Services& services, WindowRouter& windows, platform::MainQueue& mainQueue);

    /// Shows the menu in `item` from now on.
    void bindTo(platform::StatusItem& item);

    [[nodiscard]] std::vector<platform::MenuRow> rows() const;

    /// Does what choosing the row with `command` does, if the menu has it now and it is enabled.
    void choose(int command);

    /// Does what the row with this shortcut does, "Ctrl+D"; false when the menu has no such row now
    /// or it is disabled.
    bool chooseByShortcut(const QString& shortcut);

Q_SIGNALS:
    void rowsChanged();

    /// The user wants the program to end.
    void quitRequested();

private:
    void run(MenuCommand command);
    void shown();

    Services m_services;
    WindowRouter& m_windows;
    platform::MainQueue& m_mainQueue;
};

} // namespace shell
