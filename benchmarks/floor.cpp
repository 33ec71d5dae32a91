// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// What every program that is linked with this measures beside its own: what a machine like this one
// needs to look at so many records, whatever is done with them. The product has no part in it, so
// figures over it do not move with the machine's speed.
#include <algorithm>
#include <array>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdint>
#include <vector>

namespace {

/// Of the size of a record in memory.
struct Record
{
    std::array<std::uint64_t, 8> words;
    double duration;
};

void floor(benchmark::State& state)
{
    std::vector<Record> records(static_cast<std::size_t>(state.range(0)));
    for (std::size_t i = 0; i < records.size(); ++i)
        records[i] = {.words = {i, i * 7919 % 3000}, .duration = 1.0};
    std::vector<double> milliseconds;
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        std::array<double, 3000> sums{};
        for (const Record& record : records)
            sums[record.words[1]] += record.duration;
        benchmark::DoNotOptimize(sums);
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        state.SetIterationTime(took.count());
        milliseconds.push_back(took.count() * 1e3);
    }
    std::ranges::sort(milliseconds);
    state.counters["median_ms"] = milliseconds[milliseconds.size() / 2];
}

BENCHMARK(floor)->Arg(30'000)->Arg(1'000'000)->UseManualTime()->Unit(benchmark::kMillisecond);

} // namespace
