// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/database/database.h"

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

namespace service {

/// How much of a user's rows is stored at most. Rows are counted in the background when a user
/// first uploads, and again after an hour; in between what was sent is added, which is rather too
/// much than too little, so before anybody is refused they are counted anew. Each instance knows of
/// its own uploads only until it counts. Who cannot be counted is not refused. Any thread.
class StorageQuota final
{
public:
    StorageQuota(Database& database, std::int64_t bytes);

    /// What an upload takes until its end.
    class Reservation final
    {
    public:
        Reservation(StorageQuota& quota, std::int64_t user, std::int64_t bytes);
        Reservation(Reservation&& other) noexcept;
        Reservation(const Reservation&) = delete;
        Reservation& operator=(const Reservation&) = delete;
        Reservation& operator=(Reservation&&) = delete;
        ~Reservation();

        /// It was stored, and counts from here on.
        void keep() { m_kept = true; }

    private:
        StorageQuota* m_quota;
        std::int64_t m_user;
        std::int64_t m_bytes;
        bool m_kept = false;
    };

    /// Room for an upload of so many bytes; nothing when the user has none, where others that are
    /// in hand count as if they were stored. One upload may go beyond it. Waits for the database
    /// for who seems to have no room.
    [[nodiscard]] std::optional<Reservation> reserve(std::int64_t user, std::int64_t bytes);

    /// Whether the user had no room a moment ago. Does not block.
    [[nodiscard]] bool isKnownToBeFull(std::int64_t user);

private:
    using Clock = std::chrono::steady_clock;

    struct Use
    {
        std::int64_t counted = 0;
        std::int64_t addedBefore = 0; ///< of `added` what was counted for certain
        std::int64_t added = 0;       ///< since the start
        std::int64_t inHand = 0;
        std::optional<Clock::time_point> when;
        bool isBeingCounted = false;
    };

    /// What is there as long as anybody counts.
    struct Uses
    {
        std::mutex mutex;
        std::map<std::int64_t, Use> ofUser;
    };

    [[nodiscard]] bool isKnownToBeFull(const Use& use) const;
    void countLater(std::int64_t user);
    [[nodiscard]] static bool
    count(DatabaseSession& session, const std::shared_ptr<Uses>& uses, std::int64_t user);

    Database& m_database;
    const std::int64_t m_most;
    std::shared_ptr<Uses> m_uses = std::make_shared<Uses>();
};

} // namespace service
