// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <utility>
#include <variant>

namespace platform {

/// Why an operation failed, as one phrase a person can read ("cannot create /x: Permission
/// denied").
struct Error
{
    QString text;
};

/// The value of an operation, or the reason why there is none: as a rule a text, elsewhere an `E`
/// that says more. No exception crosses a class boundary.
template <typename T, typename E = Error> class [[nodiscard]] Result final
{
public:
    Result(T value)
        : m_state(std::in_place_index<0>, std::move(value))
    {
    }

    Result(E error)
        : m_state(std::in_place_index<1>, std::move(error))
    {
    }

    [[nodiscard]] explicit operator bool() const { return m_state.index() == 0; }

    /// The value; only when the result holds one.
    [[nodiscard]] T& value() & { return std::get<0>(m_state); }

    [[nodiscard]] const T& value() const& { return std::get<0>(m_state); }

    [[nodiscard]] T value() && { return std::get<0>(std::move(m_state)); }

    /// The reason; only when the result holds none.
    [[nodiscard]] const E& error() const { return std::get<1>(m_state); }

private:
    std::variant<T, E> m_state;
};

/// The result of an operation that yields nothing but success or a reason.
using Outcome = Result<std::monostate>;

inline Outcome success()
{
    return std::monostate{};
}

} // namespace platform
