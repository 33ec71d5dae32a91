// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <cstddef>
#include <string_view>

namespace platform {

// Any thread.

/// `utf8`, which must be valid UTF-8, as it is: QString::fromUtf8() drops U+FEFF at the beginning.
[[nodiscard]] QString fromExactUtf8(std::string_view utf8);

/// `utf8` without a character at its end that lacks some of its bytes, as a text has that was cut
/// off without regard for characters.
[[nodiscard]] std::string_view withoutPartialCharacter(std::string_view utf8);

/// `text` cut to at most `limit` bytes of UTF-8, not within a character. Time and memory depend on
/// `limit` alone where the text is longer.
[[nodiscard]] std::string_view cutUtf8(std::string_view text, std::size_t limit);
[[nodiscard]] QString cutUtf8(const QString& text, std::size_t limit);

} // namespace platform
