// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/database/accounts.h"
#include "service/database/database_lane.h"
#include "service/database/days.h"
#include "service/upload.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace service {

/// The database as the web service uses it, in three lanes: authentication does not wait for
/// uploads, and neither of them for reports, which read only and end after 3 seconds.
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

    /// See storeUpload(). `next` is called on a thread of the lane.
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

    template <typename Job> [[nodiscard]] auto report(Job job)
    {
        return m_reports.run(std::move(job));
    }

    /// How many jobs wait in each lane.
    struct Waiting
    {
        std::size_t reading = 0;
        std::size_t writing = 0;
        std::size_t reports = 0;
    };

    [[nodiscard]] Waiting waiting() const;

    /// What was done since the start.
    struct Figures
    {
        DatabaseLane::Figures reading;
        DatabaseLane::Figures writing;
        DatabaseLane::Figures reports;
        std::uint64_t rowsStored = 0; ///< of uploads, with those that came again
    };

    [[nodiscard]] Figures figures() const;

private:
    std::atomic<std::uint64_t> m_rowsStored = 0;
    DatabaseLane m_reading;
    DatabaseLane m_writing;
    DatabaseLane m_reports;
};

} // namespace service
