// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "browser/host/report.h"

#include "browser/host/message_reader.h"

namespace browser {

namespace {

constexpr std::size_t kDeepestNesting = 2;

/// The string `key` of `object` if it is there and not longer than `longest`. D-Bus knows no text
/// with a NUL in it, and no address or title has one.
bool readText(const simdjson::dom::object& object,
              std::string_view key,
              std::size_t longest,
              std::string& text)
{
    std::string_view value;
    if (object.at_key(key).get(value) != simdjson::SUCCESS || value.size() > longest ||
        value.find('\0') != std::string_view::npos)
        return false;
    text = value;
    return true;
}

} // namespace

std::optional<Report> ReportDecoder::decode(std::string_view message)
{
    constexpr std::size_t kMembersOfNone = 1;
    constexpr std::size_t kMembersOfPage = 3;
    if (m_parser.capacity() == 0 &&
        m_parser.allocate(MessageReader::kLongest, kDeepestNesting) != simdjson::SUCCESS)
        return std::nullopt;
    simdjson::dom::object object;
    Report report;
    if (m_parser.parse(message.data(), message.size()).get(object) != simdjson::SUCCESS ||
        object.at_key("focused").get(report.isFocused) != simdjson::SUCCESS ||
        object.size() != (report.isFocused ? kMembersOfPage : kMembersOfNone))
        return std::nullopt;
    if (report.isFocused && (!readText(object, "address", kLongestAddress, report.address) ||
                             !readText(object, "title", kLongestTitle, report.title)))
        return std::nullopt;
    return report;
}

} // namespace browser
