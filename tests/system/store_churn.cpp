// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// A store under load until somebody kills it: store_churn FOLDER. Adds a numbered record every
// millisecond, goes on from the stored numbers, removes the older half now and then, and writes
// each number and its time to standard output as soon as it is in the list.
#include "activity/data_store.h"
#include "backends/posix/posix_atomic_file.h"
#include "backends/posix/standard_output.h"
#include "backends/posix/system_clock.h"
#include "backends/posix/this_process.h"

#include <QCoreApplication>
#include <QTimer>

#include <atomic>
#include <string>
#include <thread>
#include <unistd.h>

namespace {

constexpr std::size_t kMost = 4000; // a small backlog
constexpr std::size_t kKept = 2000;

struct Note
{
    std::uint64_t number;
    double time;
};

void removeOlderHalf(activity::DataStore& store)
{
    std::vector<platform::Uuid> old;
    const activity::ActivityList& list = store.activities();
    for (std::size_t i = 0; i + kKept < list.size(); ++i)
        old.push_back(list[i].id);
    store.removeLogs(activity::ActivityIds(std::move(old)));
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    if (argc != 2)
        return 2;
    platform::posix::PosixAtomicFiles files;
    platform::posix::StdoutDiagnostics diagnostics(STDERR_FILENO);
    const platform::posix::SystemClock clock;
    activity::DataStore store({.applicationSupport = QString::fromLocal8Bit(argv[1]),
                               .files = files,
                               .diagnostics = diagnostics,
                               .enterBackground = platform::posix::enterBackground});
    std::uint64_t number = 0;
    if (const auto& list = store.activities(); !list.empty())
        number = std::stoull(std::string(list[list.size() - 1].appName.view()));

    // Something else that wants the processor.
    std::thread([] {
        for (std::atomic<unsigned> spins = 0;; ++spins) {
        }
    }).detach();

    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, &store, [&] {
        const Note note{++number, clock.now()};
        store.addLog({.appName = activity::SharedText(std::to_string(note.number)),
                      .windowTitle = activity::SharedText("a title of ordinary length"),
                      .url = std::nullopt,
                      .timestamp = note.time,
                      .duration = 1.0});
        if (::write(STDOUT_FILENO, &note, sizeof note) != sizeof note)
            std::abort();
        if (store.activities().size() > kMost)
            removeOlderHalf(store);
    });
    timer.start(1);
    return QCoreApplication::exec();
}
