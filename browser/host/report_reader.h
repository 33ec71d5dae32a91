// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <simdjson.h>
#include <string>
#include <string_view>

namespace browser {

/// What the extension tells: the page on show in the browser window that has the focus.
struct Report
{
    /// False when no window of the browser has the focus, or a private one.
    bool isFocused = false;
    // Empty unless it is focused, and for a page whose address is not told.
    std::string address;
    std::string title;
};

/// Reads what a browser sends to a native messaging host: messages, each a length of four bytes in
/// the machine's order, then so many bytes of JSON. They are read strictly: valid JSON (RFC 8259)
/// and exactly one of the two forms {"focused":false} and
/// {"focused":true,"address":"...","title":"..."}.
/// One thread.
class ReportReader final
{
public:
    /// A browser's own limit is far higher; a report never comes near this one.
    static constexpr std::size_t kLongestMessage = std::size_t{64} * 1024;
    /// The longest texts that are let through, in bytes of UTF-8.
    static constexpr std::size_t kLongestText = 8192;

    enum class State : std::uint8_t {
        Incomplete, ///< More is needed.
        Report,     ///< report() is one.
        TooLong,    ///< Longer than kLongestMessage; nothing can be read any more.
        NoReport,   ///< A message is something else.
    };

    /// Takes bytes as they come.
    void append(std::string_view bytes);

    /// Goes on to the next message.
    [[nodiscard]] State next();

    /// The report that next() found.
    [[nodiscard]] const Report& report() const { return m_report; }

    /// Whether a message has begun and lacks its end.
    [[nodiscard]] bool isInMessage() const { return m_at < m_bytes.size(); }

private:
    [[nodiscard]] bool decode(std::string_view message);

    std::string m_bytes;
    std::size_t m_at = 0;
    simdjson::dom::parser m_parser;
    Report m_report;
};

} // namespace browser
