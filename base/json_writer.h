// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace platform {

/// The value writers for our JSON texts (RFC 8259): compact, non-ASCII text as it is, every
/// slash escaped. No library writes slashes so, and readers of the file rely on it.
/// Any thread.

/// Appends `text`, valid UTF-8, as a JSON string with its quotes.
void appendJsonString(std::string& out, std::string_view text);

/// Appends `value` with the fewest digits that read back as the same number, without an exponent
/// where that is legible. False, with nothing appended, for a value that JSON cannot hold
/// (infinity, not-a-number).
[[nodiscard]] bool appendJsonNumber(std::string& out, double value);

} // namespace platform
