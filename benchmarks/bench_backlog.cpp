// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// The upload of a long backlog, over loopback to another process that reads it and throws it away:
// how far the program's memory grows meanwhile, and how long anything ever holds the main thread.
// And what the attempts cost while nobody is there.
#include "activity/activity_list.h"
#include "backends/posix/this_process.h"
#include "benchmarks/upload_bench.h"

#include <QCoreApplication>
#include <QCoroTask>
#include <QEventLoop>
#include <QRegularExpression>
#include <QTimer>

#include <arpa/inet.h>
#include <array>
#include <benchmark/benchmark.h>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using upload_bench::Heartbeat;

/// How long after the upload is looked for what is still to be let go of.
constexpr std::chrono::milliseconds kAfterwards(2500);
constexpr double kSlowBytesPerSecond = 60e6;

/// A process of its own, so that this one's memory is the uploader's alone. Takes one upload after
/// the other on a free port of loopback, at `bytesPerSecond` or as fast as they come, and says 201
/// to those that are as long as they announce.
class Sink final
{
public:
    explicit Sink(double bytesPerSecond = 0)
    {
        const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        auto* const any = reinterpret_cast<sockaddr*>(&address);
        if (::bind(listener, any, length) != 0 || ::listen(listener, 8) != 0 ||
            ::getsockname(listener, any, &length) != 0)
            qFatal("cannot listen");
        port = ntohs(address.sin_port);
        m_process = ::fork();
        if (m_process == 0)
            serve(listener, bytesPerSecond);
        ::close(listener);
    }

    Sink(const Sink&) = delete;
    Sink& operator=(const Sink&) = delete;

    ~Sink()
    {
        ::kill(m_process, SIGKILL);
        ::waitpid(m_process, nullptr, 0);
    }

    int port = 0;

private:
    [[noreturn]] static void serve(int listener, double bytesPerSecond)
    {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        for (;;) {
            const int connection = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
            if (connection < 0)
                std::_Exit(1);
            take(connection, bytesPerSecond);
            ::close(connection);
        }
    }

    static void take(int connection, double bytesPerSecond)
    {
        std::array<char, 256UL * 1024> buffer{};
        std::string head;
        while (head.find("\r\n\r\n") == std::string::npos) {
            const ssize_t got = ::recv(connection, buffer.data(), buffer.size(), 0);
            if (got <= 0)
                return;
            head.append(buffer.data(), static_cast<std::size_t>(got));
        }
        const std::size_t headEnd = head.find("\r\n\r\n") + 4;
        constexpr std::string_view kLength = "Content-Length: ";
        const std::int64_t expected =
            std::atoll(head.c_str() + head.find(kLength) + kLength.size());
        auto received = static_cast<std::int64_t>(head.size() - headEnd);
        const Clock::time_point start = Clock::now();
        while (received < expected) {
            const ssize_t got = ::recv(connection, buffer.data(), buffer.size(), 0);
            if (got <= 0)
                return;
            received += got;
            if (bytesPerSecond > 0)
                std::this_thread::sleep_until(
                    start + std::chrono::duration_cast<Clock::duration>(
                                std::chrono::duration<double>(double(received) / bytesPerSecond)));
        }
        const std::string answer = received == expected
                                       ? "HTTP/1.1 201 Created\r\nContent-Length: 0\r\n\r\n"
                                       : "HTTP/1.1 400 Bad Request\r\nContent-Length: 0\r\n\r\n";
        static_cast<void>(::send(connection, answer.data(), answer.size(), MSG_NOSIGNAL));
    }

    pid_t m_process = -1;
};

double kilobytes(std::string_view what)
{
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        double value = 0;
        if (word == what && status >> value)
            return value;
    }
    qFatal("the system does not tell the memory of processes");
}

/// How far the memory of this process has been above what it is when this is made.
class PeakMemory final
{
public:
    PeakMemory()
    {
        std::ofstream("/proc/self/clear_refs") << "5\n"; // forgets the peak
        m_before = kilobytes("VmRSS:");
    }

    [[nodiscard]] double grownMegabytes() const
    {
        return (kilobytes("VmHWM:") - m_before) * 1024 / 1e6;
    }

private:
    double m_before;
};

/// Sample number `index`, a row of its own: no title comes twice, and with `ownAddresses` no
/// address.
activity::ActivityLog sample(std::int64_t index, bool ownAddresses)
{
    const std::string page = std::to_string(index);
    const std::string address = std::to_string(ownAddresses ? index : index % 3000);
    return {
        .appName = activity::SharedText("Application " + std::to_string(index % 200)),
        .windowTitle = activity::SharedText("Page " + page +
                                            " of the handbook, as it was when somebody turned to it"
                                            " \u2013 Web Browser"),
        .url = activity::SharedText("https://www.example.org/handbook/page-" + address +
                                    ".html?from=" + address),
        .timestamp = static_cast<double>(index),
        .duration = 1.0,
    };
}

/// The length of the body that was sent last.
double bodyMegabytes(const QStringList& lines)
{
    static const QRegularExpression kSize(QStringLiteral("Payload size: (\\d+) bytes"));
    for (auto line = lines.crbegin(); line != lines.crend(); ++line) {
        if (const auto match = kSize.match(*line); match.hasMatch())
            return match.captured(1).toDouble() / 1e6;
    }
    qFatal("nothing was sent");
}

void goOnFor(std::chrono::milliseconds time)
{
    QEventLoop loop;
    QTimer::singleShot(time, &loop, &QEventLoop::quit);
    loop.exec();
}

/// What all threads have worked but the one that saves, which has its own share and benchmark.
double workSeconds()
{
    timespec all{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &all);
    double seconds = static_cast<double>(all.tv_sec) + (static_cast<double>(all.tv_nsec) / 1e9);
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::string name;
        double nanoseconds = 0;
        if (std::ifstream(task.path() / "comm") >> name && name == "saving" &&
            std::ifstream(task.path() / "schedstat") >> nanoseconds)
            seconds -= nanoseconds / 1e9;
    }
    return seconds;
}

/// Attempts each minute, 60 samples more each time, with a backlog of range(0) rows that grows
/// where nobody listens.
void away(benchmark::State& state)
{
    constexpr int kTicks = 60;
    upload_bench::Uploader uploader(QStringLiteral("http://127.0.0.1:1"));
    std::int64_t next = 0;
    const auto addSamples = [&uploader, &next](std::int64_t count) {
        for (std::int64_t i = 0; i < count; ++i)
            uploader.store.addLog(sample(next++, false));
    };
    const auto attempt = [&uploader] {
        QCoro::waitFor(uploader.service.sync());
        if (!uploader.service.lastSyncError())
            qFatal("somebody listens");
    };
    addSamples(state.range(0));
    attempt(); // looks at all of it, once
    goOnFor(kAfterwards);
    std::vector<double> seconds;
    const PeakMemory memory;
    for (auto _ : state) {
        const double before = workSeconds();
        addSamples(kTicks);
        attempt();
        seconds.push_back(workSeconds() - before);
        state.SetIterationTime(seconds.back());
    }
    std::ranges::sort(seconds);
    state.counters["cpu_s_per_1000_ticks"] = seconds[seconds.size() / 2] * 1000 / kTicks;
    state.counters["grown_mb"] = memory.grownMegabytes();
}

/// Waits until the program would be calm, and gives back what it then gives back. The time of that
/// is simulated, the rest is not.
double calmMegabytes(upload_bench::Uploader& uploader)
{
    goOnFor(kAfterwards);
    QEventLoop loop;
    QObject::connect(
        &uploader.store, &activity::DataStore::unusedTextsDropped, &loop, &QEventLoop::quit);
    QTimer::singleShot(0, &uploader.store, &activity::DataStore::dropUnusedTexts);
    loop.exec();
    platform::posix::letGoOfSpareMemory();
    return kilobytes("RssAnon:") * 1024 / 1e6;
}

/// What range(0) rows, each with a title of its own, leave behind in memory when they have been
/// delivered and a minute has passed.
void afterDelivery(benchmark::State& state, const Sink& sink)
{
    upload_bench::Uploader uploader(QStringLiteral("http://127.0.0.1:%1").arg(sink.port));
    std::int64_t next = 0;
    const auto deliver = [&uploader, &next](std::int64_t count) {
        for (std::int64_t i = 0; i < count; ++i)
            uploader.store.addLog(sample(next++, false));
        QCoro::waitFor(uploader.service.sync());
        if (uploader.service.lastSyncError())
            qFatal("the upload failed");
    };
    for (auto _ : state) {
        deliver(60);
        const double before = calmMegabytes(uploader);
        deliver(state.range(0));
        for (int tick = 0; tick < 60; ++tick)
            uploader.store.addLog(sample(next, false));
        state.counters["grown_mb"] = calmMegabytes(uploader) - before;
        state.SetIterationTime(1);
    }
}

/// Uploads range(0) rows; each attempt has titles of its own.
void upload(benchmark::State& state, const Sink& sink)
{
    upload_bench::Uploader uploader(QStringLiteral("http://127.0.0.1:%1").arg(sink.port));
    std::vector<double> longest;
    std::vector<double> longestHeld;
    double ratio = 0;
    double body = 0;
    double grown = 0;
    std::int64_t next = 0;
    for (auto _ : state) {
        for (std::int64_t i = 0; i < state.range(0); ++i)
            uploader.store.addLog(sample(next++, state.range(1) != 0));
        Heartbeat heartbeat;
        QCoreApplication::processEvents();
        const PeakMemory memory;
        heartbeat.restart();
        const Clock::time_point start = Clock::now();
        QCoro::waitFor(uploader.service.sync());
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
        goOnFor(kAfterwards);
        heartbeat.beat();
        if (uploader.service.lastSyncError() || !uploader.store.activities().empty())
            qFatal("the upload failed: %s",
                   qUtf8Printable(uploader.service.lastSyncError().value_or(QString())));
        longest.push_back(heartbeat.longestMilliseconds());
        longestHeld.push_back(heartbeat.longestHeldMilliseconds());
        body = bodyMegabytes(uploader.fake.diagnostics.lines());
        grown = memory.grownMegabytes();
        ratio = std::max(ratio, grown / body);
    }
    std::ranges::sort(longest);
    std::ranges::sort(longestHeld);
    state.counters["body_mb"] = body;
    state.counters["grown_mb"] = grown;
    state.counters["memory_ratio"] = ratio;
    state.counters["median_longest_ms"] = longest[longest.size() / 2];
    state.counters["longest_ms"] = longest.back();
    state.counters["median_longest_held_ms"] = longestHeld[longestHeld.size() / 2];
    state.counters["longest_held_ms"] = longestHeld.back();
}

} // namespace

int main(int argc, char** argv)
{
    // Before there is anything that a fork would copy.
    const Sink fast;
    const Sink slow(kSlowBytesPerSecond);
    const QCoreApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    const auto add = [](const char* name, const Sink& sink) {
        return benchmark::RegisterBenchmark(
            name, [&sink](benchmark::State& state) { upload(state, sink); });
    };
    add("backlog", fast)
        ->ArgNames({"rows", "ownAddresses"})
        ->Args({2'000'000, 0})
        ->Args({2'000'000, 1})
        ->Iterations(3)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
    add("backlogToASlowReader", slow)
        ->ArgNames({"rows", "ownAddresses"})
        ->Args({2'000'000, 0})
        ->Iterations(1)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("afterDelivery",
                                 [&fast](benchmark::State& state) { afterDelivery(state, fast); })
        ->ArgName("rows")
        ->Arg(200'000)
        ->Iterations(1)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("away", away)
        ->ArgName("rows")
        ->Arg(1'000'000)
        ->Iterations(21)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
