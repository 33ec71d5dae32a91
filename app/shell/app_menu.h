// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "app/shell/menu_rows.h"
#include "platform/status_item.h"

#include <QObject>

namespace account {
class AuthService;
}

namespace platform {
class AppActivation;
class MainQueue;
} // namespace platform

namespace syncing {
class SyncService;
}

namespace tracking {
class TrackingEngine;
}

namespace shell {

class WindowRouter;

/// The content of the status icon's menu: the rows for the state of the services, kept up to date,
/// and what choosing them does. Main thread; everything given must outlive it.
class AppMenu final : public QObject
{
    Q_OBJECT

public:
    struct Dependencies
    {
        WindowRouter& windows;
        account::AuthService& authService;
        syncing::SyncService& syncService;
        tracking::TrackingEngine& trackingEngine;
        platform::AppActivation& activation;
        platform::MainQueue& mainQueue;
    };

    explicit AppMenu(const Dependencies& dependencies);

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

    Dependencies m_to;
};

} // namespace shell
