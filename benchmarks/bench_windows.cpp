// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// What stays in memory of windows that have been closed.
#include "tests/views/window_bench.h"

#include <QEventLoop>
#include <QFile>
#include <QGuiApplication>
#include <QTimer>

#include <array>
#include <benchmark/benchmark.h>
#include <chrono>
#include <malloc.h>

namespace {

constexpr int kSettled = 10; // what is made once and kept is there by then
constexpr int kOpenings = 200;
constexpr std::chrono::seconds kPatience(10);

[[noreturn]] void stop(const char* what)
{
    qFatal("the benchmark cannot go on: %s", what);
}

/// Of this process, without what it has freed.
double privateMegabytes()
{
    malloc_trim(0);
    QFile file(QStringLiteral("/proc/self/smaps_rollup"));
    if (!file.open(QIODevice::ReadOnly))
        stop("no smaps_rollup");
    const QByteArray all = file.readAll();
    const QByteArray key = "Private_Dirty:";
    const qsizetype found = all.indexOf(key);
    if (found < 0)
        stop("no Private_Dirty");
    const qsizetype start = found + key.size();
    const qsizetype end = all.indexOf("kB", start);
    return all.mid(start, end - start).trimmed().toDouble() / 1024;
}

/// Waits until the window has been drawn.
void show(support::WindowBench& bench, const QString& identifier)
{
    bench.windows.openWindow(identifier);
    QQuickWindow* const window = support::WindowBench::window(identifier);
    if (!window)
        stop("a window does not open");
    QEventLoop loop;
    QObject::connect(window, &QQuickWindow::frameSwapped, &loop, &QEventLoop::quit);
    QTimer::singleShot(kPatience, &loop, [] { stop("a window is not drawn"); });
    loop.exec();
    bench.mainQueue.advance(); // what the window puts off when it appears
}

void openAndCloseAll(support::WindowBench& bench)
{
    for (const QString& identifier :
         {shell::kDashboardWindow, shell::kLoginWindow, shell::kSettingsWindow})
        show(bench, identifier);
    bench.windows.closeAll();
    bench.mainQueue.advance();
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    if (!QGuiApplication::topLevelWindows().isEmpty())
        stop("a window does not close");
}

void openAndClose(benchmark::State& state)
{
    for ([[maybe_unused]] const auto iteration : state) {
        support::WindowBench bench;
        bench.signIn();
        for (const char* app : std::array{"Editor", "Browser", "Terminal", "Chat", "Music"})
            bench.add(app, 100, "https://example.com/");
        double settled = 0;
        for (int i = 1; i <= kOpenings; ++i) {
            openAndCloseAll(bench);
            if (i == kSettled)
                settled = privateMegabytes();
        }
        state.counters["settled_mb"] = settled;
        state.counters["grown_mb"] = privateMegabytes() - settled;
    }
}

BENCHMARK(openAndClose)->Iterations(1)->Unit(benchmark::kSecond);

} // namespace

int main(int argc, char** argv)
{
    const QGuiApplication application(argc, argv);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
