// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <boost/asio/thread_pool.hpp>
#include <cstddef>
#include <optional>
#include <utility>

namespace service {

/// Threads for what may block, with a bound on what waits for them. Any thread.
class WorkerPool final
{
public:
    /// For so many pieces of work more than there are threads.
    WorkerPool(int threads, std::size_t waiting)
        : m_left(static_cast<std::size_t>(threads) + waiting)
        , m_threads(static_cast<std::size_t>(threads))
    {
    }

    /// That of one piece of work, from before it is given to threads() to its end.
    class Place final
    {
    public:
        explicit Place(WorkerPool& pool)
            : m_pool(&pool)
        {
        }

        Place(Place&& other) noexcept
            : m_pool(std::exchange(other.m_pool, nullptr))
        {
        }

        Place(const Place&) = delete;
        Place& operator=(const Place&) = delete;
        Place& operator=(Place&&) = delete;

        ~Place()
        {
            if (m_pool != nullptr)
                ++m_pool->m_left;
        }

    private:
        WorkerPool* m_pool;
    };

    /// Nothing when all are taken.
    [[nodiscard]] std::optional<Place> place()
    {
        std::size_t left = m_left;
        do {
            if (left == 0)
                return std::nullopt;
        } while (!m_left.compare_exchange_weak(left, left - 1));
        return Place(*this);
    }

    [[nodiscard]] boost::asio::thread_pool& threads() { return m_threads; }

private:
    std::atomic<std::size_t> m_left;
    boost::asio::thread_pool m_threads;
};

} // namespace service
