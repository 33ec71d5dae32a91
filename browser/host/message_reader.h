// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace browser {

/// Cuts what a browser sends to a native messaging host into its messages: each a length of four
/// bytes in the machine's order, then so many bytes of JSON.
/// One thread.
class MessageReader final
{
public:
    /// A browser's own limit is far higher; a report never comes near this one.
    static constexpr std::size_t kLongest = std::size_t{64} * 1024;

    enum class State : std::uint8_t {
        Incomplete, ///< More is needed.
        Message,    ///< message() is one.
        TooLong,    ///< Longer than kLongest; nothing can be read any more.
    };

    /// Takes bytes as they come.
    void append(std::string_view bytes);

    /// Goes on to the next message.
    [[nodiscard]] State next();

    /// The message that next() found; good until the next call.
    [[nodiscard]] std::string_view message() const { return m_message; }

    /// Whether a message has begun and lacks its end.
    [[nodiscard]] bool isInMessage() const { return m_at < m_bytes.size(); }

private:
    std::string m_bytes;
    std::size_t m_at = 0;
    std::string_view m_message;
};

} // namespace browser
