// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/app_activation.h"
#include "platform/application_requests.h"
#include "platform/desktop.h"
#include "platform/environment.h"
#include "shell/app_menu.h"
#include "shell/services.h"
#include "shell/window_router.h"
#include "tracking/tracking_engine.h"

#include <QCoroTask>
#include <QObject>
#include <QString>

#include <functional>

namespace app {

/// Decides which window the user sees first: at launch and when the running program is opened
/// again. Main thread; everything given must outlive it.
class AppDelegate final : public QObject
{
    Q_OBJECT

public:
    AppDelegate(const shell::Services& services, platform::Desktop desktop);

    /// Once, when the process has started: opens the first window half a second later, or as soon
    /// after that as it is known whether a session goes on.
    void applicationDidFinishLaunching();

    /// The user opened the running program once more. Without a visible window the first window
    /// opens at once. Always true: the answer that this question has where it comes from.
    bool applicationShouldHandleReopen(bool hasVisibleWindows);

Q_SIGNALS:
    /// The first window has been asked for. Once.
    void launched();

private:
    void finishLaunching();
    void openInitialWindow();

    shell::Services m_services;
    platform::Desktop m_desktop;
};

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
        shell::Services services;
        platform::Desktop desktop;
        /// Waits a moment until the settings are on the disk; false when they are not.
        std::function<bool()> finishSettings;
    };

    explicit QuillstepApp(Dependencies dependencies);

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

    AppDelegate m_appDelegate;
    account::AuthService& m_authService;
    // Held and never started or read: building an engine starts nothing, and the one that runs is
    // the shared one.
    tracking::TrackingEngine m_trackingEngine;
    // A sign-in says no to it; which windows there are is decided without it.
    bool m_isShowingLogin = false;

    Dependencies m_to;
    bool m_isLaunching = false; ///< from launch() to the first window
    shell::WindowRouter m_windows;
    shell::AppMenu m_menu;
};

} // namespace app
