// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/database/accounts.h"
#include "service/database/database_lane.h"
#include "service/database/days.h"
#include "service/upload.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace service {

/// The database as the web service uses it, in lanes: authentication does not wait for uploads,
/// uploads as of some minutes and sign-ins not for long uploads but, in SQLite, for the moment when
/// these are copied into the table, and none of them for reports, which read only and end after 3
/// seconds.
/// Any thread; calls block on the database.
class Database final
{
public:
    /// The schema must have been prepared. Reports are read at `reports` where that is given, which
    /// may be a replica.
    explicit Database(const DatabaseAddress& address,
                      const std::optional<DatabaseAddress>& reports = std::nullopt);

    /// Notes the use of the session, see needsNote(), without waiting for it.
    [[nodiscard]] DatabaseResult<std::optional<Session>> sessionOfToken(const std::string& token);
    [[nodiscard]] DatabaseResult<bool>
    addToken(const User& user, const std::string& token, const SignInRequest& request);

    /// See storeUpload(). `next` is called on the caller's thread or on one of a lane.
    [[nodiscard]] DatabaseResult<std::int64_t>
    store(std::int64_t user, const UploadHead& head, const NextRows& next);

    /// See readDays(). What had to be added up is kept without waiting for it. Rows of schema 2
    /// that the user still has are moved before those of others from now on.
    [[nodiscard]] DatabaseResult<std::vector<PackedDay>> days(std::int64_t user,
                                                              const DayRange& range);

    /// Runs `job`, a function of DatabaseSession& that returns a DatabaseResult, in a lane.
    template <typename Job> [[nodiscard]] auto read(Job job)
    {
        return m_reading.run(std::move(job));
    }

    template <typename Job> [[nodiscard]] auto write(Job job)
    {
        return m_writing.run(std::move(job));
    }

    /// What takes long and reads only: nothing else waits for it, and it for nothing else.
    template <typename Job> [[nodiscard]] auto count(Job job)
    {
        return m_counting.run(std::move(job));
    }

    /// See DatabaseLane::post().
    [[nodiscard]] bool countLater(std::function<bool(DatabaseSession&)> job)
    {
        return m_counting.post(std::move(job));
    }

    template <typename Job> [[nodiscard]] auto report(Job job)
    {
        return m_reports.run(std::move(job));
    }

    /// What was done since the start.
    struct Figures
    {
        DatabaseLane::Figures reading;
        DatabaseLane::Figures writing;
        DatabaseLane::Figures longUploads;
        DatabaseLane::Figures counting;
        DatabaseLane::Figures reports;
        std::uint64_t rowsStored = 0; ///< of uploads, with those that came again
    };

    [[nodiscard]] Figures figures() const;

private:
    std::atomic<std::uint64_t> m_rowsStored = 0;
    WriteTurns m_turns;
    WriteTurns* m_turnsUsed; ///< null for PostgreSQL, where many write at a time
    DatabaseLane m_reading;
    DatabaseLane m_writing;
    DatabaseLane m_longUploads;
    DatabaseLane m_counting;
    DatabaseLane m_reports;
};

} // namespace service
