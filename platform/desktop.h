// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <functional>

namespace platform {

class AppActivation;
class DesktopNotice;
class LoginItem;
class MainQueue;
class StatusItem;
class UrlOpener;

/// Everything the application needs of the desktop that shows it, each facility behind its
/// interface; what the services need is in Environment. The members live at least until the
/// application object has gone.
struct Desktop
{
    StatusItem& statusItem;
    LoginItem& loginItem;
    MainQueue& mainQueue;
    UrlOpener& urlOpener;
    AppActivation& activation;
    DesktopNotice& notice;
    /// Gives the memory back that the program does not use now.
    std::function<void()> letGoOfSpareMemory;
};

} // namespace platform
