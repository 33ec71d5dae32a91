// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "sync/upload_rows.h"

#include "base/iso8601.h"
#include "base/json_writer.h"
#include "base/truncated.h"
#include "base/url_components.h"

#include <QLatin1StringView>
#include <QUtf8StringView>
#include <QtGlobal>

#include <array>
#include <charconv>
#include <utility>

namespace syncing {

namespace {

using activity::SharedText;

SharedText withoutQuery(const SharedText& address)
{
    if (!platform::hasUrlQuery(address.view()))
        return address;
    return SharedText(platform::withoutUrlQuery(address.view()));
}

std::int64_t wholeSeconds(double duration)
{
    const auto seconds = platform::truncated(duration);
    if (!seconds)
        qFatal("The duration of a run, %f s, is not a number of seconds", duration);
    return *seconds;
}

std::string startTime(double timestamp)
{
    auto text = platform::iso8601(timestamp);
    if (!text)
        qFatal("The start of a run, %f s, is not an instant", timestamp);
    return *std::move(text);
}

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

platform::Error notValid(QLatin1StringView what)
{
    return {.text = what + QLatin1StringView(" is not valid UTF-8")};
}

} // namespace

ActivityLogPayload uploadRow(const AggregatedLog& run)
{
    const activity::ActivityLog& first = run.log;
    return {
        .app_name = first.appName,
        .window_title = first.windowTitle,
        .url = first.url ? std::optional(withoutQuery(*first.url)) : std::nullopt,
        .duration_seconds = wholeSeconds(run.duration),
        .start_time = startTime(first.timestamp),
    };
}

platform::Result<std::string> beginningOf(const ActivityPayload& payload)
{
    if (!isValidUtf8(payload.device_id))
        return notValid(QLatin1StringView("the identity of the device"));
    if (!isValidUtf8(payload.sync_timestamp))
        return notValid(QLatin1StringView("the time of the upload"));
    std::string out = R"({"device_id":)";
    platform::appendJsonString(out, payload.device_id);
    out += R"(,"sync_timestamp":)";
    platform::appendJsonString(out, payload.sync_timestamp);
    out += R"(,"interval_minutes":)";
    appendInteger(out, payload.interval_minutes);
    out += R"(,"activities":[)";
    return out;
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

} // namespace syncing
