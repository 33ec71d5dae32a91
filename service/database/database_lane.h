// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/database/database_address.h"
#include "service/database/database_session.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace service {

/// Threads with a database connection each, which do jobs in the order in which they come. A lost
/// connection fails one job; the next connects anew.
/// Any thread. Its destructor finishes what has been given to it.
class DatabaseLane final
{
public:
    /// `address` is connected to with the first job.
    DatabaseLane(DatabaseAddress address, int threads);
    DatabaseLane(const DatabaseLane&) = delete;
    DatabaseLane& operator=(const DatabaseLane&) = delete;
    ~DatabaseLane();

    /// Runs `job`, a function of DatabaseSession& that returns a DatabaseResult, on a thread of the
    /// lane and waits for it.
    template <typename Job>
    [[nodiscard]] auto run(Job job) -> decltype(job(std::declval<DatabaseSession&>()))
    {
        decltype(job(std::declval<DatabaseSession&>())) result = DatabaseFailure{};
        perform([&](DatabaseSession* session, const std::string& problem) {
            if (session == nullptr)
                result = DatabaseFailure{problem};
            else
                result = job(*session);
            return static_cast<bool>(result);
        });
        return result;
    }

private:
    /// Gets no session but a problem when there is no connection; false when the session is spoilt.
    using Work = std::function<bool(DatabaseSession*, const std::string&)>;

    struct Item
    {
        const Work* work = nullptr;
        bool done = false;
    };

    void perform(const Work& work);
    void serve();
    [[nodiscard]] bool attempt(std::unique_ptr<DatabaseSession>& session, const Work& work);

    DatabaseAddress m_address;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::condition_variable m_done;
    std::deque<Item*> m_items;
    bool m_ending = false;
    unsigned m_failures = 0; // after each, every session older than it is replaced
    std::vector<std::jthread> m_threads;
};

} // namespace service
