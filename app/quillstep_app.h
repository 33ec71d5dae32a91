// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "app/shell/app_delegate.h"
#include "app/shell/app_menu.h"
#include "app/shell/window_router.h"
#include "platform/activation_token.h"
#include "platform/environment.h"
#include "tracking/tracking_engine.h"

#include <QObject>
#include <QString>

namespace platform {
class ApplicationRequests;
class StatusItem;
} // namespace platform

namespace app {

/// The application: its scenes over the shared services, and the ways in which the user and the
/// desktop reach them.
/// Main thread.
class QuillstepApp final : public QObject
{
    Q_OBJECT

public:
    /// All of it must outlive the application.
    struct Dependencies
    {
        const platform::Environment& environment;
        activity::DataStore& dataStore;
        account::AuthService& authService;
        syncing::SyncService& syncService;
        /// The engine that runs.
        tracking::TrackingEngine& trackingEngine;
        platform::MainQueue& mainQueue;
        platform::UrlOpener& urlOpener;
        platform::AppActivation& activation;
    };

    explicit QuillstepApp(const Dependencies& dependencies);

    /// Shows the menu in `item`.
    void showIn(platform::StatusItem& item);

    /// Answers what other programs ask.
    void answer(platform::ApplicationRequests& requests);

    /// Once, when everything is set up: the first window opens half a second later. A session that
    /// the keyring gives away only after that takes the place of the login window.
    void launch();

    /// Opens the window that answers `url`; an address that no window answers is ignored, with a
    /// line on standard error.
    void openUrl(const QString& url, const platform::ActivationToken& token = {});

    [[nodiscard]] shell::WindowRouter& windows() { return m_windows; }

    [[nodiscard]] shell::AppMenu& menu() { return m_menu; }

    [[nodiscard]] bool isShowingLogin() const { return m_isShowingLogin; }

    void setIsShowingLogin(bool value) { m_isShowingLogin = value; }

Q_SIGNALS:
    /// The user wants the program to end.
    void quitRequested();

private:
    void reopen(const platform::ActivationToken& token);
    void runAction(const QString& name, const platform::ActivationToken& token);
    void continueSession();
    void open(const QString& window, const platform::ActivationToken& token);

    Dependencies m_to;
    shell::AppDelegate m_appDelegate;
    account::AuthService& m_authService;
    // Never started: the engine that runs is the shared one.
    tracking::TrackingEngine m_trackingEngine;
    bool m_isShowingLogin = false;
    bool m_isLaunching = false; ///< from launch() to the first window
    shell::WindowRouter m_windows;
    shell::AppMenu m_menu;
};

} // namespace app
