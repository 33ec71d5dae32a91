// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "sync/upload_rows.h"

#include "platform/iso8601.h"
#include "platform/truncated.h"
#include "platform/url_components.h"

#include <QtGlobal>

#include <string_view>
#include <unordered_map>

namespace syncing {

namespace {

using activity::SharedText;

/// Removes queries. A few addresses come up again and again: each is looked at once, and what is
/// left of it is one shared text.
class QueryRemover final
{
public:
    [[nodiscard]] SharedText bare(const SharedText& address)
    {
        if (!platform::hasUrlQuery(address.view()))
            return address;
        const auto [found, isNew] = m_bare.try_emplace(address.view());
        if (isNew)
            found->second = SharedText(platform::withoutUrlQuery(address.view()));
        return found->second;
    }

private:
    std::unordered_map<std::string_view, SharedText> m_bare; // the keys are the runs' own texts
};

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

std::vector<ActivityLogPayload> uploadRows(std::span<const AggregatedLog> runs)
{
    QueryRemover remover;
    std::vector<ActivityLogPayload> rows;
    rows.reserve(runs.size());
    for (const auto& [log, duration] : runs) {
        rows.push_back({
            .app_name = log.appName,
            .window_title = log.windowTitle,
            .url = log.url ? std::optional(remover.bare(*log.url)) : std::nullopt,
            .duration_seconds = wholeSeconds(duration),
            .start_time = startTime(log.timestamp),
        });
    }
    return rows;
}

} // namespace syncing
