// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "app/shell/app_menu.h"

#include "account/auth_records.h"
#include "account/auth_service.h"
#include "app/shell/service_startup.h"
#include "app/shell/window_router.h"
#include "platform/app_activation.h"
#include "platform/main_queue.h"
#include "sync/sync_service.h"
#include "tracking/tracking_engine.h"

#include <algorithm>

namespace shell {

using account::AuthService;
using platform::MenuRow;
using syncing::SyncService;
using tracking::TrackingEngine;

AppMenu::AppMenu(const Dependencies& dependencies)
    : m_to(dependencies)
{
    connect(&m_to.authService, &AuthService::isAuthenticatedChanged, this, &AppMenu::rowsChanged);
    connect(&m_to.authService, &AuthService::currentUserChanged, this, &AppMenu::rowsChanged);
    connect(&m_to.trackingEngine, &TrackingEngine::isTrackingChanged, this, &AppMenu::rowsChanged);
    connect(&m_to.syncService, &SyncService::isSyncingChanged, this, &AppMenu::rowsChanged);
}

void AppMenu::bindTo(platform::StatusItem& item)
{
    connect(this, &AppMenu::rowsChanged, &item, [this, &item] { item.setRows(rows()); });
    connect(&item, &platform::StatusItem::aboutToShow, this, &AppMenu::shown);
    connect(&item, &platform::StatusItem::chosen, this, &AppMenu::choose);
    item.setRows(rows());
}

std::vector<MenuRow> AppMenu::rows() const
{
    const auto& user = m_to.authService.currentUser();
    return menuRows({
        .isAuthenticated = m_to.authService.isAuthenticated(),
        .userName = user ? std::optional(account::displayName(user)) : std::nullopt,
        .isTracking = m_to.trackingEngine.isTracking(),
        .isSyncing = m_to.syncService.isSyncing(),
    });
}

void AppMenu::choose(int command)
{
    // A click may have been on its way while the menu changed.
    const auto now = rows();
    const bool isThere = std::ranges::any_of(now, [command](const MenuRow& row) {
        return row.kind == MenuRow::Kind::Command && row.isEnabled && row.command == command;
    });
    if (isThere)
        run(static_cast<MenuCommand>(command));
}

bool AppMenu::chooseByShortcut(const QString& shortcut)
{
    const auto now = rows();
    const auto found = std::ranges::find_if(now, [&shortcut](const MenuRow& row) {
        return row.isEnabled && !shortcut.isEmpty() && row.shortcut == shortcut;
    });
    if (found == now.end())
        return false;
    run(static_cast<MenuCommand>(found->command));
    return true;
}

void AppMenu::run(MenuCommand command)
{
    switch (command) {
    case MenuCommand::LogIn:
        m_to.windows.openWindow(kLoginWindow);
        m_to.activation.activateIgnoringOtherApps();
        return;
    case MenuCommand::OpenDashboard:
        m_to.windows.openWindow(kDashboardWindow);
        m_to.activation.activateIgnoringOtherApps();
        return;
    case MenuCommand::ToggleTracking:
        if (m_to.trackingEngine.isTracking())
            m_to.trackingEngine.stop();
        else
            m_to.trackingEngine.start();
        return;
    case MenuCommand::SyncNow:
        m_to.mainQueue.async([&sync = m_to.syncService] { sync.sync(); });
        return;
    case MenuCommand::OpenSettings:
        m_to.windows.openSettings();
        m_to.mainQueue.async(
            [&activation = m_to.activation] { activation.activateIgnoringOtherApps(); });
        return;
    case MenuCommand::Quit:
        Q_EMIT quitRequested();
        return;
    }
}

void AppMenu::shown()
{
    if (m_to.authService.isAuthenticated())
        keepServicesRunning(m_to.syncService, m_to.trackingEngine);
}

} // namespace shell
