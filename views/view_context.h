// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <functional>

namespace account {
class AuthService;
}

namespace activity {
class DataStore;
}

namespace platform {
class AppActivation;
class Clock;
class DesktopNotice;
class Diagnostics;
class LoginItem;
class MainQueue;
class UrlOpener;
class UserDefaults;
} // namespace platform

namespace shell {
class AppMenu;
class WindowRouter;
} // namespace shell

namespace syncing {
class SyncService;
}

namespace tracking {
class TrackingEngine;
}

namespace views {

/// What the windows show and act on. All of it must outlive every window.
struct ViewContext
{
    activity::DataStore& dataStore;
    account::AuthService& authService;
    syncing::SyncService& syncService;
    tracking::TrackingEngine& trackingEngine;
    platform::UserDefaults& userDefaults;
    platform::LoginItem& loginItem;
    platform::Clock& clock;
    platform::Diagnostics& diagnostics;
    platform::MainQueue& mainQueue;
    platform::UrlOpener& urlOpener;
    platform::AppActivation& activation;
    platform::DesktopNotice& desktopNotice;
    shell::WindowRouter& windows;
    /// The menu's shortcuts work in the windows, too.
    shell::AppMenu& menu;
    /// Told false when the login window has done its work.
    std::function<void(bool)> setIsShowingLogin;
    /// Scheme, host and port of the service.
    QString serviceUrl;
};

} // namespace views
