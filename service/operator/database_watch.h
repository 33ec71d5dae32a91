// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/database/database.h"
#include "service/database/job_runner.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <stop_token>
#include <thread>
#include <vector>

namespace service {

/// What is read of the database for figures; nothing in it is about one user.
struct StoredFigures
{
    Counts counts;
    std::vector<JobLine> jobs;
    std::int64_t read = 0; ///< when, in seconds since 1970
};

/// Looks every few seconds whether the databases answer and what is stored, so that whoever asks
/// for figures waits for none of them.
class DatabaseWatch final
{
public:
    /// `database` has to live longer.
    explicit DatabaseWatch(Database& database);
    DatabaseWatch(const DatabaseWatch&) = delete;
    DatabaseWatch& operator=(const DatabaseWatch&) = delete;
    /// Waits for the looks in hand.
    ~DatabaseWatch();

    struct Seen
    {
        bool isUp = false;                   ///< the database answered, and is not late to now
        bool canReport = false;              ///< the same of where reports are read
        std::optional<StoredFigures> stored; ///< the last that could be read
    };

    /// Any thread. Waits for the first looks, for two seconds at most.
    [[nodiscard]] Seen seen();

private:
    using Clock = std::chrono::steady_clock;

    struct Look
    {
        bool hasEnded = false; ///< one of them
        bool succeeded = false;
        std::optional<Clock::time_point> begun; ///< that in hand
    };

    [[nodiscard]] bool lookAtReports();
    void work(const std::stop_token& stop, Look& look, const std::function<bool()>& ask);
    [[nodiscard]] static bool answers(const Look& look);

    Database& m_database;
    std::mutex m_mutex;
    std::condition_variable_any m_changed;
    Look m_main;
    Look m_reports;
    std::optional<StoredFigures> m_stored;
    // The last ones, so that the rest is there when they begin.
    std::jthread m_mainThread;
    std::jthread m_reportsThread;
};

} // namespace service
