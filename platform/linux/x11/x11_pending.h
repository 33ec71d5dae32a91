// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/x11/x11_connection.h"

#include <utility>

namespace platform::x11 {

/// A request that was sent and whose reply nobody has taken yet. Dropping it drops the reply.
/// Not longer than its connection. Main thread.
template <typename Reply> class X11Pending final
{
public:
    X11Pending() = default;

    X11Pending(X11Connection& connection, unsigned sequence)
        : m_connection(&connection)
        , m_sequence(sequence)
    {
    }

    X11Pending(const X11Pending&) = delete;
    X11Pending& operator=(const X11Pending&) = delete;

    X11Pending(X11Pending&& other) noexcept
        : m_connection(std::exchange(other.m_connection, nullptr))
        , m_sequence(other.m_sequence)
    {
    }

    X11Pending& operator=(X11Pending&& other) noexcept
    {
        std::swap(m_connection, other.m_connection);
        std::swap(m_sequence, other.m_sequence);
        return *this;
    }

    ~X11Pending()
    {
        if (m_connection != nullptr)
            m_connection->discard(m_sequence);
    }

    /// The reply; null for an X error, a lost connection or a second call. May block, see
    /// X11Connection::reply().
    [[nodiscard]] X11Reply<Reply> take()
    {
        auto* const connection = std::exchange(m_connection, nullptr);
        return connection != nullptr ? connection->reply<Reply>(m_sequence) : nullptr;
    }

private:
    X11Connection* m_connection = nullptr;
    unsigned m_sequence = 0;
};

} // namespace platform::x11
