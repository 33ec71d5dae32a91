// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

namespace simdjson::dom {
class element;
}

namespace platform {

/// A strict JSON parser (RFC 8259): nothing behind the value, no invalid UTF-8, escapes or lone
/// surrogates, no numbers beyond a double, at most 512 levels deep. Whole numbers of any length are
/// numbers.
/// One thread at a time. Whoever looks into a value includes <simdjson.h>.
class StrictJson final
{
public:
    /// Bytes that must be readable, whatever they hold, behind a text that is parsed in place.
    static constexpr std::size_t kPadding = 64;

    StrictJson();
    StrictJson(const StrictJson&) = delete;
    StrictJson& operator=(const StrictJson&) = delete;
    ~StrictJson();

    /// The value that `json` is, good until the next parse; null when it is not valid.
    [[nodiscard]] const simdjson::dom::element* parsePadded(std::span<const char> json);

    /// The same for a text of any origin, which is copied; a byte order mark is skipped.
    [[nodiscard]] const simdjson::dom::element* parse(std::string_view json);

private:
    struct Parser;
    std::unique_ptr<Parser> m_parser;
};

/// `value` as a whole number of 64 bits: one that is written with a fraction of zero or an exponent
/// (1.0, 1e3) is one too, but for the smallest, to which others would be rounded. None for anything
/// else.
[[nodiscard]] std::optional<std::int64_t> wholeNumber(const simdjson::dom::element& value);

} // namespace platform
