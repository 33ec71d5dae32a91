// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "sync/upload_payload_json.h"

#include "platform/json_writer.h"

#include <QUtf8StringView>

#include <array>
#include <charconv>
#include <string_view>
#include <utility>

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

} // namespace

UploadPayloadJson::UploadPayloadJson(const ActivityPayload& payload)
{
    if (!isValidUtf8(payload.device_id))
        fail(QLatin1StringView("the identity of the device"));
    if (!isValidUtf8(payload.sync_timestamp))
        fail(QLatin1StringView("the time of the upload"));
    m_piece += R"({"device_id":)";
    platform::appendJsonString(m_piece, payload.device_id);
    m_piece += R"(,"sync_timestamp":)";
    platform::appendJsonString(m_piece, payload.sync_timestamp);
    m_piece += R"(,"interval_minutes":)";
    appendInteger(m_piece, payload.interval_minutes);
    m_piece += R"(,"activities":[)";
}

void UploadPayloadJson::append(const ActivityLogPayload& row)
{
    if (!isValidUtf8(row.start_time))
        fail(QLatin1StringView("the time of a row"));
    if (m_rowCount++ > 0)
        m_piece += ',';
    appendRow(m_piece, row);
    moveToBody();
}

platform::Result<QByteArray> UploadPayloadJson::finish()
{
    m_piece += "]}";
    moveToBody();
    if (m_error)
        return *m_error;
    return std::move(m_body);
}

void UploadPayloadJson::fail(QLatin1StringView what)
{
    if (!m_error)
        m_error = platform::Error{.text = what + QLatin1StringView(" is not valid UTF-8")};
}

void UploadPayloadJson::moveToBody()
{
    m_body.append(m_piece.data(), static_cast<qsizetype>(m_piece.size()));
    m_piece.clear();
}

} // namespace syncing
