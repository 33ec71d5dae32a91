// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "app/shell/menu_rows.h"

namespace shell {

namespace {

using platform::MenuRow;

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

} // namespace shell
