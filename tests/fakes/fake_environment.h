// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/environment.h"
#include "tests/fakes/fake_atomic_files.h"
#include "tests/fakes/fake_clock.h"
#include "tests/fakes/fake_diagnostics.h"
#include "tests/fakes/fake_frontmost_application.h"
#include "tests/fakes/fake_http_client.h"
#include "tests/fakes/fake_idle_time.h"
#include "tests/fakes/fake_repeating_timers.h"
#include "tests/fakes/fake_script_runner.h"
#include "tests/fakes/fake_secret_store.h"
#include "tests/fakes/fake_user_defaults.h"
#include "tests/fakes/fake_window_title.h"

#include <QString>

namespace fakes {

/// Every facility as a fake.
struct FakeEnvironment
{
    FakeIdleTime idleTime;
    FakeFrontmostApplication frontmostApplication;
    FakeWindowTitle windowTitle;
    FakeScriptRunner scriptRunner;
    FakeRepeatingTimers repeatingTimers;
    FakeClock clock;
    FakeDiagnostics diagnostics;
    FakeAtomicFiles atomicFiles;
    FakeUserDefaults userDefaults;
    FakeSecretStore secretStore;
    FakeHttpClient httpClient;

    platform::Environment facilities{
        .idleTime = idleTime,
        .frontmostApplication = frontmostApplication,
        .windowTitle = windowTitle,
        .scriptRunner = scriptRunner,
        .repeatingTimers = repeatingTimers,
        .clock = clock,
        .diagnostics = diagnostics,
        .atomicFiles = atomicFiles,
        .userDefaults = userDefaults,
        .secretStore = secretStore,
        .httpClient = httpClient,
        .applicationSupport = QStringLiteral("/data"),
        .enterBackground = [] {},
    };
};

} // namespace fakes
