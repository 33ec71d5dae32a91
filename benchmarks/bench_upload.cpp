// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// An upload from end to end, over loopback to a server that only says yes: how long it takes, and
// how long it ever holds the main thread.
#include "benchmarks/upload_bench.h"
#include "benchmarks/workload.h"
#include "service/http/server.h"

#include <QCoreApplication>
#include <QCoroTask>

#include <algorithm>
#include <atomic>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using upload_bench::Heartbeat;

/// Takes uploads on threads of its own.
class Sink final
{
public:
    Sink()
        : m_server({{.method = "POST",
                     .pattern = "/api/activity-log",
                     .bodyLimit = kMostBytes,
                     .handler =
                         [this](service::Request& request) {
                             bytes = request.body->size();
                             return service::Answer{.status = 201, .body = "{}"};
                         }}},
                   {.limits = {.bodyInMemory = kMostBytes, .allBodiesInMemory = kMostBytes}})
        , port(m_server.listen("127.0.0.1", 0).value())
    {
    }

    Sink(const Sink&) = delete;
    Sink& operator=(const Sink&) = delete;
    ~Sink() = default;

    std::atomic<std::uint64_t> bytes = 0;

private:
    static constexpr std::size_t kMostBytes = 1UL << 30U;
    service::HttpServer m_server;

public:
    const int port;
};

/// Uploads range(0) samples, each a row of its own, from a store that saves to a real disk.
void upload(benchmark::State& state)
{
    const Sink sink;
    upload_bench::Uploader uploader(QStringLiteral("http://127.0.0.1:%1").arg(sink.port));
    activity::TextPool pool;

    std::vector<double> longest;
    for (auto _ : state) {
        for (std::int64_t i = 0; i < state.range(0); ++i) {
            // Every second of another window: as many rows as samples.
            activity::ActivityLog log = workload::log(static_cast<std::size_t>(i) * 20, pool);
            log.timestamp = static_cast<double>(i);
            uploader.store.addLog(std::move(log));
        }
        Heartbeat heartbeat;
        QCoreApplication::processEvents();
        heartbeat.restart();
        const Clock::time_point start = Clock::now();
        QCoro::waitFor(uploader.service.sync());
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
        heartbeat.beat();
        longest.push_back(heartbeat.longestMilliseconds());
        if (uploader.service.lastSyncError() || !uploader.store.activities().empty())
            qFatal("the upload failed: %s",
                   qUtf8Printable(uploader.service.lastSyncError().value_or(QString())));
    }
    std::ranges::sort(longest);
    state.counters["body_mb"] = static_cast<double>(sink.bytes.load()) / 1e6;
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
