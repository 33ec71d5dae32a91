// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <functional>
#include <optional>

namespace platform {

class AtomicFiles;
class Clock;
class Diagnostics;
class FrontmostApplication;
class HttpClient;
class IdleTime;
class RepeatingTimers;
class ScriptRunner;
class SecretStore;
class UserDefaults;
class WindowTitle;

/// Everything the services need of the machine they run on, each facility behind its interface.
/// The members live at least until the process ends.
struct Environment
{
    IdleTime& idleTime;
    FrontmostApplication& frontmostApplication;
    WindowTitle& windowTitle;
    ScriptRunner& scriptRunner;
    RepeatingTimers& repeatingTimers;
    Clock& clock;
    Diagnostics& diagnostics;
    AtomicFiles& atomicFiles;
    UserDefaults& userDefaults;
    SecretStore& secretStore;
    HttpClient& httpClient;
    /// The user's folder for application data; none when the system names none.
    std::optional<QString> applicationSupport;
    /// Makes the thread that calls it give way to what the user does.
    std::function<void()> enterBackground;
};

/// Makes `environment` the one that the shared services are built on. Once, on the main thread,
/// before the first use of any of them; it must outlive the process's services.
void install(const Environment& environment);

/// The installed environment. A program error before install().
[[nodiscard]] const Environment& environment();

} // namespace platform
