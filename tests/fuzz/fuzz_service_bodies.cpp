// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// Any body: what is taken can be written and read again as the same, what is refused has a text.
#include "base/iso8601.h"
#include "base/json_writer.h"
#include "service/database/activity_rows.h"
#include "service/sign_in_request.h"
#include "tests/service/whole_upload.h"

#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

namespace {

void require(bool holds)
{
    if (!holds)
        std::abort();
}

void append(std::string& out, std::string_view key, const std::optional<std::string>& text)
{
    if (!text)
        return;
    out += out.back() == '{' ? "\"" : ",\"";
    out += key;
    out += "\":";
    platform::appendJsonString(out, *text);
}

std::string encoded(const service::SignInRequest& request)
{
    std::string out = "{";
    append(out, "email", request.email);
    append(out, "password", request.password);
    append(out, "device_name", request.deviceName);
    append(out, "device_id", request.deviceId);
    return out + '}';
}

std::string encoded(const service::Upload& upload)
{
    std::string out = "{";
    append(out, "device_id", upload.deviceId);
    append(out, "sync_timestamp", platform::utcText(upload.syncTimestamp));
    out += ",\"interval_minutes\":" + std::to_string(upload.intervalMinutes) + ",\"activities\":[";
    for (const service::UploadedActivity& activity : upload.activities) {
        out += out.back() == '[' ? "{" : ",{";
        append(out, "app_name", activity.appName);
        append(out, "window_title", activity.windowTitle);
        append(out, "url", activity.url);
        out += ",\"duration_seconds\":" + std::to_string(activity.durationSeconds);
        append(out, "start_time", platform::utcText(activity.startTime));
        out += '}';
    }
    return out + "]}";
}

service::Result<service::UploadHead, service::Fault> decodeInPieces(const std::string& body)
{
    constexpr std::size_t kPiece = 3;
    service::UploadReader reader(
        [&body](std::uint64_t offset) { return std::string_view(body).substr(offset, kPiece); });
    return reader.check();
}

void requireFault(const service::Fault& fault)
{
    require(fault.status == 400 || fault.status == 422);
    require(!fault.message.empty());
    // The refusal quotes names of members only; it must itself be valid JSON with two members at
    // most, whatever the body was. A sign-in read from it misses all of its own.
    const auto again = service::decodeSignInRequest(service::refusal(fault).body);
    require(!again && again.error().status == 422 && again.error().members.size() == 4);
}

void requireRows(const service::Upload& upload)
{
    const auto rows = service::rowsToStore(upload.deviceId, upload.activities);
    require(rows.size() <= upload.activities.size());
    require(rows.empty() == upload.activities.empty());
    for (std::size_t i = 1; i < rows.size(); ++i)
        require(rows[i - 1].key < rows[i].key);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    const std::string body(bytes, bytes + size);
    const auto signIn = service::decodeSignInRequest(body);
    if (signIn) {
        const auto again = service::decodeSignInRequest(encoded(signIn.value()));
        require(again && again.value() == signIn.value());
    } else {
        requireFault(signIn.error());
    }
    const auto upload = decodeUpload(body);
    // However the body is cut into pieces.
    const auto inPieces = decodeInPieces(body);
    require(static_cast<bool>(upload) == static_cast<bool>(inPieces));
    require(upload ? upload.value().deviceId == inPieces.value().deviceId
                   : upload.error().message == inPieces.error().message);
    // Both see the same JSON, so they agree on whether it is any.
    require(upload || signIn || (upload.error().status == 400) == (signIn.error().status == 400));
    if (upload) {
        const auto again = decodeUpload(encoded(upload.value()));
        require(again && again.value() == upload.value());
        requireRows(upload.value());
    } else {
        requireFault(upload.error());
    }
    return 0;
}
