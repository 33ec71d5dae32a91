// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string.h>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

namespace terminal {

/// Bytes of a secret in one place in memory, which is overwritten when it is let go of.
class Secret final
{
public:
    static constexpr std::size_t kMost = 4096;

    Secret() = default;
    Secret(const Secret&) = delete;
    Secret& operator=(const Secret&) = delete;

    ~Secret() { clear(); }

    Secret(Secret&& other) noexcept
        : m_bytes(std::move(other.m_bytes))
        , m_size(std::exchange(other.m_size, 0))
    {
    }

    Secret& operator=(Secret&& other) noexcept
    {
        if (this != &other) {
            clear();
            m_bytes = std::move(other.m_bytes);
            m_size = std::exchange(other.m_size, 0);
        }
        return *this;
    }

    /// False when it is full.
    [[nodiscard]] bool append(char c)
    {
        if (m_size == kMost)
            return false;
        if (!m_bytes)
            m_bytes = std::make_unique<char[]>(kMost);
        m_bytes[m_size++] = c;
        return true;
    }

    /// Takes the last character, which may have several bytes, from UTF-8 text.
    void eraseLast()
    {
        while (m_size > 0 && isContinuation(m_bytes[m_size - 1]))
            --m_size;
        if (m_size > 0)
            --m_size;
    }

    void clear()
    {
        if (m_bytes)
            ::explicit_bzero(m_bytes.get(), kMost);
        m_size = 0;
    }

    [[nodiscard]] std::string_view view() const { return {m_bytes.get(), m_size}; }

    [[nodiscard]] bool isEmpty() const { return m_size == 0; }

    /// How many characters it has, as UTF-8.
    [[nodiscard]] std::size_t characters() const
    {
        std::size_t count = 0;
        for (const char c : view())
            count += isContinuation(c) ? 0 : 1;
        return count;
    }

private:
    static bool isContinuation(char c) { return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U; }

    std::unique_ptr<char[]> m_bytes;
    std::size_t m_size = 0;
};

enum class Ask : std::uint8_t {
    Once,
    Twice, ///< at a terminal, where a slip would go unseen
};

/// The password, or why there is none, as one phrase.
using PasswordAnswer = std::variant<Secret, std::string>;

/// Reads one line from standard input, never an empty one. At a terminal it asks with `prompt`
/// first and shows nothing of what is typed; Ctrl+C there is a fault, and the terminal is as
/// before. Two different answers are a fault. Blocks. For the agent and for the service alike.
[[nodiscard]] PasswordAnswer readPassword(const char* prompt, Ask times = Ask::Once);

} // namespace terminal
