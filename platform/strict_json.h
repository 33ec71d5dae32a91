// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <simdjson.h>
#include <span>
#include <string>
#include <string_view>

namespace platform {

/// A strict JSON parser (RFC 8259): nothing behind the value, no invalid UTF-8, escapes or lone
/// surrogates, no numbers beyond a double, at most 512 levels deep. Whole numbers of any length are
/// numbers.
/// One thread at a time.
class StrictJson final
{
public:
    /// Bytes that must be readable, whatever they hold, behind a text that is parsed in place.
    static constexpr std::size_t kPadding = simdjson::SIMDJSON_PADDING;

    /// The value that `json` is; an error when it is not valid. It is good until the next parse.
    [[nodiscard]] simdjson::simdjson_result<simdjson::dom::element>
    parsePadded(std::span<const char> json);

    /// The same for a text of any origin, which is copied; a byte order mark is skipped.
    [[nodiscard]] simdjson::simdjson_result<simdjson::dom::element> parse(std::string_view json);

private:
    [[nodiscard]] simdjson::simdjson_result<simdjson::dom::element>
    parseOnce(std::span<const char> json);

    simdjson::dom::parser m_parser;
    std::string m_text; // what parse() copied
    std::string m_rewritten;
};

/// `value` as a whole number of 64 bits: one that is written with a fraction of zero or an exponent
/// (1.0, 1e3) is one too, but for the smallest, to which others would be rounded. None for anything
/// else.
[[nodiscard]] std::optional<std::int64_t> wholeNumber(const simdjson::dom::element& value);

/// Puts an exponent of zero behind each whole number in `json` that does not fit into 64 bits, so
/// that a parser that keeps integers apart reads it as the floating-point number it stands for.
[[nodiscard]] std::string withLongIntegersAsDoubles(std::string_view json);

} // namespace platform
