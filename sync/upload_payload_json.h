// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/result.h"
#include "sync/upload_rows.h"

#include <QByteArray>
#include <QLatin1StringView>

#include <cstdint>
#include <optional>
#include <string>

namespace syncing {

/// What an upload tells beside its rows. The members are named as in the body (docs/formats.md,
/// "Activity upload body").
struct ActivityPayload
{
    std::string device_id;
    /// When the body was made, in UTC, to the second (platform/iso8601.h).
    std::string sync_timestamp;
    std::int64_t interval_minutes = 1;

    bool operator==(const ActivityPayload&) const = default;
};

/// Writes the body, one JSON object without white space, row after row: so there is never more of
/// a backlog in memory than the body itself.
/// One thread at a time; some tenths of a second for a million rows.
class UploadPayloadJson final
{
public:
    explicit UploadPayloadJson(const ActivityPayload& payload);

    /// Makes room for about so many bytes of rows.
    void reserve(qsizetype bytes) { m_body.reserve(m_body.size() + bytes); }

    void append(const ActivityLogPayload& row);

    /// How many rows have been appended.
    [[nodiscard]] std::int64_t rowCount() const { return m_rowCount; }

    /// Gives out the body, once. Fails only when `device_id` or one of the times is not valid
    /// UTF-8.
    [[nodiscard]] platform::Result<QByteArray> finish();

private:
    void fail(QLatin1StringView what);
    void moveToBody();

    QByteArray m_body;
    std::string m_piece; // of it: the writers append to strings, the body is too long for two
    std::int64_t m_rowCount = 0;
    std::optional<platform::Error> m_error;
};

} // namespace syncing
