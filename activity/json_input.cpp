// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "activity/json_input.h"

#include "activity/activity_decoder.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace activity {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

constexpr bool isSpace(char c)
{
    return c == ' ' || c == '\n' || c == '\r' || c == '\t';
}

/// Follows strings and braces through records to the places where one ends.
class RecordScanner final
{
public:
    /// True when `c` closes a record.
    bool take(char c)
    {
        if (m_escaped) {
            m_escaped = false;
        } else if (m_inString) {
            m_escaped = c == '\\';
            m_inString = c != '"';
        } else if (c == '"') {
            m_inString = true;
        } else if (c == '{' || c == '[') {
            ++m_depth;
        } else if ((c == '}' || c == ']') && --m_depth == 0) {
            return true;
        }
        return false;
    }

    /// True between records at what cannot be part of the list of records.
    [[nodiscard]] bool leaves(char c) const
    {
        return m_depth == 0 && c != '{' && c != ',' && !isSpace(c);
    }

private:
    std::size_t m_depth = 0;
    bool m_inString = false;
    bool m_escaped = false;
};

} // namespace

JsonInput::JsonInput(QIODevice& device, std::size_t window)
    : m_device(device)
    , m_fewCharacters(window / 2)
    , m_window(window + ActivityDecoder::padding())
{
}

void JsonInput::skipByteOrderMark()
{
    while (available() < kByteOrderMark.size() && readMore()) {
    }
    if (std::string_view(m_window.data() + m_next, available()).starts_with(kByteOrderMark))
        m_next += kByteOrderMark.size();
}

std::optional<char> JsonInput::nextToken()
{
    for (;;) {
        while (m_next < m_end && isSpace(m_window[m_next]))
            ++m_next;
        if (m_next < m_end)
            return m_window[m_next];
        if (!readMore())
            return std::nullopt;
    }
}

void JsonInput::consume(std::size_t count)
{
    m_next += count;
}

std::size_t JsonInput::likelyEndOfRecords()
{
    if (available() < m_fewCharacters)
        readMore();
    const std::string_view text(m_window.data() + m_next, available());
    if (m_atEnd) {
        const std::size_t close = text.find_last_of("}]");
        if (close == std::string_view::npos)
            return 0;
        return text[close] == ']' ? close : close + 1;
    }
    const std::size_t between = text.rfind("},{");
    return between == std::string_view::npos ? 0 : between + 1;
}

std::size_t JsonInput::endOfRecords()
{
    RecordScanner scanner;
    std::size_t lastEnd = 0;
    for (std::size_t i = 0;; ++i) {
        while (i >= available()) {
            if (lastEnd > 0 || !readMore())
                return lastEnd;
        }
        const char c = m_window[m_next + i];
        if (scanner.leaves(c))
            return lastEnd;
        if (scanner.take(c))
            lastEnd = i + 1;
    }
}

std::span<const char> JsonInput::asArray(std::size_t length)
{
    char* const before = m_window.data() + m_next - 1;
    char* const behind = before + 1 + length;
    m_before = *before;
    m_behind = *behind;
    m_bracketed = length;
    *before = '[';
    *behind = ']';
    return {before, length + 2};
}

void JsonInput::restore()
{
    m_window[m_next - 1] = m_before;
    m_window[m_next + m_bracketed] = m_behind;
}

/// Reads more text behind what the window holds; false at the end.
bool JsonInput::readMore()
{
    if (m_atEnd)
        return false;
    const std::size_t taken = m_next > 0 ? m_next - 1 : 0; // asArray() needs one character in front
    std::memmove(m_window.data(), m_window.data() + taken, m_end - taken);
    m_next -= taken;
    m_end -= taken;
    if (m_end + ActivityDecoder::padding() == m_window.size())
        m_window.resize(2 * m_window.size());
    const std::size_t room = m_window.size() - ActivityDecoder::padding() - m_end;
    const qint64 read = m_device.read(m_window.data() + m_end, static_cast<qint64>(room));
    if (read <= 0) {
        m_atEnd = true;
        m_failed = read < 0;
        return false;
    }
    m_end += static_cast<std::size_t>(read);
    return true;
}

} // namespace activity
