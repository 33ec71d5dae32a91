// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "browser/host/report_reader.h"

#include <cstring>

namespace browser {

namespace {

constexpr std::size_t kDeepestNesting = 2;

/// Reads the string `key` of `object` if it is there and not too long. D-Bus knows no text with a
/// NUL in it, and no address or title has one.
bool readText(const simdjson::dom::object& object, std::string_view key, std::string& text)
{
    std::string_view value;
    if (object.at_key(key).get(value) != simdjson::SUCCESS ||
        value.size() > ReportReader::kLongestText || value.find('\0') != std::string_view::npos)
        return false;
    text = value;
    return true;
}

} // namespace

void ReportReader::append(std::string_view bytes)
{
    m_bytes.erase(0, m_at);
    m_at = 0;
    m_bytes.append(bytes);
}

ReportReader::State ReportReader::next()
{
    std::uint32_t length = 0;
    const std::size_t available = m_bytes.size() - m_at;
    if (available < sizeof length)
        return State::Incomplete;
    std::memcpy(&length, m_bytes.data() + m_at, sizeof length);
    if (length > kLongestMessage)
        return State::TooLong;
    if (available - sizeof length < length)
        return State::Incomplete;
    const auto message = std::string_view(m_bytes).substr(m_at + sizeof length, length);
    m_at += sizeof length + length;
    return decode(message) ? State::Report : State::NoReport;
}

bool ReportReader::decode(std::string_view message)
{
    constexpr std::size_t kMembersOfNone = 1;
    constexpr std::size_t kMembersOfPage = 3;
    if (m_parser.capacity() == 0 &&
        m_parser.allocate(kLongestMessage, kDeepestNesting) != simdjson::SUCCESS)
        return false;
    simdjson::dom::object object;
    m_report = {};
    if (m_parser.parse(message.data(), message.size()).get(object) != simdjson::SUCCESS ||
        object.at_key("focused").get(m_report.isFocused) != simdjson::SUCCESS ||
        object.size() != (m_report.isFocused ? kMembersOfPage : kMembersOfNone))
        return false;
    return !m_report.isFocused || (readText(object, "address", m_report.address) &&
                                   readText(object, "title", m_report.title));
}

} // namespace browser
