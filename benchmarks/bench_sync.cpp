// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// What an upload computes before it sends: runs, rows, body; and the splitting of addresses.
#include "base/url_components.h"
#include "benchmarks/workload.h"
#include "sync/aggregation.h"
#include "sync/upload_body.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::int64_t kThousand = 1000;
constexpr std::int64_t kMillion = 1'000'000;

[[noreturn]] void stop(const char* what)
{
    qFatal("the benchmark cannot go on: %s", what);
}

activity::ActivityList shuffled(const activity::ActivityList& list)
{
    std::vector<activity::ActivityLog> logs(list.begin(), list.end());
    std::ranges::shuffle(logs, std::mt19937_64(1));
    activity::ActivityList made;
    for (activity::ActivityLog& log : logs)
        made.append(std::move(log));
    return made;
}

/// Folds range(0) samples.
void aggregate(benchmark::State& state, bool inOrder)
{
    activity::TextPool pool;
    auto list = workload::list(static_cast<std::size_t>(state.range(0)), pool);
    if (!inOrder)
        list = shuffled(list);
    std::vector<double> seconds;
    for (auto _ : state) {
        const Clock::time_point start = Clock::now();
        std::size_t runs = 0;
        syncing::RunReader reader(list, syncing::orderOf(list));
        while (reader.next())
            ++runs;
        seconds.push_back(std::chrono::duration<double>(Clock::now() - start).count());
        state.SetIterationTime(seconds.back());
        if (runs != (list.size() + 19) / 20) // a window stays in front for 20 samples
            stop("wrong runs");
    }
    std::ranges::sort(seconds);
    const double median = seconds[seconds.size() / 2];
    state.counters["median_ms"] = median * 1e3;
    state.counters["ns_per_sample"] = median * 1e9 / static_cast<double>(list.size());
}

void aggregateInOrder(benchmark::State& state)
{
    aggregate(state, true);
}

void aggregateShuffled(benchmark::State& state)
{
    aggregate(state, false);
}

BENCHMARK(aggregateInOrder)
    ->RangeMultiplier(10)
    ->Range(kThousand, kMillion)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(aggregateShuffled)
    ->RangeMultiplier(10)
    ->Range(kThousand, kMillion)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

/// Removes the query of one kind of address after another.
void removeQuery(benchmark::State& state, const std::string& address)
{
    std::size_t bytes = 0;
    for (auto _ : state)
        bytes += platform::withoutUrlQuery(address).size();
    if (bytes == 0)
        stop("nothing is left");
    state.SetItemsProcessed(state.iterations());
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(address.size()));
}

BENCHMARK_CAPTURE(removeQuery, noQuery, "https://www.example.org/handbook/page-17.html");
BENCHMARK_CAPTURE(removeQuery, query, "https://www.example.org/handbook/page-17.html?from=4&x=[1]");
BENCHMARK_CAPTURE(removeQuery, escaped, "https://www.example.org/hand book/page-17.html?from=4");
BENCHMARK_CAPTURE(removeQuery, otherScript, "https://b\u00fccher.example/handbook/page-17?from=4");

/// Runs as they come when every sample is a run of its own; with a query in every address or
/// in none.
std::vector<syncing::AggregatedLog> runs(std::int64_t count, bool withQueries)
{
    activity::TextPool pool;
    std::vector<syncing::AggregatedLog> made;
    made.reserve(static_cast<std::size_t>(count));
    for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
        activity::ActivityLog log = workload::log(20 * i, pool); // 20 samples are one window
        if (withQueries)
            log.url = pool.intern(std::string(log.url->view()) + "?from=4");
        made.push_back({.log = std::move(log), .duration = 20});
    }
    return made;
}

void convertRows(benchmark::State& state)
{
    const auto made = runs(state.range(0), state.range(1) != 0);
    for (auto _ : state) {
        for (const syncing::AggregatedLog& run : made) {
            auto row = syncing::uploadRow(run);
            benchmark::DoNotOptimize(row);
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

BENCHMARK(convertRows)
    ->ArgNames({"runs", "queries"})
    ->ArgsProduct({{50'000, kMillion}, {0, 1}})
    ->Unit(benchmark::kMillisecond);

void encodeBody(benchmark::State& state)
{
    const syncing::ActivityPayload payload{
        .device_id = "0123ABCD-4567-89EF-0123-456789ABCDEF",
        .sync_timestamp = "2026-11-21T09:45:00Z",
        .interval_minutes = 15,
    };
    std::vector<syncing::ActivityLogPayload> rows;
    for (const syncing::AggregatedLog& run : runs(state.range(0), false))
        rows.push_back(syncing::uploadRow(run));
    std::int64_t bytes = 0;
    for (auto _ : state) {
        const auto beginning = syncing::beginningOf(payload);
        if (!beginning)
            stop("cannot encode");
        std::string body = beginning.value();
        for (const syncing::ActivityLogPayload& row : rows)
            syncing::appendRow(body, row);
        bytes += static_cast<std::int64_t>(body.size());
    }
    state.SetBytesProcessed(bytes);
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

BENCHMARK(encodeBody)->Arg(50'000)->Arg(kMillion)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
