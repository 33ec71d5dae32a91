// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QIODevice>

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace activity {

/// A window that moves over the text of a long JSON array and finds where its elements end. It
/// grows only for a single element that is longer than it.
/// One thread at a time; functions that need more text block on the device.
class JsonInput final
{
public:
    /// `device` must be open and outlive this object; `window` is the size to start with.
    JsonInput(QIODevice& device, std::size_t window);

    void skipByteOrderMark();

    /// The next character that is not white space, without taking it; none at the end.
    [[nodiscard]] std::optional<char> nextToken();

    /// Takes `count` characters that have been looked at.
    void consume(std::size_t count = 1);

    /// Where, counted from the next character, the last record that is wholly in the window
    /// probably ends; 0 when there is no likely place. Constant time for ordinary text.
    [[nodiscard]] std::size_t likelyEndOfRecords();

    /// Where the last record that is wholly in the window ends, by looking at every character;
    /// reads on until at least one is. 0 when the text ends before a record does.
    [[nodiscard]] std::size_t endOfRecords();

    /// The next `length` characters in square brackets and with room behind them, as a parser wants
    /// them. At least one character must have been taken before. The brackets overwrite the
    /// neighbours until restore(), before which no other function may be called.
    [[nodiscard]] std::span<const char> asArray(std::size_t length);
    void restore();

    /// True when the device reported an error.
    [[nodiscard]] bool failed() const { return m_failed; }

private:
    [[nodiscard]] std::size_t available() const { return m_end - m_next; }

    bool readMore();

    QIODevice& m_device;
    std::size_t m_fewCharacters; // available, below which it is time to read on
    std::vector<char> m_window;  // with room for the padding behind m_end
    std::size_t m_next = 0;
    std::size_t m_end = 0;
    bool m_atEnd = false;
    bool m_failed = false;
    char m_before = 0;
    char m_behind = 0;
    std::size_t m_bracketed = 0;
};

} // namespace activity
