// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// The store on a disk whose power will fail; each line it prints is a JSON object.
//
// power_cut_store write FOLDER SCRIPT [--without-flushes]
//   Records into FOLDER. SCRIPT has a letter for each second:
//     B  a backlog comes in        n  something else is in front       s  the same as before
//     r  the older half is removed, as after an upload                 k  the process is killed
//     f  the process ends and finishes saving
//   What is done is printed before it is done, with its time (CLOCK_MONOTONIC, in nanoseconds).
//   Without flushes, those the product asks for do nothing.
//
// power_cut_store start
//   For each FOLDER from standard input: the first start after the cut. Prints what was loaded,
//   adds a record, finishes saving and ends.
#include "activity/data_store.h"
#include "backends/posix/posix_atomic_file.h"
#include "backends/posix/standard_output.h"
#include "backends/posix/system_clock.h"
#include "backends/posix/this_process.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QTimer>

#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <ctime>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <sys/inotify.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

constexpr int kBacklog = 2000;
constexpr std::chrono::seconds kSaveLimit(30);

std::atomic<bool>& flushesDoNothing()
{
    static std::atomic<bool> value = false;
    return value;
}

int flush(long call, int file)
{
    return flushesDoNothing() ? 0 : static_cast<int>(::syscall(call, file));
}

} // namespace

// In the place of the library's own.
extern "C" int fsync(int fd)
{
    return flush(SYS_fsync, fd);
}

extern "C" int fdatasync(int fildes)
{
    return flush(SYS_fdatasync, fildes);
}

extern "C" int syncfs(int fd) noexcept
{
    return flush(SYS_syncfs, fd);
}

namespace {

std::string text(const platform::Uuid& id)
{
    const auto letters = id.toText();
    return {letters.begin(), letters.end()};
}

template <typename Records> std::string idsOf(const Records& records)
{
    std::string ids = "[";
    for (const activity::ActivityLog& record : records)
        ids += (ids.size() > 1 ? ",\"" : "\"") + text(record.id) + '"';
    return ids + ']';
}

/// Straight to the descriptor, so that nothing is lost with the process.
void print(const std::string& fields)
{
    timespec now = {};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    const std::string time = std::to_string(now.tv_sec * 1'000'000'000 + now.tv_nsec);
    const std::string line = "{\"time\":" + time + "," + fields + "}\n";
    if (::write(STDOUT_FILENO, line.data(), line.size()) != static_cast<ssize_t>(line.size()))
        std::abort();
}

/// The store as the product makes it.
class Product
{
public:
    explicit Product(const QString& folder)
        : m_store({.applicationSupport = folder,
                   .files = m_files,
                   .diagnostics = m_diagnostics,
                   .enterBackground = platform::posix::enterBackground})
    {
    }

    /// Returns when what was on the disk is in the list.
    activity::DataStore& loaded() { return m_store; }

private:
    platform::posix::PosixAtomicFiles m_files;
    platform::posix::StdoutDiagnostics m_diagnostics{STDERR_FILENO};
    activity::DataStore m_store;
};

activity::ActivityLog record(int front)
{
    return {.appName = activity::SharedText("Application " + std::to_string(front % 7)),
            .windowTitle =
                activity::SharedText("a title of ordinary length, " + std::to_string(front)),
            .url = activity::SharedText("https://www.example.org/" + std::to_string(front)),
            .timestamp = platform::posix::SystemClock().now(),
            .duration = 1.0};
}

class Writer
{
public:
    Writer(const QString& folder, std::string script)
        : m_product(folder)
        , m_store(m_product.loaded())
        , m_script(std::move(script))
    {
        print("\"loaded\":" + idsOf(m_store.activities()));
    }

    /// One letter of the script.
    void second()
    {
        switch (m_script.at(m_at++)) {
        case 'B':
            add(kBacklog, true);
            break;
        case 'n':
            add(1, true);
            break;
        case 's':
            add(1, false);
            break;
        case 'r':
            removeOlderHalf();
            break;
        case 'f':
            print("\"finishing\":true");
            QCoreApplication::exit(m_store.finishSaving(kSaveLimit) ? 0 : 1);
            break;
        default:
            print("\"killed\":true");
            std::raise(SIGKILL);
        }
    }

private:
    void add(int count, bool news)
    {
        std::vector<activity::ActivityLog> records;
        records.reserve(static_cast<std::size_t>(count));
        for (int i = 0; i < count; ++i)
            records.push_back(record(news ? ++m_front : m_front));
        print("\"added\":" + idsOf(records) + ",\"news\":" + (news ? "true" : "false"));
        for (activity::ActivityLog& one : records)
            m_store.addLog(std::move(one));
    }

    void removeOlderHalf()
    {
        const activity::ActivityList& list = m_store.activities();
        std::vector<activity::ActivityLog> older;
        std::vector<platform::Uuid> ids;
        for (std::size_t i = 0; i < list.size() / 2; ++i) {
            older.push_back(list[i]);
            ids.push_back(list[i].id);
        }
        print("\"removed\":" + idsOf(older));
        m_store.removeLogs(activity::ActivityIds(std::move(ids)));
    }

    Product m_product;
    activity::DataStore& m_store;
    std::string m_script;
    std::size_t m_at = 0;
    int m_front = 0;
};

int write(const QString& folder, const std::string& script)
{
    Writer writer(folder, script);
    QTimer timer;
    timer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&timer, &QTimer::timeout, &timer, [&] { writer.second(); });
    timer.start(std::chrono::seconds(1));
    return QCoreApplication::exec();
}

/// What happens in a folder, in order.
class Watch
{
public:
    explicit Watch(const QString& folder)
        : m_queue(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK))
    {
        ::inotify_add_watch(m_queue, QFile::encodeName(folder).constData(), IN_ACCESS | IN_DELETE);
    }

    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    ~Watch() { ::close(m_queue); }

    /// Whether so far a file was deleted and one was read from after that.
    [[nodiscard]] bool deletedBeforeRead() const
    {
        bool deleted = false;
        bool readAfterwards = false;
        alignas(inotify_event) std::array<char, 1 << 16> buffer{};
        for (ssize_t got = 0; (got = ::read(m_queue, buffer.data(), buffer.size())) > 0;) {
            for (ssize_t at = 0; at < got;) {
                const auto* event = reinterpret_cast<const inotify_event*>(buffer.data() + at);
                deleted = deleted || (event->mask & IN_DELETE) != 0;
                readAfterwards = readAfterwards || (deleted && (event->mask & IN_ACCESS) != 0);
                at += static_cast<ssize_t>(sizeof *event + event->len);
            }
        }
        return readAfterwards;
    }

private:
    int m_queue;
};

void start(const QString& folder)
{
    Watch watch(QFileInfo(activity::DataStore::filePathIn(folder)).path());
    Product product(folder);
    activity::DataStore& store = product.loaded();
    const std::string loaded = idsOf(store.activities());
    const bool deletedEarly = watch.deletedBeforeRead();
    store.addLog(record(0));
    const bool finished = store.finishSaving(kSaveLimit);
    print("\"loaded\":" + loaded + ",\"deletedEarly\":" + (deletedEarly ? "true" : "false") +
          ",\"finished\":" + (finished ? "true" : "false") +
          ",\"afterwards\":" + idsOf(store.activities()));
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    const std::string_view mode(argc > 1 ? argv[1] : "");
    if (mode == "write" && (argc == 4 || argc == 5)) {
        flushesDoNothing() = argc == 5 && std::string_view(argv[4]) == "--without-flushes";
        return write(QString::fromLocal8Bit(argv[2]), argv[3]);
    }
    if (mode != "start" || argc != 2)
        return 2;
    for (std::string folder; std::getline(std::cin, folder);)
        start(QString::fromStdString(folder));
    return 0;
}
