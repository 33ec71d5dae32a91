// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/database/database_address.h"
#include "service/database/database_session.h"
#include "service/database/write_turns.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace service {

/// Threads with a database connection each, which do jobs in the order in which they come. A lost
/// connection fails one job; the next connects anew.
/// Any thread. Its destructor finishes what somebody waits for, and what has begun.
class DatabaseLane final
{
public:
    /// `address` is connected to with the first job. With `turns`, which have to live longer, each
    /// job is done in a turn of its own.
    DatabaseLane(DatabaseAddress address,
                 DatabaseSession::Purpose purpose,
                 int threads,
                 WriteTurns* turns = nullptr);
    DatabaseLane(const DatabaseLane&) = delete;
    DatabaseLane& operator=(const DatabaseLane&) = delete;
    ~DatabaseLane();

    /// Runs `job`, a function of DatabaseSession& that returns a DatabaseResult, on a thread of the
    /// lane and waits for it. What it throws comes out here.
    template <typename Job>
    [[nodiscard]] auto run(Job job) -> decltype(job(std::declval<DatabaseSession&>()))
    {
        decltype(job(std::declval<DatabaseSession&>())) result =
            DatabaseFailure{"the database could not be asked"};
        std::exception_ptr thrown;
        perform([&](DatabaseSession* session, const std::string& problem) {
            if (session == nullptr) {
                result = DatabaseFailure{problem};
                return false;
            }
            try {
                result = job(*session);
            } catch (...) {
                thrown = std::current_exception();
                return true;
            }
            return static_cast<bool>(result);
        });
        if (thrown)
            std::rethrow_exception(thrown);
        return result;
    }

    /// Runs `job` some time later and does not wait for it; what comes of it, also what it throws,
    /// is lost, so only for what may also be done another time. It is never done when many jobs
    /// wait already, of which it says false, or the lane ends.
    bool post(std::function<bool(DatabaseSession&)> job);

    struct Figures
    {
        std::size_t waiting = 0;
        // Of all jobs that have ended.
        std::uint64_t jobs = 0;
        std::uint64_t failures = 0;
        std::chrono::duration<double> waited{0};
        std::chrono::duration<double> worked{0};
    };

    [[nodiscard]] Figures figures() const;

private:
    /// Gets no session but a problem when there is no connection; false when the session is spoilt.
    using Work = std::function<bool(DatabaseSession*, const std::string&)>;

    using Clock = std::chrono::steady_clock;

    struct Item
    {
        explicit Item(Work toDo, bool posted = false)
            : work(std::move(toDo))
            , mayBeDropped(posted)
        {
        }

        Work work;
        bool mayBeDropped;
        bool done = false;
        std::condition_variable ended; // its own: whoever waits for another item sleeps on
        Clock::time_point given = Clock::now();
    };

    static constexpr std::size_t kMostWaitingForAPost = 100;

    void perform(Work work);
    void serve();
    [[nodiscard]] bool attempt(std::unique_ptr<DatabaseSession>& session, const Work& work) const;

    DatabaseAddress m_address;
    DatabaseSession::Purpose m_purpose;
    WriteTurns* m_turns;
    mutable std::mutex m_mutex;
    std::condition_variable m_wake;
    std::deque<std::shared_ptr<Item>> m_items;
    bool m_ending = false;
    Figures m_figures;       // but for how many wait
    unsigned m_failures = 0; // after each, every session older than it is replaced
    std::vector<std::jthread> m_threads;
};

} // namespace service
