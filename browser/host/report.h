// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
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

    bool operator==(const Report&) const = default;
};

/// Reads the extension's messages strictly: valid JSON (RFC 8259) and exactly one of the two forms
/// {"focused":false} and {"focused":true,"address":"...","title":"..."}.
/// One thread.
class ReportDecoder final
{
public:
    /// The longest texts that are let through, in bytes of UTF-8.
    static constexpr std::size_t kLongestAddress = 8192;
    static constexpr std::size_t kLongestTitle = 8192;

    /// The report in `message`; none for anything else.
    [[nodiscard]] std::optional<Report> decode(std::string_view message);

private:
    simdjson::dom::parser m_parser;
};

} // namespace browser
