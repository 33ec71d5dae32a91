// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/http_workers.h"

#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace service {

HttpWorkers::HttpWorkers(int threads, std::size_t waiting, std::function<void(int)> serve)
    : m_mostWaiting(waiting)
    , m_serve(std::move(serve))
{
    for (int i = 0; i < threads; ++i)
        m_threads.emplace_back([this] { run(); });
}

HttpWorkers::~HttpWorkers()
{
    {
        const std::lock_guard lock(m_mutex);
        m_ending = true;
    }
    m_wake.notify_all();
    m_threads.clear();
}

bool HttpWorkers::add(int socket)
{
    const std::lock_guard lock(m_mutex);
    if (m_waiting.size() >= m_mostWaiting)
        return false;
    m_waiting.push_back(socket);
    m_wake.notify_one();
    return true;
}

bool HttpWorkers::areBehind() const
{
    const std::lock_guard lock(m_mutex);
    return !m_waiting.empty() && m_served.size() >= m_threads.size();
}

bool HttpWorkers::waitUntilIdle(std::chrono::milliseconds limit)
{
    std::unique_lock lock(m_mutex);
    return m_idle.wait_for(lock, limit, [&] { return m_waiting.empty() && m_served.empty(); });
}

void HttpWorkers::abortAll()
{
    const std::lock_guard lock(m_mutex);
    for (const int socket : m_served)
        ::shutdown(socket, SHUT_RDWR);
    for (const int socket : m_waiting)
        ::shutdown(socket, SHUT_RDWR);
}

void HttpWorkers::run()
{
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_wake.wait(lock, [&] { return !m_waiting.empty() || m_ending; });
        if (m_waiting.empty())
            return;
        const int socket = m_waiting.front();
        m_waiting.pop_front();
        m_served.insert(socket);
        lock.unlock();
        m_serve(socket);
        lock.lock();
        m_served.erase(socket);
        ::close(socket); // not earlier: the number may then be another connection's
        if (m_waiting.empty() && m_served.empty())
            m_idle.notify_all();
    }
}

} // namespace service
