// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "activity/activity_list.h"
#include "activity/shared_text.h"
#include "base/result.h"
#include "platform/http_client.h"
#include "sync/aggregation.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace syncing {

/// One row of an upload. The members are named as in the body (docs/formats.md, "Activity upload
/// body").
struct ActivityLogPayload
{
    activity::SharedText app_name;
    std::optional<activity::SharedText> window_title;
    /// Without its query.
    std::optional<activity::SharedText> url;
    std::int64_t duration_seconds = 0;
    /// In UTC, to the second (base/iso8601.h).
    std::string start_time;

    bool operator==(const ActivityLogPayload&) const = default;
};

/// The row of `run`: the duration in whole seconds, cut off, and the address without its query.
///
/// Ends the process when the run's duration is not finite or too long for 64 bits of seconds, or
/// its time is not finite: no stored record has such numbers.
/// Any thread.
[[nodiscard]] ActivityLogPayload uploadRow(const AggregatedLog& run);

/// What an upload tells beside its rows. The members are named as in the body (docs/formats.md,
/// "Activity upload body").
struct ActivityPayload
{
    std::string device_id;
    /// When the body was made, in UTC, to the second (base/iso8601.h).
    std::string sync_timestamp;
    std::int64_t interval_minutes = 1;

    bool operator==(const ActivityPayload&) const = default;
};

// The body is one JSON object without white space: its beginning, the rows with commas between
// them, and its end. Any thread.

/// The body up to its first row. Fails when `device_id` or `sync_timestamp` is not valid UTF-8.
[[nodiscard]] platform::Result<std::string> beginningOf(const ActivityPayload& payload);

/// Appends `row`, whose time must be valid UTF-8, as the texts always are.
void appendRow(std::string& out, const ActivityLogPayload& row);

inline constexpr char kBetweenRows = ',';
inline constexpr std::string_view kEndOfBody = "]}";

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
