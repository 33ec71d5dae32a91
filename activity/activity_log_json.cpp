// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "activity/activity_log_json.h"

#include "base/json_writer.h"
#include "base/strict_json.h"
#include "base/uuid.h"

#include <optional>
#include <simdjson.h>
#include <string_view>
#include <utility>

namespace activity {

namespace {

/// The members of one record object. Of a key that stands twice the first counts.
struct Members
{
    std::optional<simdjson::dom::element> id, appName, windowTitle, url, timestamp, duration;

    explicit Members(const simdjson::dom::object& object)
    {
        for (const auto [key, value] : object) {
            if (std::optional<simdjson::dom::element>* const member = named(key);
                member != nullptr && !*member)
                *member = value;
        }
    }

private:
    std::optional<simdjson::dom::element>* named(std::string_view key)
    {
        const std::pair<std::string_view, std::optional<simdjson::dom::element>*> names[] = {
            {"id", &id},
            {"appName", &appName},
            {"windowTitle", &windowTitle},
            {"url", &url},
            {"timestamp", &timestamp},
            {"duration", &duration},
        };
        for (const auto& [name, member] : names) {
            if (name == key)
                return member;
        }
        return nullptr;
    }
};

std::optional<std::string_view> text(const std::optional<simdjson::dom::element>& member)
{
    std::string_view value;
    if (!member || member->get(value) != simdjson::SUCCESS)
        return std::nullopt;
    return value;
}

std::optional<double> number(const std::optional<simdjson::dom::element>& member)
{
    double value = 0;
    if (!member || member->get(value) != simdjson::SUCCESS)
        return std::nullopt;
    return value;
}

/// The texts of the record before, which the next one mostly repeats.
struct Previous
{
    SharedText appName, windowTitle, url;
};

SharedText shared(std::string_view value, SharedText& previous, TextPool& pool)
{
    if (previous.view() != value)
        previous = pool.intern(value);
    return previous;
}

/// Reads an optional text into `field`; false when the member is there but neither text nor null.
bool readOptional(const std::optional<simdjson::dom::element>& member,
                  std::optional<SharedText>& field,
                  SharedText& previous,
                  TextPool& pool)
{
    if (!member || member->is_null())
        return true;
    const std::optional<std::string_view> value = text(member);
    if (value)
        field = shared(*value, previous, pool);
    return value.has_value();
}

std::optional<ActivityLog>
decodeRecord(const simdjson::dom::element& element, Previous& previous, TextPool& pool)
{
    simdjson::dom::object object;
    if (element.get(object) != simdjson::SUCCESS)
        return std::nullopt;
    const Members members(object);
    const std::optional<std::string_view> idText = text(members.id);
    const auto id = idText ? platform::Uuid::fromText(*idText) : std::nullopt;
    const std::optional<std::string_view> appName = text(members.appName);
    const std::optional<double> timestamp = number(members.timestamp);
    const std::optional<double> duration = number(members.duration);
    if (!id || !appName || !timestamp || !duration)
        return std::nullopt;
    ActivityLog log{
        .id = *id,
        .appName = shared(*appName, previous.appName, pool),
        .windowTitle = std::nullopt,
        .url = std::nullopt,
        .timestamp = *timestamp,
        .duration = *duration,
    };
    if (!readOptional(members.windowTitle, log.windowTitle, previous.windowTitle, pool) ||
        !readOptional(members.url, log.url, previous.url, pool))
        return std::nullopt;
    return log;
}

} // namespace

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

std::size_t ActivityDecoder::padding()
{
    return platform::StrictJson::kPadding;
}

ActivityDecoder::ActivityDecoder(TextPool& pool)
    : m_parser(std::make_unique<platform::StrictJson>())
    , m_pool(pool)
{
}

ActivityDecoder::~ActivityDecoder() = default;

bool ActivityDecoder::decodeArray(std::span<const char> array, ActivityList& list)
{
    const simdjson::dom::element* const root = m_parser->parsePadded(array);
    simdjson::dom::array elements;
    if (root == nullptr || root->get(elements) != simdjson::SUCCESS)
        return false;
    ActivityList decoded = list;
    Previous previous;
    for (const simdjson::dom::element element : elements) {
        std::optional<ActivityLog> log = decodeRecord(element, previous, m_pool);
        if (!log)
            return false;
        decoded.append(std::move(*log));
    }
    list = std::move(decoded);
    return true;
}

} // namespace activity
