// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "benchmarks/workload.h"

#include "activity/activity_log_json.h"

#include <string_view>

namespace workload {

namespace {

constexpr std::size_t kApplications = 200;
constexpr std::size_t kAddresses = 3000;
constexpr std::size_t kSecondsInOneWindow = 20;

} // namespace

activity::ActivityLog log(std::size_t index, activity::TextPool& pool)
{
    const std::size_t window = index / kSecondsInOneWindow * 7919;
    const std::string page = std::to_string(window % kAddresses);
    const auto text = [&pool](const std::string& value) {
        return pool.intern(std::string_view(value));
    };
    return {
        .appName = text("Application " + std::to_string(window % kApplications)),
        .windowTitle = text("Page " + page + " of the handbook \u2013 Web Browser"),
        .url = text("https://www.example.org/handbook/page-" + page + ".html"),
        .timestamp = 785000000.123456 + static_cast<double>(index),
        .duration = 1.0,
    };
}

activity::ActivityList list(std::size_t count, activity::TextPool& pool)
{
    activity::ActivityList made;
    for (std::size_t i = 0; i < count; ++i)
        made.append(log(i, pool));
    return made;
}

std::string json(const activity::ActivityList& list)
{
    std::string text = "[";
    for (const activity::ActivityLog& log : list) {
        if (text.size() > 1)
            text += ',';
        if (!activity::appendActivityLog(text, log))
            std::abort();
    }
    return text + ']';
}

} // namespace workload
