// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/api/storage_quota.h"

#include "service/database/stored_bytes.h"

namespace service {

namespace {

constexpr std::chrono::hours kCountedFor(1);
// Who is at the bound and has deleted something waits no longer than this.
constexpr std::chrono::minutes kRefusedFor(1);

} // namespace

StorageQuota::StorageQuota(Database& database, std::int64_t bytes)
    : m_database(database)
    , m_most(bytes)
{
}

DatabaseResult<bool> StorageQuota::isUsedUp(std::int64_t user)
{
    const Clock::time_point now = Clock::now();
    {
        const std::lock_guard lock(m_mutex);
        const auto found = m_uses.find(user);
        if (found != m_uses.end()) {
            const Use& use = found->second;
            const bool isFull = use.bytes >= m_most;
            if (isFull ? use.isExact && now - use.counted < kRefusedFor
                       : now - use.counted < kCountedFor)
                return isFull;
        }
    }
    const auto counted =
        m_database.report([user](DatabaseSession& session) { return bytesOfRows(session, user); });
    if (!counted)
        return counted.error();
    const std::lock_guard lock(m_mutex);
    m_uses[user] = {.bytes = counted.value(), .counted = now};
    return counted.value() >= m_most;
}

void StorageQuota::add(std::int64_t user, std::int64_t bytes)
{
    const std::lock_guard lock(m_mutex);
    Use& use = m_uses[user];
    use.bytes += bytes;
    use.isExact = false;
}

} // namespace service
