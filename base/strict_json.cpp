// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "base/strict_json.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <simdjson.h>
#include <string>
#include <system_error>

namespace platform {

namespace {

constexpr std::size_t kDeepestNesting = 512;
constexpr std::string_view kNumberParts = "0123456789+-.eE";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
static_assert(StrictJson::kPadding >= simdjson::SIMDJSON_PADDING);

/// True for the text of a whole number that no 64-bit integer can hold.
bool isLongInteger(std::string_view text)
{
    const auto read = [begin = text.data(), end = text.data() + text.size()](auto value) {
        const auto [stop, error] = std::from_chars(begin, end, value);
        return stop == end ? error : std::errc::invalid_argument;
    };
    const std::errc asSigned = read(std::int64_t{});
    return asSigned == std::errc::result_out_of_range && read(std::uint64_t{}) != std::errc{};
}

/// Puts an exponent of zero behind each whole number in `json` that does not fit into 64 bits, so
/// that the parser, which keeps integers apart, reads it as the floating-point number it stands
/// for.
std::string withLongIntegersAsDoubles(std::string_view json)
{
    std::string out;
    out.reserve(json.size() + 16);
    bool inString = false;
    for (std::size_t i = 0; i < json.size(); ++i) {
        const char c = json[i];
        if (inString || kNumberParts.find(c) == std::string_view::npos) {
            out += c;
            if (c == '"')
                inString = !inString;
            else if (c == '\\' && inString && i + 1 < json.size())
                out += json[++i];
            continue;
        }
        const std::string_view number =
            json.substr(i, std::min(json.find_first_not_of(kNumberParts, i), json.size()) - i);
        out += number;
        if (isLongInteger(number))
            out += "e0";
        i += number.size() - 1;
    }
    return out;
}

} // namespace

struct StrictJson::Parser
{
    bool parse(std::span<const char> json)
    {
        if (parser.capacity() < json.size()) {
            const std::size_t capacity = std::max(json.size(), 2 * parser.capacity());
            if (parser.allocate(capacity, kDeepestNesting) != simdjson::SUCCESS)
                return false;
        }
        return parser.parse(json.data(), json.size(), false).get(value) == simdjson::SUCCESS;
    }

    simdjson::dom::parser parser;
    simdjson::dom::element value;
    std::string text; // what StrictJson::parse() copied
    std::string rewritten;
};

StrictJson::StrictJson()
    : m_parser(std::make_unique<Parser>())
{
}

StrictJson::~StrictJson() = default;

const simdjson::dom::element* StrictJson::parsePadded(std::span<const char> json)
{
    bool isValid = m_parser->parse(json);
    if (!isValid) {
        std::string& text = m_parser->rewritten;
        text = withLongIntegersAsDoubles({json.data(), json.size()});
        const std::size_t length = text.size();
        text.append(kPadding, ' ');
        isValid = length != json.size() && m_parser->parse({text.data(), length});
    }
    return isValid ? &m_parser->value : nullptr;
}

const simdjson::dom::element* StrictJson::parse(std::string_view json)
{
    if (json.starts_with(kByteOrderMark))
        json.remove_prefix(kByteOrderMark.size());
    m_parser->text.assign(json);
    m_parser->text.append(kPadding, ' ');
    return parsePadded({m_parser->text.data(), json.size()});
}

std::optional<std::int64_t> wholeNumber(const simdjson::dom::element& value)
{
    std::int64_t integer = 0;
    if (value.get(integer) == simdjson::SUCCESS)
        return integer;
    double number = 0;
    if (!value.is_double() || value.get(number) != simdjson::SUCCESS ||
        std::trunc(number) != number || number <= -0x1p63 || number >= 0x1p63)
        return std::nullopt;
    return static_cast<std::int64_t>(number);
}

} // namespace platform
