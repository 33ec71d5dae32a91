// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "activity/activity_list.h"
#include "platform/http_client.h"
#include "sync/aggregation.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace syncing {

/// How many rows a list makes and how long they are in the body. Remembers where it was: of a list
/// that has only grown it looks at what is new, so that attempts that fail cost the same however
/// long the backlog has become. Takes no memory for a sample, but four bytes where the list is not
/// in order.
/// One thread at a time.
class FoldedRows final
{
public:
    /// Whether extend() would hold up its thread for more than a millisecond.
    [[nodiscard]] bool takesLong(const activity::ActivityList& logs) const;

    /// Goes on to the rows of `logs`.
    void extend(const activity::ActivityList& logs);

    /// The samples whose rows these are.
    [[nodiscard]] const activity::ActivityList& logs() const { return m_logs; }

    /// Their order, as for RunReader.
    [[nodiscard]] const SharedOrder& order() const { return m_order; }

    [[nodiscard]] std::int64_t rowCount() const { return m_closedRows + (m_open ? 1 : 0); }

    /// Of all rows, and the commas between them.
    [[nodiscard]] std::int64_t bytes() const;

private:
    [[nodiscard]] bool continues(const activity::ActivityList& logs) const;
    void take(const activity::ActivityLog& log);
    [[nodiscard]] std::int64_t sizeOf(const OpenRun& run);

    activity::ActivityList m_logs;
    SharedOrder m_order;
    std::optional<OpenRun> m_open;
    std::int64_t m_openBytes = 0;
    std::int64_t m_closedRows = 0;
    std::int64_t m_closedBytes = 0;
    std::string m_row;
};

/// The body that begins with `beginning` and has `rows`, made row after row while it is sent, so
/// that of a backlog never more than a piece is in memory, and nothing before there is a
/// connection.
[[nodiscard]] platform::StreamedBody uploadBody(std::string beginning, const FoldedRows& rows);

} // namespace syncing
