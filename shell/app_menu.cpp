// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "shell/app_menu.h"

#include "account/auth_records.h"
#include "account/auth_service.h"
#include "platform/main_queue.h"
#include "platform/status_item.h"
#include "shell/window_router.h"
#include "sync/sync_service.h"
#include "tracking/tracking_engine.h"

#include <algorithm>
#include <utility>

namespace shell {

using account::AuthService;
using platform::MenuRow;
using syncing::SyncService;
using tracking::TrackingEngine;

namespace {

const QString kTitle = QStringLiteral("Velomira");
const QString kSubtitle = QStringLiteral("Usage Monitor");
const QString kSignedOut = QStringLiteral(u"\u26A0\uFE0F Not Logged In");
const QString kLogIn = QStringLiteral("Log In");
const QString kUserPrefix = QStringLiteral(u"\U0001F464 ");
const QString kActive = QStringLiteral(u"\u2713 Tracking Active");
const QString kPaused = QStringLiteral(u"\u23F8 Tracking Paused");
const QString kOpenDashboard = QStringLiteral("Open Dashboard");
const QString kPause = QStringLiteral("Pause Tracking");
const QString kResume = QStringLiteral("Resume Tracking");
const QString kSyncNow = QStringLiteral("Sync Now");
const QString kSettings = QStringLiteral("Settings");
const QString kQuit = QStringLiteral("Quit Velomira");

MenuRow label(const QString& text, MenuRow::Font font = MenuRow::Font::Body)
{
    return {.kind = MenuRow::Kind::Label, .text = text, .font = font, .shortcut = {}};
}

MenuRow command(MenuCommand meaning, const QString& text, const QString& shortcut = {})
{
    return {.kind = MenuRow::Kind::Command,
            .text = text,
            .shortcut = shortcut,
            .command = static_cast<int>(meaning)};
}

std::vector<MenuRow> signedInRows(const MenuState& state)
{
    std::vector<MenuRow> rows;
    if (state.userName)
        rows.push_back(label(kUserPrefix + *state.userName, MenuRow::Font::Subheadline));
    rows.push_back(label(state.isTracking ? kActive : kPaused));
    rows.emplace_back();
    rows.push_back(command(MenuCommand::OpenDashboard, kOpenDashboard, QStringLiteral("Ctrl+D")));
    rows.push_back(command(MenuCommand::ToggleTracking, state.isTracking ? kPause : kResume));
    rows.push_back(command(MenuCommand::SyncNow, kSyncNow));
    rows.back().isEnabled = !state.isSyncing;
    return rows;
}

} // namespace

std::vector<MenuRow> menuRows(const MenuState& state)
{
    std::vector<MenuRow> rows{
        label(kTitle, MenuRow::Font::Headline),
        label(kSubtitle, MenuRow::Font::Caption),
        MenuRow{},
    };
    if (state.isAuthenticated) {
        for (MenuRow& row : signedInRows(state))
            rows.push_back(std::move(row));
    } else {
        rows.push_back(label(kSignedOut));
        rows.push_back(command(MenuCommand::LogIn, kLogIn));
    }
    rows.emplace_back();
    rows.push_back(command(MenuCommand::OpenSettings, kSettings, QStringLiteral("Ctrl+,")));
    rows.emplace_back();
    rows.push_back(command(MenuCommand::Quit, kQuit, QStringLiteral("Ctrl+Q")));
    return rows;
}

AppMenu::AppMenu(const Services& services, WindowRouter& windows, platform::MainQueue& mainQueue)
    : m_services(services)
    , m_windows(windows)
    , m_mainQueue(mainQueue)
{
    const auto& [store, auth, sync, tracking] = m_services;
    connect(&auth, &AuthService::isAuthenticatedChanged, this, &AppMenu::rowsChanged);
    connect(&auth, &AuthService::currentUserChanged, this, &AppMenu::rowsChanged);
    connect(&tracking, &TrackingEngine::isTrackingChanged, this, &AppMenu::rowsChanged);
    connect(&sync, &SyncService::isSyncingChanged, this, &AppMenu::rowsChanged);
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
    const auto& user = m_services.authService.currentUser();
    return menuRows({
        .isAuthenticated = m_services.authService.isAuthenticated(),
        .userName = user ? std::optional(account::displayName(user)) : std::nullopt,
        .isTracking = m_services.trackingEngine.isTracking(),
        .isSyncing = m_services.syncService.isSyncing(),
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
    qCInfo(lcShell) << "the menu is asked for command" << static_cast<int>(command);
    switch (command) {
    case MenuCommand::LogIn:
        m_windows.show(kLoginWindow);
        return;
    case MenuCommand::OpenDashboard:
        m_windows.show(kDashboardWindow);
        return;
    case MenuCommand::ToggleTracking:
        if (m_services.trackingEngine.isTracking())
            m_services.trackingEngine.stop();
        else
            m_services.trackingEngine.start();
        return;
    case MenuCommand::SyncNow:
        m_mainQueue.async([&sync = m_services.syncService] { sync.sync(); });
        return;
    case MenuCommand::OpenSettings:
        m_windows.openSettings();
        m_mainQueue.async([&windows = m_windows] { windows.activate(); });
        return;
    case MenuCommand::Quit:
        Q_EMIT quitRequested();
        return;
    }
}

void AppMenu::shown()
{
    if (m_services.authService.isAuthenticated())
        m_services.keepRunning();
}

} // namespace shell
