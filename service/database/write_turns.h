// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace service {

/// A lock that is had in the order in which it was asked for. SQLite's own, of which there is one,
/// is had by whoever asks at the right moment, and nobody waits for it for longer than some
/// seconds. Any thread.
class WriteTurns final
{
public:
    WriteTurns() = default;
    WriteTurns(const WriteTurns&) = delete;
    WriteTurns& operator=(const WriteTurns&) = delete;
    ~WriteTurns() = default;

    void lock()
    {
        std::unique_lock lock(m_mutex);
        const std::uint64_t mine = m_next++;
        m_ended.wait(lock, [&] { return m_current == mine; });
    }

    void unlock()
    {
        {
            const std::lock_guard lock(m_mutex);
            ++m_current;
        }
        m_ended.notify_all();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_ended;
    std::uint64_t m_next = 0;
    std::uint64_t m_current = 0;
};

} // namespace service
