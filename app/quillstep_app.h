// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "app/shell/app_delegate.h"
#include "app/shell/app_menu.h"
#include "app/shell/window_router.h"
#include "platform/app_activation.h"
#include "platform/application_requests.h"
#include "platform/environment.h"
#include "tracking/tracking_engine.h"

#include <QCoroTask>
#include <QObject>
#include <QString>

#include <functional>

namespace platform {
class StatusItem;
}

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
        /// Waits a moment until the settings are on the disk; false when they are not.
        std::function<bool()> finishSettings;
    };

    explicit QuillstepApp(Dependencies dependencies);

    /// Shows the menu in `item`.
    void showIn(platform::StatusItem& item);

    /// Answers what other programs ask.
    void answer(platform::ApplicationRequests& requests);

    /// Once, when everything is set up: the first window opens half a second later, or with the
    /// keyring's first answer when that comes after it. A session that goes on only later, because
    /// the user has unlocked the keyring, takes the place of a login window that is not in use.
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
    void doTask(const QString& name, const platform::ApplicationRequests::Answer& answer);
    void signOut(const platform::ApplicationRequests::Answer& answer);
    QCoro::Task<> resumeSavedSession(platform::ApplicationRequests::Answer answer);
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
