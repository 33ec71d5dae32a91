// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "account/auth_service.h"
#include "activity/data_store.h"
#include "backends/posix/posix_atomic_file.h"
#include "backends/posix/this_process.h"
#include "backends/qt/network_http_client.h"
#include "sync/sync_service.h"
#include "tests/fakes/fake_environment.h"

#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <fstream>

/// The uploader at work: what the benchmarks of uploads have in common.
namespace upload_bench {

/// A timer of one millisecond, and the longest time that one of its beats was late. Apart from
/// that, the longest without the time in which the thread was ready to run and other programs, or
/// our own threads, had the processors: what is left is what the main thread did itself, or waited
/// for.
class Heartbeat final
{
public:
    using Clock = std::chrono::steady_clock;

    Heartbeat()
    {
        m_timer.setTimerType(Qt::PreciseTimer);
        QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this] { beat(); });
        m_timer.start(kBeat);
    }

    void beat()
    {
        const Moment now = moment();
        const Clock::duration late = now.time - m_last.time - kBeat;
        m_longest = std::max(m_longest, late);
        m_longestHeld = std::max<Clock::duration>(m_longestHeld, late - (now.ready - m_last.ready));
        m_last = now;
    }

    void restart()
    {
        m_last = moment();
        m_longest = {};
        m_longestHeld = {};
    }

    [[nodiscard]] double longestMilliseconds() const { return milliseconds(m_longest); }

    [[nodiscard]] double longestHeldMilliseconds() const { return milliseconds(m_longestHeld); }

private:
    struct Moment
    {
        Clock::time_point time;
        std::chrono::nanoseconds ready; // but not running, ever
    };

    static Moment moment()
    {
        std::ifstream file("/proc/self/schedstat"); // of the main thread: "running ready slices"
        std::chrono::nanoseconds::rep ran = 0;
        std::chrono::nanoseconds::rep ready = 0;
        if (!(file >> ran >> ready))
            ready = 0;
        return {.time = Clock::now(), .ready = std::chrono::nanoseconds(ready)};
    }

    static double milliseconds(Clock::duration time)
    {
        return std::chrono::duration<double, std::milli>(time).count();
    }

    static constexpr std::chrono::milliseconds kBeat{1};

    QTimer m_timer;
    Moment m_last = moment();
    Clock::duration m_longest{};
    Clock::duration m_longestHeld{};
};

/// The uploader with a store that saves to a real disk and the product's own HTTP, signed in.
struct Uploader
{
    /// To the service at `serviceUrl`.
    explicit Uploader(QString serviceUrl)
        : url(std::move(serviceUrl))
    {
    }

    QString url;
    QTemporaryDir folder;
    fakes::FakeEnvironment fake;
    platform::posix::PosixAtomicFiles files;
    platform::qt::NetworkHttpClient client;
    platform::Environment environment{
        .idleTime = fake.idleTime,
        .frontmostApplication = fake.frontmostApplication,
        .windowTitle = fake.windowTitle,
        .scriptRunner = fake.scriptRunner,
        .repeatingTimers = fake.repeatingTimers,
        .clock = fake.clock,
        .diagnostics = fake.diagnostics,
        .atomicFiles = files,
        .userDefaults = fake.userDefaults,
        .secretStore = storeWithToken(),
        .httpClient = client,
        .applicationSupport = folder.path(),
        .enterBackground = platform::posix::enterBackground,
    };
    activity::DataStore store{{.applicationSupport = environment.applicationSupport,
                               .files = files,
                               .diagnostics = fake.diagnostics,
                               .enterBackground = platform::posix::enterBackground}};
    account::AuthService auth{{.serviceUrl = url,
                               .userDefaults = fake.userDefaults,
                               .secretStore = fake.secretStore,
                               .httpClient = client}};
    syncing::SyncService service{environment, url, auth, store};

private:
    platform::SecretStore& storeWithToken()
    {
        fake.secretStore.secrets[fakes::FakeSecretStore::key(account::AuthService::secretName())] =
            "T";
        return fake.secretStore;
    }
};

} // namespace upload_bench
