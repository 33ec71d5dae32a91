// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstddef>
#include <utility>

namespace service {

/// Bytes that all bodies share, so that many large ones at once exhaust neither memory nor disk.
/// Any thread.
class ByteBudget final
{
public:
    explicit ByteBudget(std::size_t bytes)
        : m_left(bytes)
    {
    }

    /// A part of it, given back at its end. One thread.
    class Share final
    {
    public:
        explicit Share(ByteBudget& budget)
            : m_budget(budget)
        {
        }

        Share(const Share&) = delete;
        Share& operator=(const Share&) = delete;

        ~Share() { giveBack(); }

        /// Takes so many more; false when they are not there.
        [[nodiscard]] bool grow(std::size_t bytes)
        {
            std::size_t left = m_budget.m_left;
            do {
                if (left < bytes)
                    return false;
            } while (!m_budget.m_left.compare_exchange_weak(left, left - bytes));
            m_taken += bytes;
            return true;
        }

        /// Before its end.
        void giveBack() { m_budget.m_left += std::exchange(m_taken, 0); }

    private:
        ByteBudget& m_budget;
        std::size_t m_taken = 0;
    };

private:
    std::atomic<std::size_t> m_left;
};

} // namespace service
