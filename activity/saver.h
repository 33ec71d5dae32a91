// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "activity/activity_list.h"
#include "base/mailbox.h"
#include "platform/atomic_file.h"
#include "platform/diagnostics.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <semaphore.h>
#include <thread>

namespace activity {

/// How many bytes may be written now, so that over any length of time the average stays at a given
/// rate plus one second's worth (a token bucket). Pure: the caller brings the time.
class WriteBudget final
{
public:
    using Clock = std::chrono::steady_clock;

    explicit WriteBudget(std::int64_t bytesPerSecond)
        : m_rate(static_cast<double>(bytesPerSecond))
        , m_available(m_rate)
    {
    }

    /// Notes that `bytes` are written at `now`; when the next ones may be. As a rule that is at
    /// once; where less than a quarter of a second's worth is left it is when all of it is back, so
    /// that nobody writes in crumbs.
    [[nodiscard]] Clock::time_point charge(std::int64_t bytes, Clock::time_point now)
    {
        const std::chrono::duration<double> passed = now - m_refilled;
        m_refilled = now;
        m_available =
            std::min(m_rate, m_available + (passed.count() * m_rate)) - static_cast<double>(bytes);
        if (m_available >= m_rate / 4)
            return now;
        const std::chrono::duration<double> missing((m_rate - m_available) / m_rate);
        return now + std::chrono::ceil<std::chrono::milliseconds>(missing);
    }

private:
    double m_rate;
    double m_available;
    Clock::time_point m_refilled;
};

/// Writes the newest list it was given to the activity file, on a thread of its own. Lists that
/// arrive while it writes supersede one another. As a rule a save writes the new records only, into
/// a file that was the current one before. Where more is to be written, it is no more than the
/// budget allows: a large file is written slowly, and what was added meanwhile goes in at the end.
///
/// What is in the file survives the end of the process. A power cut costs what was not flushed:
/// that happens two seconds after news (another application, title or address than before), ten
/// seconds after more of the same, at once when records were removed, and at the end.
///
/// All functions may be called from any thread, but none twice at a time.
class Saver final
{
public:
    using Clock = WriteBudget::Clock;

    struct Settings
    {
        /// What saving may write, on average.
        std::int64_t bytesPerSecond = 4'000'000;
        /// What is in the file could not be read: keep a copy before replacing it.
        bool keepDamagedCopy = false;
        /// Called first on the thread.
        std::function<void()> enterBackground = [] {
        };
    };

    /// `stored` is what the file holds, as far as it could be read.
    Saver(std::unique_ptr<platform::AtomicFile> file,
          platform::Diagnostics& diagnostics,
          ActivityList stored,
          Settings settings);
    Saver(const Saver&) = delete;
    Saver& operator=(const Saver&) = delete;
    /// Finishes what is owed, however long that takes.
    ~Saver();

    /// Has `list` saved: soon, or when the writing under way allows. Never blocks.
    void submit(ActivityList list);

    /// Has what was submitted flushed and then calls `done` on the saving thread. Never blocks.
    void flush(std::function<void()> done);

    /// Finishes what is owed at full speed and ends saving for good. Returns when that is done, or
    /// at `deadline` with false; it then ends as soon as the disk answers.
    [[nodiscard]] bool finish(Clock::time_point deadline);

private:
    void run();
    void wait(Clock::time_point until);
    void collect();
    void noteWhatToFlush(const ActivityList& list);
    void save();
    [[nodiscard]] platform::Outcome fill(const platform::AtomicFile::Draft& draft);
    [[nodiscard]] platform::Outcome copyCurrent();
    [[nodiscard]] platform::Outcome writeRecords();
    [[nodiscard]] platform::Outcome mayGoOn(std::int64_t written);
    [[nodiscard]] platform::Outcome commit(int file);
    void flushIfDue();
    void fail(const platform::Error& error);

    std::unique_ptr<platform::AtomicFile> m_file;
    platform::Diagnostics& m_diagnostics;
    Settings m_settings;
    WriteBudget m_budget;

    platform::Mailbox<ActivityList> m_inbox;
    platform::Mailbox<std::function<void()>> m_flushRequests;
    std::atomic<Clock::time_point> m_deadline = Clock::time_point::max();
    std::atomic<bool> m_isEnding = false;
    std::promise<void> m_end;
    std::future<void> m_hasEnded = m_end.get_future();
    sem_t m_wake = {};

    // The thread's own.
    ActivityList m_list;       // the newest
    bool m_isOwed = false;     // it is not in the file, nor on its way there
    bool m_isSaving = false;   // it is on its way
    std::size_t m_taken = 0;   // records of it that are in the draft
    std::int64_t m_length = 0; // of the draft so far, in bytes
    std::array<std::optional<ActivityList>, platform::AtomicFile::kFiles> m_held; // by each file
    int m_current = -1;               // the file that is seen; none of ours yet
    std::int64_t m_currentLength = 0; // in bytes
    std::optional<Clock::time_point> m_flushDue;
    bool m_isShortened = false; // a flush is to be followed by forgetting what was longer
    bool m_isTidy = false;      // what earlier processes left is gone

    std::thread m_thread;
};

} // namespace activity
