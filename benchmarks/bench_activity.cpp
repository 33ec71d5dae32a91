// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// The activity store: encoding, decoding, appending, loading, saving, memory.
#include "activity/activity_file_reader.h"
#include "activity/activity_log_json.h"
#include "activity/data_store.h"
#include "activity/saver.h"
#include "backends/posix/posix_atomic_file.h"
#include "benchmarks/workload.h"
#include "platform/diagnostics.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdint>
#include <fcntl.h>
#include <limits>
#include <malloc.h>
#include <memory>
#include <semaphore>
#include <simdjson.h>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kMillion = 1'000'000;

class SilentDiagnostics final : public platform::Diagnostics
{
public:
    void line(QStringView) override {}
};

double secondsSince(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

template <typename Action> double secondsOf(const Action& action)
{
    const Clock::time_point start = Clock::now();
    action();
    return secondsSince(start);
}

double median(std::vector<double> values)
{
    std::ranges::sort(values);
    return values[values.size() / 2];
}

double p99(std::vector<double> values)
{
    std::ranges::sort(values);
    return values[values.size() * 99 / 100];
}

[[noreturn]] void stop(const char* what)
{
    qFatal("the benchmark cannot go on: %s", what);
}

/// A folder on the disk of the build, where a temporary folder may be memory only.
class Folder final
{
public:
    Folder()
        : m_folder(QDir::current().filePath(QStringLiteral("bench-XXXXXX")))
    {
        if (!m_folder.isValid())
            stop("no folder to write to");
    }

    [[nodiscard]] QString path(const char* name) const
    {
        return m_folder.filePath(QString::fromLatin1(name));
    }

private:
    QTemporaryDir m_folder;
};

void writeFlushed(const QString& path, const std::string& text)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Unbuffered) ||
        file.write(text.data(), static_cast<qint64>(text.size())) !=
            static_cast<qint64>(text.size()) ||
        ::fdatasync(file.handle()) != 0)
        stop("cannot write");
}

void copyFlushed(const QString& from, const QString& to)
{
    QFile source(from);
    QFile target(to);
    if (!source.open(QIODevice::ReadOnly) || !target.open(QIODevice::WriteOnly))
        stop("cannot open");
    for (qint64 left = source.size(); left > 0;) {
        const ssize_t copied = ::copy_file_range(
            source.handle(), nullptr, target.handle(), nullptr, static_cast<std::size_t>(left), 0);
        if (copied <= 0)
            stop("cannot copy");
        left -= copied;
    }
    if (::fdatasync(target.handle()) != 0)
        stop("cannot flush");
}

/// Saves lists to a file as fast as it goes, and returns when they are on the disk.
class Saving final
{
public:
    explicit Saving(const QString& path)
        : m_saver(std::make_unique<platform::posix::PosixAtomicFile>(path),
                  m_diagnostics,
                  {},
                  {.bytesPerSecond = std::numeric_limits<std::int64_t>::max() / 2})
    {
    }

    void save(const activity::ActivityList& list)
    {
        std::binary_semaphore done(0);
        m_saver.submit(list);
        m_saver.flush([&done] { done.release(); });
        done.acquire();
    }

private:
    SilentDiagnostics m_diagnostics;
    activity::Saver m_saver;
};

/// Readers of every hidden file beside `path`: none of them may be written to again.
std::vector<std::unique_ptr<QFile>> readersBeside(const QString& path)
{
    std::vector<std::unique_ptr<QFile>> readers;
    const QDir folder(QFileInfo(path).path());
    for (const QString& name : folder.entryList(QDir::Files | QDir::Hidden)) {
        if (name.startsWith(u'.')) {
            readers.push_back(std::make_unique<QFile>(folder.filePath(name)));
            if (!readers.back()->open(QIODevice::ReadOnly))
                stop("cannot open a hidden file");
        }
    }
    return readers;
}

void encode(benchmark::State& state)
{
    activity::TextPool pool;
    const activity::ActivityList list = workload::list(10'000, pool);
    std::int64_t bytes = 0;
    for (auto _ : state)
        bytes += static_cast<std::int64_t>(workload::json(list).size());
    state.SetBytesProcessed(bytes);
    state.SetItemsProcessed(state.iterations() * 10'000);
}

BENCHMARK(encode);

void decode(benchmark::State& state)
{
    activity::TextPool pool;
    std::string text = workload::json(workload::list(1000, pool));
    const std::size_t size = text.size();
    text.append(activity::ActivityDecoder::padding(), ' ');
    activity::ActivityDecoder decoder(pool);
    for (auto _ : state) {
        activity::ActivityList list;
        if (!decoder.decodeArray({text.data(), size}, list))
            stop("cannot decode");
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(size));
    state.SetItemsProcessed(state.iterations() * 1000);
}

BENCHMARK(decode);

/// A store of `stored` records in a folder of its own. Slow: its file is being written in full all
/// the while. Otherwise it has saved, and each further call finds the saving thread asleep.
class Stored final
{
public:
    enum class Saving : std::uint8_t { Done, Slow };

    Stored(std::size_t stored, Saving saving)
        : m_store({.applicationSupport = m_folder.path("support"),
                   .files = m_files,
                   .diagnostics = m_diagnostics,
                   .bytesPerSecond = saving == Saving::Slow ? 1000 : 1'000'000'000})
        , m_next(stored)
    {
        for (std::size_t i = 0; i < stored; ++i)
            m_store.addLog(workload::log(i, m_pool));
        // The first save writes everything and the second copies it; from then on they are short.
        for (int i = 0; i < 4 && saving == Saving::Done; ++i) {
            addLog();
            ::usleep(stored >= kMillion ? 1'500'000 : 50'000);
        }
    }

    Stored(const Stored&) = delete;
    Stored& operator=(const Stored&) = delete;

    ~Stored() { m_store.finishSaving(std::chrono::milliseconds(1)); }

    /// The seconds that it took.
    double addLog()
    {
        activity::ActivityLog log = workload::log(m_next++, m_pool);
        return secondsOf([&] { m_store.addLog(std::move(log)); });
    }

private:
    const Folder m_folder;
    platform::posix::PosixAtomicFiles m_files;
    SilentDiagnostics m_diagnostics;
    activity::DataStore m_store;
    activity::TextPool m_pool;
    std::size_t m_next;
};

/// Calls of addLog on two stores in turn, so that whatever else the machine does befalls both.
void addLogInTurn(benchmark::State& state, Stored& one, Stored& other)
{
    std::vector<double> ofOne;
    std::vector<double> ofOther;
    for (auto _ : state) {
        ofOne.push_back(one.addLog() * 1e6);
        ::usleep(1000); // a second's pause in little
        const double seconds = other.addLog();
        ofOther.push_back(seconds * 1e6);
        state.SetIterationTime(seconds);
        ::usleep(1000);
    }
    state.counters["floor_median_us"] = median(ofOne);
    state.counters["median_us"] = median(ofOther);
    state.counters["p99_us"] = p99(ofOther);
    state.counters["ratio"] = median(ofOther) / median(ofOne);
}

/// On a store of range(0) records, next to one of ten.
void addLog(benchmark::State& state)
{
    Stored small(10, Stored::Saving::Done);
    Stored large(static_cast<std::size_t>(state.range(0)), Stored::Saving::Done);
    addLogInTurn(state, small, large);
}

BENCHMARK(addLog)
    ->ArgName("stored")
    ->Arg(10)
    ->Arg(10'000)
    ->Arg(kMillion)
    ->UseManualTime()
    ->Iterations(2000)
    ->Unit(benchmark::kMicrosecond);

/// On a store of range(0) records while its file is written, next to one that has nothing to do.
void addLogWhileSaving(benchmark::State& state)
{
    const auto stored = static_cast<std::size_t>(state.range(0));
    Stored idle(stored, Stored::Saving::Done);
    Stored busy(stored, Stored::Saving::Slow);
    addLogInTurn(state, idle, busy);
}

BENCHMARK(addLogWhileSaving)
    ->ArgName("stored")
    ->Arg(kMillion)
    ->UseManualTime()
    ->Iterations(2000)
    ->Unit(benchmark::kMicrosecond);

/// Reading a file of range(0) records, next to one bare parse of its text.
void load(benchmark::State& state)
{
    const Folder folder;
    const QString path = folder.path("activity_logs.json");
    std::string text;
    {
        activity::TextPool pool;
        text = workload::json(workload::list(static_cast<std::size_t>(state.range(0)), pool));
        writeFlushed(path, text);
    }
    const simdjson::padded_string padded(text);
    text = {};
    std::vector<double> ours;
    std::vector<double> bare;
    for (auto _ : state) {
        bare.push_back(secondsOf([&] {
            simdjson::dom::parser parser;
            if (parser.parse(padded).error() != simdjson::SUCCESS)
                stop("the bare parse fails");
        }));
        ours.push_back(secondsOf([&] {
            QFile file(path);
            activity::TextPool pool;
            if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered) ||
                !activity::readActivityFile(file, pool))
                stop("cannot load");
        }));
        state.SetIterationTime(ours.back());
    }
    state.counters["seconds"] = median(ours);
    state.counters["bare_parse_seconds"] = median(bare);
    state.counters["ratio"] = median(ours) / median(bare);
    state.counters["bytes"] = static_cast<double>(padded.size());
}

BENCHMARK(load)->Arg(kMillion)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);

/// A save in full, next to writing the same bytes.
void fullSave(benchmark::State& state)
{
    const Folder folder;
    activity::TextPool pool;
    const auto list = workload::list(static_cast<std::size_t>(state.range(0)), pool);
    const std::string text = workload::json(list);
    std::vector<double> ours;
    std::vector<double> bare;
    for (auto _ : state) {
        QFile::remove(folder.path("plain"));
        bare.push_back(secondsOf([&] { writeFlushed(folder.path("plain"), text); }));
        Saving saving(folder.path("activity_logs.json"));
        ours.push_back(secondsOf([&] { saving.save(list); }));
        state.SetIterationTime(ours.back());
    }
    state.counters["ratio"] = median(ours) / median(bare);
}

BENCHMARK(fullSave)->Arg(kMillion)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);

/// The save after one more record, flushed, next to copying the file: into a file that was the
/// current one before, as a rule, and by copying where that is not to be had (range(1) is 0),
/// because somebody is reading it.
void incrementalSave(benchmark::State& state)
{
    const bool recycling = state.range(1) != 0;
    const Folder folder;
    activity::TextPool pool;
    auto list = workload::list(static_cast<std::size_t>(state.range(0)), pool);
    const QString path = folder.path("activity_logs.json");
    Saving saving(path);
    for (int file = 0; file < platform::AtomicFile::kFiles; ++file) { // each is begun once
        list.append(workload::log(list.size(), pool));
        saving.save(list);
    }
    std::vector<double> ours;
    std::vector<double> bare;
    for (auto _ : state) {
        QFile::remove(folder.path("plain"));
        bare.push_back(secondsOf([&] { copyFlushed(path, folder.path("plain")); }));
        list.append(workload::log(list.size(), pool));
        const auto readers =
            recycling ? std::vector<std::unique_ptr<QFile>>() : readersBeside(path);
        ours.push_back(secondsOf([&] { saving.save(list); }));
        state.SetIterationTime(ours.back());
    }
    state.counters["ratio"] = median(ours) / median(bare);
}

BENCHMARK(incrementalSave)
    ->ArgNames({"stored", "recycling"})
    ->ArgsProduct({{10, 10'000, kMillion}, {0, 1}})
    ->UseManualTime()
    ->Iterations(7)
    ->Unit(benchmark::kMillisecond);

/// The same save, into a file of before, next to what nobody does with less: appending the record
/// to a file and flushing that.
void shortSave(benchmark::State& state)
{
    const Folder folder;
    activity::TextPool pool;
    auto list = workload::list(static_cast<std::size_t>(state.range(0)), pool);
    Saving saving(folder.path("activity_logs.json"));
    const auto saveOneMore = [&] {
        list.append(workload::log(list.size(), pool));
        saving.save(list);
    };
    for (int file = 0; file < platform::AtomicFile::kFiles; ++file)
        saveOneMore(); // begins a file; from then on there are enough
    QFile plain(folder.path("plain"));
    if (!plain.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        stop("cannot open");
    const QByteArray record(230, ' ');
    std::vector<double> ours;
    std::vector<double> bare;
    for (auto _ : state) {
        bare.push_back(secondsOf([&] {
            if (plain.write(record) != record.size() || ::fdatasync(plain.handle()) != 0)
                stop("cannot append");
        }));
        ours.push_back(secondsOf(saveOneMore));
        state.SetIterationTime(ours.back());
    }
    state.counters["ratio"] = median(ours) / median(bare);
}

BENCHMARK(shortSave)->Arg(kMillion)->UseManualTime()->Iterations(200)->Unit(
    benchmark::kMillisecond);

void memoryPerRecord(benchmark::State& state)
{
    const auto held = [] {
        const struct mallinfo2 info = ::mallinfo2();
        return static_cast<double>(info.uordblks + info.hblkhd);
    };
    for (auto _ : state) {
        const double before = held();
        activity::TextPool pool;
        const auto list = workload::list(kMillion, pool);
        state.counters["bytes"] = (held() - before) / static_cast<double>(list.size());
    }
}

BENCHMARK(memoryPerRecord)->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv); // the store's thread needs one
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
