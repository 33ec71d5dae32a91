// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/database/database.h"

#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>

namespace service {

/// How much of a user's rows is stored at most. Rows are counted when a user first uploads, and
/// again after an hour; in between what was sent is added, which is rather too much than too
/// little, so before anybody is refused they are counted anew. Any thread; blocks on the database.
class StorageQuota final
{
public:
    StorageQuota(Database& database, std::int64_t bytes);

    /// Whether the user has no room for further rows. One upload may go beyond it.
    [[nodiscard]] DatabaseResult<bool> isUsedUp(std::int64_t user);

    /// An upload of so many bytes was stored.
    void add(std::int64_t user, std::int64_t bytes);

private:
    using Clock = std::chrono::steady_clock;

    struct Use
    {
        std::int64_t bytes = 0;
        Clock::time_point counted;
        bool isExact = true; ///< nothing was added since
    };

    Database& m_database;
    const std::int64_t m_most;
    std::mutex m_mutex;
    std::map<std::int64_t, Use> m_uses; // by user
};

} // namespace service
