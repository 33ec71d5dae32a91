// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>

#include <chrono>

namespace account {
class AuthService;
}

namespace platform {
class AppActivation;
class MainQueue;
class UrlOpener;
} // namespace platform

namespace syncing {
class SyncService;
}

namespace tracking {
class TrackingEngine;
}

namespace shell {

/// From the start of the process to its first window.
inline constexpr std::chrono::milliseconds kTimeUntilTheFirstWindow(500);

/// Decides which window the user sees first: at launch and when the running program is opened
/// again. Main thread; everything given must outlive it.
class AppDelegate final : public QObject
{
    Q_OBJECT

public:
    struct Dependencies
    {
        account::AuthService& authService;
        syncing::SyncService& syncService;
        tracking::TrackingEngine& trackingEngine;
        platform::MainQueue& mainQueue;
        platform::UrlOpener& urlOpener;
        platform::AppActivation& activation;
    };

    explicit AppDelegate(const Dependencies& dependencies);

    /// Once, when the process has started: opens the first window half a second later, or as soon
    /// after that as it is known whether a session goes on.
    void applicationDidFinishLaunching();

    /// The user opened the running program once more. Without a visible window the first window
    /// opens at once. Always true.
    bool applicationShouldHandleReopen(bool hasVisibleWindows);

Q_SIGNALS:
    /// The first window has been asked for. Once.
    void launched();

private:
    void finishLaunching();
    void openInitialWindow();

    Dependencies m_to;
};

} // namespace shell
