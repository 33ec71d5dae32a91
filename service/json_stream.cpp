// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/json_stream.h"

#include "base/ascii.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <simdjson.h>
#include <system_error>
#include <utility>

namespace service {

namespace {

constexpr unsigned kDeepestNesting = 512;
constexpr std::size_t kLongestNumber = 16384; // none that anybody means has more than 20 characters
constexpr std::size_t kLongestKey = 64;       // of those that anybody asks for
constexpr int kEnd = -1;

bool isPlain(char c)
{
    const auto byte = static_cast<unsigned char>(c);
    return byte >= 0x20 && byte < 0x80 && c != '"' && c != '\\';
}

/// Whether all of 8 bytes are plain; it may also say no when they are.
bool arePlain(const char* bytes)
{
    constexpr std::uint64_t kOnes = 0x0101010101010101;
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    // The uppermost bit of a byte that is less than `n`, or behind one.
    const auto less = [](std::uint64_t bytesOfWord, std::uint64_t n) {
        return (bytesOfWord - kOnes * n) & ~bytesOfWord;
    };
    const std::uint64_t other =
        word | less(word, 0x20) | less(word ^ (kOnes * '"'), 1) | less(word ^ (kOnes * '\\'), 1);
    return (other & (kOnes * 0x80)) == 0;
}

/// How many bytes at the beginning of `text` are plain: most of all that is sent.
std::size_t plainBytes(std::string_view text)
{
    std::size_t count = 0;
    while (text.size() - count >= 8 && arePlain(text.data() + count))
        count += 8;
    while (count < text.size() && isPlain(text[count]))
        ++count;
    return count;
}

bool isOfANumber(int c)
{
    return (c >= '0' && c <= '9') || c == '-' || c == '+' || c == '.' || c == 'e' || c == 'E';
}

void appendCodePoint(std::string& text, unsigned code)
{
    const auto continuation = [&](unsigned shift) {
        text += static_cast<char>(0x80U | ((code >> shift) & 0x3FU));
    };
    if (code < 0x80) {
        text += static_cast<char>(code);
    } else if (code < 0x800) {
        text += static_cast<char>(0xC0U | (code >> 6U));
        continuation(0);
    } else if (code < 0x10000) {
        text += static_cast<char>(0xE0U | (code >> 12U));
        continuation(6);
        continuation(0);
    } else {
        text += static_cast<char>(0xF0U | (code >> 18U));
        continuation(12);
        continuation(6);
        continuation(0);
    }
}

/// How many bytes of a character come behind its first one, if it is one of several.
unsigned bytesBehind(unsigned first)
{
    if (first >= 0xF0)
        return 3;
    return first >= 0xE0 ? 2 : 1;
}

std::string_view withoutDigits(std::string_view text)
{
    text.remove_prefix(std::min(text.find_first_not_of("0123456789"), text.size()));
    return text;
}

/// Whether `text` is a number of JSON, and if so whether it is written without point and exponent.
enum class Notation : std::uint8_t {
    None,
    Whole,
    Other,
};

Notation notationOf(std::string_view text)
{
    if (text.starts_with('-'))
        text.remove_prefix(1);
    std::string_view rest = withoutDigits(text);
    if (rest.size() == text.size() || (text.front() == '0' && text.size() - rest.size() > 1))
        return Notation::None;
    if (rest.empty())
        return Notation::Whole;
    if (rest.front() == '.') {
        const std::string_view digits = rest.substr(1);
        rest = withoutDigits(digits);
        if (rest.size() == digits.size())
            return Notation::None;
    }
    if (!rest.empty() && (rest.front() == 'e' || rest.front() == 'E')) {
        rest.remove_prefix(1);
        if (rest.starts_with('+') || rest.starts_with('-'))
            rest.remove_prefix(1);
        if (rest.empty())
            return Notation::None;
        rest = withoutDigits(rest);
    }
    return rest.empty() ? Notation::Other : Notation::None;
}

/// What the other reader takes for a number: not 1e999, and no whole one beyond 64 bits.
bool isRepresentable(const std::string& number)
{
    simdjson::dom::parser parser;
    simdjson::dom::element element;
    return parser.parse(number).get(element) == simdjson::SUCCESS;
}

} // namespace

JsonStream::JsonStream(Source source, std::uint64_t offset)
    : m_source(std::move(source))
    , m_base(offset)
{
}

int JsonStream::peekFurther()
{
    m_base += std::exchange(m_at, 0);
    m_window = m_failed ? std::string_view() : m_source(m_base);
    return m_window.empty() ? kEnd : static_cast<unsigned char>(m_window.front());
}

void JsonStream::fail()
{
    m_failed = true;
    m_base += std::exchange(m_at, 0);
    m_window = {};
}

void JsonStream::skipBlanks()
{
    for (;;) {
        const int c = peek();
        if (c != ' ' && c != '\n' && c != '\r' && c != '\t')
            return;
        ++m_at;
    }
}

void JsonStream::skipByteOrderMark()
{
    if (peek() != 0xEF)
        return;
    static_cast<void>(take());
    if (take() != 0xBB || take() != 0xBF)
        fail();
}

JsonStream::Kind JsonStream::next()
{
    skipBlanks();
    const int c = peek();
    switch (c) {
    case '{':
        return Kind::Object;
    case '[':
        return Kind::Array;
    case '"':
        return Kind::String;
    case 't':
    case 'f':
        return Kind::Literal;
    case 'n':
        return Kind::Null;
    default:
        if (c == '-' || (c >= '0' && c <= '9'))
            return Kind::Number;
        fail();
        return Kind::Nothing;
    }
}

std::size_t JsonStream::readString(std::string* out, std::size_t most)
{
    if (out != nullptr)
        out->clear();
    bool isCut = out == nullptr;
    std::size_t characters = 0;
    std::string character;
    static_cast<void>(take()); // the quotation mark
    for (int c = peek(); c != '"'; c = peek()) {
        if (c < 0x20) { // or the end
            fail();
            return characters;
        }
        const std::string_view left = m_window.substr(m_at);
        const std::size_t run = plainBytes(left);
        if (run > 0) {
            m_at += run;
            characters += run;
            if (!isCut) {
                const std::size_t room = most - out->size();
                *out += left.substr(0, std::min(run, room));
                isCut = run > room;
            }
            continue;
        }
        character.clear();
        if (c == '\\')
            readEscape(character);
        else
            readUtf8(character);
        ++characters;
        isCut = isCut || out->size() + character.size() > most;
        if (!isCut)
            *out += character;
    }
    static_cast<void>(take());
    return characters;
}

/// One character behind a backslash; of two, where each stands for a half of it.
void JsonStream::readEscape(std::string& character)
{
    static_cast<void>(take());
    const int c = take();
    constexpr std::string_view kEscaped = "\"\\/bfnrt";
    constexpr std::string_view kMeant = "\"\\/\b\f\n\r\t";
    const std::size_t found =
        c == kEnd ? std::string_view::npos : kEscaped.find(static_cast<char>(c));
    if (found != std::string_view::npos) {
        character = kMeant[found];
        return;
    }
    std::optional<unsigned> code = c == 'u' ? readHex() : std::nullopt;
    if (code && *code >= 0xD800 && *code < 0xDC00) {
        const bool isPair = take() == '\\' && take() == 'u';
        const std::optional<unsigned> low = isPair ? readHex() : std::nullopt;
        code = low && *low >= 0xDC00 && *low < 0xE000
                   ? std::optional(0x10000U + ((*code - 0xD800U) << 10U) + (*low - 0xDC00U))
                   : std::nullopt;
    } else if (code && *code >= 0xDC00 && *code < 0xE000) {
        code.reset();
    }
    if (code)
        appendCodePoint(character, *code);
    else
        fail();
}

std::optional<unsigned> JsonStream::readHex()
{
    unsigned code = 0;
    for (int i = 0; i < 4; ++i) {
        const int c = take();
        const auto digit = c == kEnd ? std::nullopt : platform::hexDigitValue(static_cast<char>(c));
        if (!digit)
            return std::nullopt;
        code = code * 16 + *digit;
    }
    return code;
}

/// One character of several bytes, in its only form.
void JsonStream::readUtf8(std::string& character)
{
    const auto first = static_cast<unsigned>(take());
    const unsigned more = bytesBehind(first);
    unsigned code = first & (0x3FU >> more);
    character += static_cast<char>(first);
    for (unsigned i = 0; i < more; ++i) {
        const int c = take();
        if (c == kEnd || (static_cast<unsigned>(c) & 0xC0U) != 0x80U) {
            fail();
            return;
        }
        code = (code << 6U) | (static_cast<unsigned>(c) & 0x3FU);
        character += static_cast<char>(c);
    }
    constexpr unsigned kLeast[] = {0x80, 0x800, 0x10000};
    if (first < 0xC0 || first > 0xF4 || code < kLeast[more - 1] || code > 0x10FFFF ||
        (code >= 0xD800 && code < 0xE000))
        fail();
}

std::optional<std::int64_t> JsonStream::readInteger()
{
    std::string text;
    for (int c = peek(); isOfANumber(c) && text.size() < kLongestNumber; c = peek())
        text += static_cast<char>(take());
    const Notation notation = notationOf(text);
    if (notation == Notation::None || isOfANumber(peek())) {
        fail();
        return std::nullopt;
    }
    std::int64_t value = 0;
    if (notation == Notation::Whole &&
        std::from_chars(text.data(), text.data() + text.size(), value).ec == std::errc())
        return value;
    if (!isRepresentable(text))
        fail();
    return std::nullopt;
}

void JsonStream::readLiteral(std::string_view text)
{
    for (const char c : text) {
        if (take() != c) {
            fail();
            return;
        }
    }
}

void JsonStream::skip()
{
    std::string key;
    switch (next()) {
    case Kind::Object:
        enter();
        while (nextKey(key))
            skip();
        break;
    case Kind::Array:
        enter();
        while (nextElement())
            skip();
        break;
    case Kind::String:
        readString(nullptr, 0);
        break;
    case Kind::Number:
        static_cast<void>(readInteger());
        break;
    case Kind::Literal:
        readLiteral(peek() == 't' ? "true" : "false");
        break;
    case Kind::Null:
        readLiteral("null");
        break;
    case Kind::Nothing:
        break;
    }
}

void JsonStream::enter()
{
    static_cast<void>(take());
    m_entered = true;
}

/// Whether the container that ends with `end` has another item, in front of which it then stands.
bool JsonStream::nextItem(char end)
{
    if (m_failed)
        return false;
    const bool isFirst = std::exchange(m_entered, false);
    skipBlanks();
    if (peek() == end) {
        ++m_at;
        // An empty one is no level.
        m_depth -= isFirst ? 0U : 1U;
        return false;
    }
    if (isFirst ? ++m_depth >= kDeepestNesting : take() != ',')
        fail();
    return !m_failed;
}

bool JsonStream::nextKey(std::string& key)
{
    if (!nextItem('}'))
        return false;
    if (next() != Kind::String) {
        fail();
        return false;
    }
    // A longer one is cut, and longer than any that is asked for.
    readString(&key, kLongestKey);
    skipBlanks();
    if (!m_failed && take() != ':')
        fail();
    return !m_failed;
}

bool JsonStream::nextElement()
{
    return nextItem(']');
}

bool JsonStream::isAtEnd()
{
    skipBlanks();
    return !m_failed && peek() == kEnd;
}

} // namespace service
