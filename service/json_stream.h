// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace service {

/// Reads JSON of any length from its beginning to its end within little memory, as strictly as
/// JsonRequest: RFC 8259 in valid UTF-8, at most 511 levels that hold something. Where the text is
/// not valid everything fails from there on.
/// One thread. What the source throws comes out.
class JsonStream final
{
public:
    /// What stands at an offset, as much as is at hand; empty at the end of the text. Valid until
    /// the next call.
    using Source = std::function<std::string_view(std::uint64_t offset)>;

    enum class Kind : std::uint8_t {
        Nothing, ///< the end, or no valid JSON
        Object,
        Array,
        String,
        Number,
        Literal, ///< true, false
        Null,
    };

    /// Begins at `offset`.
    explicit JsonStream(Source source, std::uint64_t offset = 0);
    JsonStream(const JsonStream&) = delete;
    JsonStream& operator=(const JsonStream&) = delete;
    ~JsonStream() = default;

    /// Whether nothing was wrong so far.
    [[nodiscard]] bool isValid() const { return !m_failed; }

    /// How far it has read.
    [[nodiscard]] std::uint64_t offset() const { return m_base + m_at; }

    void skipByteOrderMark();

    /// Of the value that comes next, in front of which it stands afterwards.
    [[nodiscard]] Kind next();

    /// Reads that value, a string; `out`, if not null, gets its text, or as many of its characters
    /// as fit into `most` bytes. How many characters it has.
    std::size_t readString(std::string* out, std::size_t most);

    /// Reads that value, a number; nothing when it is no whole one of 64 bits.
    [[nodiscard]] std::optional<std::int64_t> readInteger();

    /// Reads that value, whatever it is.
    void skip();

    /// Goes into that value, an object. Then nextKey() gives the members in turn, whose values have
    /// to be read, until it is false.
    void enter();
    [[nodiscard]] bool nextKey(std::string& key);

    /// The same for an array and its elements.
    [[nodiscard]] bool nextElement();

    /// Whether nothing but blanks follows.
    [[nodiscard]] bool isAtEnd();

private:
    // These two are called for nearly every byte.
    [[nodiscard]] int peek()
    {
        return m_at < m_window.size() ? static_cast<unsigned char>(m_window[m_at]) : peekFurther();
    }

    [[nodiscard]] int take()
    {
        const int c = peek();
        m_at += c < 0 ? 0U : 1U;
        return c;
    }

    [[nodiscard]] int peekFurther();
    void fail();
    void skipBlanks();
    [[nodiscard]] bool nextItem(char end);
    void readLiteral(std::string_view text);
    void readEscape(std::string& character);
    [[nodiscard]] std::optional<unsigned> readHex();
    void readUtf8(std::string& character);

    Source m_source;
    std::uint64_t m_base; ///< of the window
    std::string_view m_window;
    std::size_t m_at = 0;
    bool m_failed = false;
    bool m_entered = false; ///< the container has been entered, and nothing read from it
    unsigned m_depth = 0;
};

} // namespace service
