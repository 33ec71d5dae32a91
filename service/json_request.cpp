// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/json_request.h"

#include <utility>

namespace service {

namespace {
constexpr std::size_t kDeepestNesting = 512;
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
} // namespace

std::optional<Fault> JsonRequest::read(std::string body)
{
    const std::size_t length = body.size();
    m_body = std::move(body);
    m_body.resize(length + simdjson::SIMDJSON_PADDING);
    const std::size_t from = m_body.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0;
    simdjson::dom::element element;
    if (m_parser.allocate(length, kDeepestNesting) != simdjson::SUCCESS ||
        m_parser.parse(m_body.data() + from, length - from, false).get(element) !=
            simdjson::SUCCESS)
        return Fault{.status = 400, .message = "The body is not valid JSON", .members = {}};
    if (element.get(m_object) != simdjson::SUCCESS)
        return Fault{.status = 422, .message = "The body is not a JSON object", .members = {}};
    return std::nullopt;
}

std::optional<std::string_view> stringMember(const simdjson::dom::object& object,
                                             std::string_view key)
{
    std::string_view value;
    if (object.at_key(key).get(value) != simdjson::SUCCESS)
        return std::nullopt;
    return value;
}

std::optional<std::int64_t> integerMember(const simdjson::dom::object& object, std::string_view key)
{
    std::int64_t value = 0;
    if (object.at_key(key).get(value) != simdjson::SUCCESS)
        return std::nullopt;
    return value;
}

bool lacks(const simdjson::dom::object& object, std::string_view key)
{
    simdjson::dom::element value;
    return object.at_key(key).get(value) != simdjson::SUCCESS || value.is_null();
}

} // namespace service
