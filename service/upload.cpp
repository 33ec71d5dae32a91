// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/upload.h"

#include "base/iso8601.h"
#include "service/json_request.h"

#include <utility>

namespace service {

namespace {

/// Reads members of one object and keeps the first fault.
class Members final
{
public:
    Members(const simdjson::dom::object& object, std::string path)
        : m_object(object)
        , m_path(std::move(path))
    {
    }

    void read(std::string_view key, std::string& field)
    {
        if (const auto value = stringMember(m_object, key))
            field = *value;
        else
            blame(key, "is missing or not a string");
    }

    void readOptional(std::string_view key, std::optional<std::string>& field)
    {
        if (lacks(m_object, key))
            return;
        if (const auto value = stringMember(m_object, key))
            field = *value;
        else
            blame(key, "is not a string");
    }

    void read(std::string_view key, std::int64_t& field)
    {
        if (const auto value = integerMember(m_object, key))
            field = *value;
        else
            blame(key, "is missing or not a whole number of 64 bits");
    }

    void readTime(std::string_view key, std::int64_t& field)
    {
        const auto text = stringMember(m_object, key);
        if (const auto seconds = text ? platform::secondsFromUtcText(*text) : std::nullopt)
            field = *seconds;
        else
            blame(key, "is missing or not a time such as 2026-11-21T09:30:00Z");
    }

    void blame(std::string_view key, std::string_view what)
    {
        if (m_fault)
            return;
        const std::string member = m_path + std::string(key);
        m_fault = Fault{.status = 422,
                        .message = member + ' ' + std::string(what),
                        .members = {{.member = member, .text = std::string(what)}}};
    }

    [[nodiscard]] const std::optional<Fault>& fault() const { return m_fault; }

private:
    const simdjson::dom::object& m_object;
    std::string m_path;
    std::optional<Fault> m_fault;
};

std::optional<Fault>
decodeRow(const simdjson::dom::element& element, std::size_t number, UploadedActivity& row)
{
    std::string path = "activities." + std::to_string(number);
    simdjson::dom::object object;
    if (element.get(object) != simdjson::SUCCESS)
        return Fault{.status = 422,
                     .message = path + " is not an object",
                     .members = {{.member = path, .text = "is not an object"}}};
    Members members(object, std::move(path) + '.');
    members.read("app_name", row.appName);
    members.readOptional("window_title", row.windowTitle);
    members.readOptional("url", row.url);
    members.read("duration_seconds", row.durationSeconds);
    members.readTime("start_time", row.startTime);
    return members.fault();
}

} // namespace

Result<Upload, Fault> decodeUpload(std::string body)
{
    JsonRequest json;
    if (std::optional<Fault> fault = json.read(std::move(body)))
        return *std::move(fault);
    Upload upload;
    Members members(json.object(), {});
    members.read("device_id", upload.deviceId);
    members.readTime("sync_timestamp", upload.syncTimestamp);
    members.read("interval_minutes", upload.intervalMinutes);
    simdjson::dom::array rows;
    if (json.object().at_key("activities").get(rows) != simdjson::SUCCESS)
        members.blame("activities", "is missing or not an array");
    if (const std::optional<Fault>& fault = members.fault())
        return *fault;
    upload.activities.reserve(rows.size());
    for (const simdjson::dom::element element : rows) {
        const std::size_t number = upload.activities.size();
        if (auto fault = decodeRow(element, number, upload.activities.emplace_back()))
            return *std::move(fault);
    }
    return upload;
}

} // namespace service
