// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// One tick on the main thread, on the desktop that DISPLAY names: run it in a private one.
#include "activity/data_store.h"
#include "backends/dbus/bus_address.h"
#include "backends/linux/linux_environment.h"
#include "platform/diagnostics.h"
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
#include <ctime>
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
void rest(std::chrono::milliseconds length)
{
    QEventLoop loop;
    QTimer::singleShot(length, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    loop.exec();
}

/// Processor time of this thread, in milliseconds.
double threadMilliseconds()
{
    timespec time{};
    if (::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time) != 0)
        qFatal("no clock of the thread");
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

double percentile(std::vector<double> values, std::size_t percent)
{
    std::ranges::sort(values);
    return values[values.size() * percent / 100];
}

/// range(0) milliseconds pass between two ticks. A second of them is what it is in the program, and
/// whoever sleeps so long finds the processor's caches cold.
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
    const std::chrono::milliseconds pause(state.range(0));
    rest(pause);
    timers.fire(); // reads the desktop files
    const std::size_t before = store.activities().size();

    std::vector<double> milliseconds;
    std::vector<double> processor;
    const double begun = threadMilliseconds();
    for (auto _ : state) {
        rest(pause);
        const double used = threadMilliseconds();
        const auto start = std::chrono::steady_clock::now();
        timers.fire();
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        processor.push_back(threadMilliseconds() - used);
        state.SetIterationTime(took.count());
        milliseconds.push_back(took.count() * 1e3);
    }
    const double used = threadMilliseconds() - begun;
    if (store.activities().size() - before != milliseconds.size())
        state.SkipWithError("not every tick recorded: nothing is in front on this desktop");
    state.counters["median_ms"] = percentile(milliseconds, 50);
    state.counters["p99_ms"] = percentile(milliseconds, 99);
    state.counters["cpu_median_ms"] = percentile(processor, 50);
    // With what goes on between the ticks: the timer, what the desktop tells.
    state.counters["thread_cpu_ms"] = used / static_cast<double>(milliseconds.size());
}

BENCHMARK(tick)
    ->ArgName("pause_ms")
    ->Arg(20)
    ->UseManualTime()
    ->Iterations(1000)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(tick)
    ->ArgName("pause_ms")
    ->Arg(1000)
    ->UseManualTime()
    ->Iterations(60)
    ->Unit(benchmark::kMicrosecond);

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
