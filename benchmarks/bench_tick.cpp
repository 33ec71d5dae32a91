// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// One tick on the main thread, on the desktop that DISPLAY names: run it in a private one.
#include "activity/data_store.h"
#include "platform/diagnostics.h"
#include "platform/linux/dbus/bus_address.h"
#include "platform/linux/linux_environment.h"
#include "platform/repeating_timer.h"
#include "tracking/tracking_engine.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QEventLoop>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <functional>
#include <vector>

namespace {

class SilentDiagnostics final : public platform::Diagnostics
{
public:
    void line(QStringView) override {}
};

/// Hands the engine's callback to the benchmark.
class HandTimers final : public platform::RepeatingTimers
{
public:
    [[nodiscard]] std::unique_ptr<platform::RepeatingTimer>
    schedule(std::chrono::milliseconds /*interval*/, std::function<void()> callback) override
    {
        fire = std::move(callback);
        return std::make_unique<platform::RepeatingTimer>();
    }

    std::function<void()> fire;
};

/// Time passes, as it does between real ticks: what the desktop tells is taken in, caches grow
/// cold, the server falls asleep.
void rest()
{
    QEventLoop loop;
    QTimer::singleShot(20, &loop, &QEventLoop::quit);
    loop.exec();
}

void tick(benchmark::State& state)
{
    const auto desktop = platform::LinuxEnvironment::create(QDBusConnection::connectToBus(
        platform::dbus::sessionBusAddress(), QStringLiteral("bench")));
    if (!desktop) {
        state.SkipWithError(qPrintable(desktop.error().text));
        return;
    }
    const QTemporaryDir folder;
    SilentDiagnostics diagnostics;
    HandTimers timers;
    const platform::Environment& real = desktop.value()->facilities();
    const platform::Environment environment{
        .idleTime = real.idleTime,
        .frontmostApplication = real.frontmostApplication,
        .windowTitle = real.windowTitle,
        .scriptRunner = real.scriptRunner,
        .repeatingTimers = timers,
        .clock = real.clock,
        .diagnostics = diagnostics,
        .atomicFiles = real.atomicFiles,
        .userDefaults = real.userDefaults,
        .secretStore = real.secretStore,
        .httpClient = real.httpClient,
        .applicationSupport = folder.path(),
        .enterBackground = real.enterBackground,
    };
    activity::DataStore store({.applicationSupport = folder.path(),
                               .files = real.atomicFiles,
                               .diagnostics = diagnostics,
                               .enterBackground = real.enterBackground});
    tracking::TrackingEngine engine(environment, store);
    engine.start();
    desktop.value()->waitUntilDecided(std::chrono::seconds(5));
    rest();
    timers.fire(); // reads the desktop files
    const std::size_t before = store.activities().size();

    std::vector<double> milliseconds;
    for (auto _ : state) {
        rest();
        const auto start = std::chrono::steady_clock::now();
        timers.fire();
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        state.SetIterationTime(took.count());
        milliseconds.push_back(took.count() * 1e3);
    }
    if (store.activities().size() - before != milliseconds.size())
        state.SkipWithError("not every tick recorded: nothing is in front on this desktop");
    std::ranges::sort(milliseconds);
    state.counters["median_ms"] = milliseconds[milliseconds.size() / 2];
    state.counters["p99_ms"] = milliseconds[milliseconds.size() * 99 / 100];
}

BENCHMARK(tick)->UseManualTime()->Iterations(1000)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
