// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "sync/upload_rows.h"

#include "platform/iso8601.h"
#include "platform/truncated.h"
#include "platform/url_components.h"

#include <QtGlobal>

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

} // namespace syncing
