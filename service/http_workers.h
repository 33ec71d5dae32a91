// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

namespace service {

/// Threads that serve connections, and a bounded queue in front of them. Any thread.
class HttpWorkers final
{
public:
    /// `serve` is called on one of `threads` threads with a socket, which is closed afterwards.
    HttpWorkers(int threads, std::size_t waiting, std::function<void(int)> serve);
    HttpWorkers(const HttpWorkers&) = delete;
    HttpWorkers& operator=(const HttpWorkers&) = delete;
    /// Waits until all connections have been served.
    ~HttpWorkers();

    /// Takes over `socket`; false when too many wait, then it stays the caller's.
    [[nodiscard]] bool add(int socket);

    /// Whether connections wait because no thread is free.
    [[nodiscard]] bool areBehind() const;

    /// Waits until no connection is in hand; false when that takes longer.
    [[nodiscard]] bool waitUntilIdle(std::chrono::milliseconds limit);

    /// Ends all connections in hand for their clients and their threads.
    void abortAll();

private:
    void run();

    std::size_t m_mostWaiting;
    std::function<void(int)> m_serve;
    mutable std::mutex m_mutex;
    std::condition_variable m_wake;
    std::condition_variable m_idle;
    std::deque<int> m_waiting;
    std::set<int> m_served;
    bool m_ending = false;
    std::vector<std::jthread> m_threads;
};

} // namespace service
