// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "activity/activity_log_json.h"

#include "platform/json_writer.h"

#include <string_view>

namespace activity {

bool appendActivityLog(std::string& out, const ActivityLog& log)
{
    const std::size_t before = out.size();
    const auto id = log.id.toText();
    out += R"({"id":")";
    out.append(id.data(), id.size());
    out += R"(","appName":)";
    platform::appendJsonString(out, log.appName.view());
    if (log.windowTitle) {
        out += R"(,"windowTitle":)";
        platform::appendJsonString(out, log.windowTitle->view());
    }
    if (log.url) {
        out += R"(,"url":)";
        platform::appendJsonString(out, log.url->view());
    }
    out += R"(,"timestamp":)";
    bool finite = platform::appendJsonNumber(out, log.timestamp);
    out += R"(,"duration":)";
    finite = platform::appendJsonNumber(out, log.duration) && finite;
    out += '}';
    if (!finite)
        out.resize(before);
    return finite;
}

} // namespace activity
