// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// What the dashboard computes when it opens, and each second while it is open: the largest
// applications and web sites.
#include "benchmarks/workload.h"
#include "views/models/activity_totals.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdint>
#include <map>
#include <random>
#include <utility>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using views::TimeRange;

constexpr std::int64_t kThirtyThousand = 30'000;
constexpr std::int64_t kMillion = 1'000'000;
constexpr double kFirst = 785000000.123456; // of the workload, one record a second

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

/// Made once: that takes far longer than what is measured.
const activity::ActivityList& listOf(std::int64_t records, bool isShuffled)
{
    static std::map<std::pair<std::int64_t, bool>, activity::ActivityList> lists;
    activity::ActivityList& list = lists[{records, isShuffled}];
    if (list.empty()) {
        activity::TextPool pool;
        list = workload::list(static_cast<std::size_t>(records), pool);
        if (isShuffled)
            list = shuffled(list);
    }
    return list;
}

/// Measures `draw`, given range(0) records; range(1) says whether only today's count, range(2)
/// whether each record is of another window than the one before.
template <typename Draw> void measure(benchmark::State& state, const Draw& draw)
{
    const activity::ActivityList& list = listOf(state.range(0), state.range(2) != 0);
    const TimeRange range = state.range(1) != 0 ? TimeRange::Today : TimeRange::AllTime;
    const double now = kFirst + static_cast<double>(list.size()) - 1;
    const QTimeZone zone("Europe/Berlin");
    std::vector<double> seconds;
    for (auto _ : state) {
        const Clock::time_point start = Clock::now();
        const bool found = draw(list, range, now, zone);
        seconds.push_back(std::chrono::duration<double>(Clock::now() - start).count());
        state.SetIterationTime(seconds.back());
        if (!found)
            stop("wrong items");
    }
    std::ranges::sort(seconds);
    state.counters["median_ms"] = seconds[seconds.size() / 2] * 1e3;
}

bool areRight(const views::ActivityTotals& totals)
{
    const auto apps = totals.topApps();
    const auto websites = totals.topWebsites();
    return apps.size() == 5 && apps.front().duration > 0 && websites.size() == 1 &&
           websites.front().name == QLatin1StringView("www.example.org");
}

/// When the window opens.
void addUpAll(benchmark::State& state)
{
    measure(state, [](const auto& list, TimeRange range, double now, const QTimeZone& zone) {
        views::ActivityTotals totals;
        totals.update(list, range, now, zone);
        return areRight(totals);
    });
}

/// While it is open: one record more each time.
void addUpOneMore(benchmark::State& state)
{
    activity::ActivityList list = listOf(state.range(0), state.range(2) != 0);
    const activity::ActivityLog last = list[list.size() - 1];
    views::ActivityTotals totals;
    measure(state, [&](const auto& /*list*/, TimeRange range, double now, const QTimeZone& zone) {
        list.append(last);
        totals.update(list, range, now, zone);
        return areRight(totals);
    });
}

void sizes(benchmark::internal::Benchmark* benchmark)
{
    benchmark->ArgNames({"records", "today", "shuffled"})
        ->ArgsProduct({{kThirtyThousand, kMillion}, {0, 1}, {0, 1}})
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
}

BENCHMARK(addUpAll)->Apply(sizes);
BENCHMARK(addUpOneMore)->Apply(sizes);

} // namespace

BENCHMARK_MAIN();
