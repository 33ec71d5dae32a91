// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "sync/upload_payload_json.h"

#include "platform/json_writer.h"

#include <QLatin1StringView>
#include <QUtf8StringView>

#include <array>
#include <charconv>
#include <cstddef>
#include <string_view>

namespace syncing {

namespace {

bool isValidUtf8(std::string_view text)
{
    return QUtf8StringView(text.data(), static_cast<qsizetype>(text.size())).isValidUtf8();
}

void appendInteger(std::string& out, std::int64_t value)
{
    std::array<char, 20> digits{}; // the lowest one has 20 characters
    const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), value);
    out.append(digits.data(), result.ptr);
}

void appendRow(std::string& out, const ActivityLogPayload& row)
{
    out += R"({"app_name":)";
    platform::appendJsonString(out, row.app_name.view());
    if (row.window_title) {
        out += R"(,"window_title":)";
        platform::appendJsonString(out, row.window_title->view());
    }
    if (row.url) {
        out += R"(,"url":)";
        platform::appendJsonString(out, row.url->view());
    }
    out += R"(,"duration_seconds":)";
    appendInteger(out, row.duration_seconds);
    out += R"(,"start_time":)";
    platform::appendJsonString(out, row.start_time);
    out += '}';
}

std::string head(const ActivityPayload& payload)
{
    std::string out = R"({"device_id":)";
    platform::appendJsonString(out, payload.device_id);
    out += R"(,"sync_timestamp":)";
    platform::appendJsonString(out, payload.sync_timestamp);
    out += R"(,"interval_minutes":)";
    appendInteger(out, payload.interval_minutes);
    return out + R"(,"activities":[)";
}

/// About how long the body becomes: exact but for characters to escape, of which addresses have a
/// few.
std::size_t expectedSize(const std::vector<ActivityLogPayload>& rows)
{
    std::size_t size = 256;
    for (const ActivityLogPayload& row : rows) {
        size += 128 + row.app_name.view().size();
        size += row.window_title ? row.window_title->view().size() : 0;
        size += row.url ? row.url->view().size() : 0;
    }
    return size;
}

platform::Error notUtf8(QLatin1StringView what)
{
    return {.text = what + QLatin1StringView(" is not valid UTF-8")};
}

} // namespace

platform::Result<QByteArray> uploadPayloadJson(const ActivityPayload& payload)
{
    if (!isValidUtf8(payload.device_id))
        return notUtf8(QLatin1StringView("the identity of the device"));
    if (!isValidUtf8(payload.sync_timestamp))
        return notUtf8(QLatin1StringView("the time of the upload"));
    QByteArray body;
    body.reserve(static_cast<qsizetype>(expectedSize(payload.activities)));
    std::string piece =
        head(payload); // the writers append to strings, the body is too long for two
    bool isFirst = true;
    for (const ActivityLogPayload& row : payload.activities) {
        if (!isValidUtf8(row.start_time))
            return notUtf8(QLatin1StringView("the time of a row"));
        if (!isFirst)
            piece += ',';
        isFirst = false;
        appendRow(piece, row);
        body.append(piece.data(), static_cast<qsizetype>(piece.size()));
        piece.clear();
    }
    piece += "]}";
    body.append(piece.data(), static_cast<qsizetype>(piece.size()));
    return body;
}

} // namespace syncing
