// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "app/program.h"
#include "benchmarks/soak/tenfold_clock.h"
#include "benchmarks/soak/tenfold_idle_time.h"
#include "benchmarks/soak/tenfold_timers.h"

namespace {

/// What measures the agent's time, ten times as fast. What it waits for of others, such as answers
/// from the network, keeps its pace, and so do the limits for that.
platform::Environment tenTimesFaster(const platform::Environment& desktop)
{
    // As long as the process, as the services are.
    static auto* const clock = new soak::TenfoldClock(desktop.clock);
    static auto* const timers = new soak::TenfoldTimers(desktop.repeatingTimers);
    static auto* const idleTime = new soak::TenfoldIdleTime(desktop.idleTime);
    return {
        .idleTime = *idleTime,
        .frontmostApplication = desktop.frontmostApplication,
        .windowTitle = desktop.windowTitle,
        .scriptRunner = desktop.scriptRunner,
        .repeatingTimers = *timers,
        .clock = *clock,
        .diagnostics = desktop.diagnostics,
        .atomicFiles = desktop.atomicFiles,
        .userDefaults = desktop.userDefaults,
        .secretStore = desktop.secretStore,
        .httpClient = desktop.httpClient,
        .applicationSupport = desktop.applicationSupport,
        .enterBackground = desktop.enterBackground,
    };
}

} // namespace

int main(int argc, char** argv)
{
    return app::runProgram(argc, argv, tenTimesFaster);
}
