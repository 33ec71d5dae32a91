// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/database/database_session.h"

#include <chrono>
#include <cstdint>
#include <utility>

namespace service {

/// The rows of schema 2, which are in the table "old_activities" until they have been moved while
/// the service runs: by user, in the order of their digests, a portion in each transaction, which
/// also notes how far it has come. So it may be killed at any moment and done by several at once.
/// A row that has come again meanwhile keeps the greater duration, whichever table it came to
/// first. See DatabaseSession for threads and blocking.

/// Whether the table is there.
[[nodiscard]] DatabaseResult<bool> hasOldTable(DatabaseSession& session);

/// How many rows a portion has, between one and the most. It is halved when a portion held up
/// uploads for too long, and doubled when there was time left.
class OldRowsPace final
{
public:
    static constexpr int kMostRows = 2000;

    explicit OldRowsPace(int rows = kMostRows)
        : m_rows(rows)
    {
    }

    [[nodiscard]] int rows() const { return m_rows; }

    /// A portion of so many rows has taken so long.
    void note(std::chrono::steady_clock::duration took);

private:
    int m_rows;
};

/// Moves the next portion; false when nothing is left, and the table is gone.
[[nodiscard]] DatabaseResult<bool> moveOldRows(DatabaseSession& session, OldRowsPace& pace);

/// Whether the user has rows that wait, and nobody has asked for them.
[[nodiscard]] DatabaseResult<bool> hasOldRowsToAskFor(DatabaseSession& session, std::int64_t user);

/// Lets the rows of this user be moved before those of others.
[[nodiscard]] DatabaseResult<std::monostate> askForOldRows(DatabaseSession& session,
                                                           std::int64_t user);

/// Drops the table if it is there and no user has rows in it that wait. Within a transaction.
[[nodiscard]] DatabaseResult<std::monostate> dropEmptyOldTable(DatabaseSession& session);

} // namespace service
