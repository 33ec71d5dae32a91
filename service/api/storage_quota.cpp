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

StorageQuota::Reservation::Reservation(StorageQuota& quota, std::int64_t user, std::int64_t bytes)
    : m_quota(&quota)
    , m_user(user)
    , m_bytes(bytes)
{
}

StorageQuota::Reservation::Reservation(Reservation&& other) noexcept
    : m_quota(std::exchange(other.m_quota, nullptr))
    , m_user(other.m_user)
    , m_bytes(other.m_bytes)
    , m_kept(other.m_kept)
{
}

StorageQuota::Reservation::~Reservation()
{
    if (m_quota == nullptr)
        return;
    const std::lock_guard lock(m_quota->m_uses->mutex);
    Use& use = m_quota->m_uses->ofUser[m_user];
    use.inHand -= m_bytes;
    use.added += m_kept ? m_bytes : 0;
}

std::optional<StorageQuota::Reservation> StorageQuota::reserve(std::int64_t user,
                                                               std::int64_t bytes)
{
    const auto hasRoom = [this](const Use& use) {
        return use.counted + use.added - use.addedBefore + use.inHand < m_most;
    };
    std::unique_lock lock(m_uses->mutex);
    Use& use = m_uses->ofUser[user];
    if (isKnownToBeFull(use))
        return std::nullopt;
    if (!hasRoom(use)) {
        lock.unlock();
        const auto counted = m_database.count([&](DatabaseSession& session) {
            return DatabaseResult<bool>(count(session, m_uses, user));
        });
        lock.lock();
        if (counted && counted.value() && !hasRoom(use))
            return std::nullopt;
    }
    use.inHand += bytes;
    const bool isStale = !use.when || Clock::now() - *use.when > kCountedFor;
    const bool ask = isStale && !std::exchange(use.isBeingCounted, true);
    lock.unlock();
    if (ask)
        countLater(user);
    return Reservation(*this, user, bytes);
}

bool StorageQuota::isKnownToBeFull(std::int64_t user)
{
    const std::lock_guard lock(m_uses->mutex);
    const auto found = m_uses->ofUser.find(user);
    return found != m_uses->ofUser.end() && isKnownToBeFull(found->second);
}

bool StorageQuota::isKnownToBeFull(const Use& use) const
{
    return use.counted >= m_most && use.when && Clock::now() - *use.when < kRefusedFor;
}

void StorageQuota::countLater(std::int64_t user)
{
    // What waits in the lane may outlive us.
    const bool taken = m_database.countLater([uses = m_uses, user](DatabaseSession& session) {
        const bool counted = count(session, uses, user);
        const std::lock_guard lock(uses->mutex);
        uses->ofUser[user].isBeingCounted = false;
        return counted;
    });
    if (taken)
        return;
    const std::lock_guard lock(m_uses->mutex);
    m_uses->ofUser[user].isBeingCounted = false;
}

/// False when they could not be counted.
bool StorageQuota::count(DatabaseSession& session,
                         const std::shared_ptr<Uses>& uses,
                         std::int64_t user)
{
    std::int64_t before = 0;
    {
        const std::lock_guard lock(uses->mutex);
        before = uses->ofUser[user].added;
    }
    const auto bytes = bytesOfRows(session, user);
    if (!bytes)
        return false;
    const std::lock_guard lock(uses->mutex);
    Use& use = uses->ofUser[user];
    use.counted = bytes.value();
    use.addedBefore = before; // what was added meanwhile may have been counted or not
    use.when = Clock::now();
    return true;
}

} // namespace service
