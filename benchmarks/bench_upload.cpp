// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// An upload from end to end, over loopback to a server that only says yes: how long it takes, and
// how long it ever holds the main thread.
#include "account/auth_service.h"
#include "activity/data_store.h"
#include "benchmarks/workload.h"
#include "platform/linux/posix/background_priority.h"
#include "platform/linux/posix/posix_atomic_file.h"
#include "platform/linux/qt/network_http_client.h"
#include "sync/sync_service.h"
#include "tests/fakes/fake_environment.h"

#include <QCoreApplication>
#include <QCoroTask>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <httplib.h>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kBeat(1);

/// Takes uploads on a thread of its own.
class Sink final
{
public:
    Sink()
    {
        m_server.Post("/api/activity-log",
                      [this](const httplib::Request& request, httplib::Response& response) {
                          bytes = request.body.size();
                          response.status = 201;
                      });
        port = m_server.bind_to_any_port("127.0.0.1");
        m_thread = std::thread([this] { m_server.listen_after_bind(); });
    }

    Sink(const Sink&) = delete;
    Sink& operator=(const Sink&) = delete;

    ~Sink()
    {
        m_server.stop();
        m_thread.join();
    }

    int port = 0;
    std::size_t bytes = 0;

private:
    httplib::Server m_server;
    std::thread m_thread;
};

/// A timer of one millisecond, and the longest time that one of its beats was late.
class Heartbeat final
{
public:
    Heartbeat()
    {
        m_timer.setTimerType(Qt::PreciseTimer);
        QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this] { beat(); });
        m_timer.start(kBeat);
    }

    void beat()
    {
        const Clock::time_point now = Clock::now();
        longest = std::max<Clock::duration>(longest, now - m_last - kBeat);
        m_last = now;
    }

    void restart()
    {
        m_last = Clock::now();
        longest = {};
    }

    Clock::duration longest{};

private:
    QTimer m_timer;
    Clock::time_point m_last = Clock::now();
};

/// Uploads range(0) samples, each a row of its own, from a store that saves to a real disk.
void upload(benchmark::State& state)
{
    const Sink sink;
    const QString url = QStringLiteral("http://127.0.0.1:%1").arg(sink.port);
    const QTemporaryDir folder;
    fakes::FakeEnvironment fake;
    fake.secretStore.secrets[fakes::FakeSecretStore::key(account::AuthService::secretName())] = "T";
    platform::posix::PosixAtomicFiles files;
    platform::qt::NetworkHttpClient client;
    const platform::Environment environment{
        .idleTime = fake.idleTime,
        .frontmostApplication = fake.frontmostApplication,
        .windowTitle = fake.windowTitle,
        .scriptRunner = fake.scriptRunner,
        .repeatingTimers = fake.repeatingTimers,
        .clock = fake.clock,
        .diagnostics = fake.diagnostics,
        .atomicFiles = files,
        .userDefaults = fake.userDefaults,
        .secretStore = fake.secretStore,
        .httpClient = client,
        .applicationSupport = folder.path(),
        .enterBackground = platform::posix::enterBackground,
    };
    activity::DataStore store({.applicationSupport = environment.applicationSupport,
                               .files = files,
                               .diagnostics = fake.diagnostics,
                               .enterBackground = platform::posix::enterBackground});
    account::AuthService auth({.serviceUrl = url,
                               .userDefaults = fake.userDefaults,
                               .secretStore = fake.secretStore,
                               .httpClient = client});
    syncing::SyncService service(environment, url, auth, store);
    activity::TextPool pool;

    std::vector<double> longest;
    for (auto _ : state) {
        for (std::int64_t i = 0; i < state.range(0); ++i) {
            // Every second of another window: as many rows as samples.
            activity::ActivityLog log = workload::log(static_cast<std::size_t>(i) * 20, pool);
            log.timestamp = static_cast<double>(i);
            store.addLog(std::move(log));
        }
        Heartbeat heartbeat;
        QCoreApplication::processEvents();
        heartbeat.restart();
        const Clock::time_point start = Clock::now();
        QCoro::waitFor(service.sync());
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
        heartbeat.beat();
        longest.push_back(std::chrono::duration<double, std::milli>(heartbeat.longest).count());
        if (service.lastSyncError() || !store.activities().empty())
            qFatal("the upload failed: %s",
                   qUtf8Printable(service.lastSyncError().value_or(QString())));
    }
    std::ranges::sort(longest);
    state.counters["body_mb"] = static_cast<double>(sink.bytes) / 1e6;
    state.counters["median_longest_ms"] = longest[longest.size() / 2];
    state.counters["longest_ms"] = longest.back();
}

BENCHMARK(upload)->Arg(1'000)->Arg(100'000)->Iterations(7)->UseManualTime()->Unit(
    benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
