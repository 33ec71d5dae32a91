// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/log_writer.h"

#include <cerrno>
#include <poll.h>
#include <unistd.h>
#include <utility>

namespace service {

namespace {
constexpr std::size_t kMostWaiting = 256UL << 10U;
}

LogWriter::LogWriter(int descriptor, Note noteOfDropped)
    : m_descriptor(descriptor)
    , m_noteOfDropped(noteOfDropped)
{
    m_waiting.reserve(kMostWaiting); // where memory is short, too, there is room for a line
    m_thread = std::thread([this] { run(); });
}

LogWriter::~LogWriter()
{
    {
        const std::lock_guard lock(m_mutex);
        m_ending = true;
    }
    m_changed.notify_all();
    m_thread.join();
}

void LogWriter::write(std::string_view line) noexcept
{
    {
        const std::lock_guard lock(m_mutex);
        if (line.size() > kMostWaiting - m_waiting.size())
            ++m_dropped;
        else
            m_waiting += line;
    }
    m_changed.notify_all();
}

bool LogWriter::flush(std::chrono::milliseconds limit)
{
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(
        lock, limit, [this] { return m_waiting.empty() && m_dropped == 0 && !m_isWriting; });
}

void LogWriter::run()
{
    std::string lines;
    lines.reserve(kMostWaiting);
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_changed.wait(lock, [this] { return !m_waiting.empty() || m_dropped > 0 || m_ending; });
        if (m_waiting.empty() && m_dropped == 0)
            return;
        lines.clear();
        std::swap(lines, m_waiting);
        const std::size_t dropped = std::exchange(m_dropped, 0);
        m_isWriting = true;
        lock.unlock();
        writeAll(lines);
        if (dropped > 0)
            writeAll(m_noteOfDropped(dropped));
        lock.lock();
        m_isWriting = false;
        m_changed.notify_all();
    }
}

void LogWriter::writeAll(std::string_view lines) const
{
    while (!lines.empty()) {
        const ssize_t count = ::write(m_descriptor, lines.data(), lines.size());
        if (count >= 0) {
            lines.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno == EAGAIN) {
            pollfd watched = {.fd = m_descriptor, .events = POLLOUT, .revents = 0};
            static_cast<void>(::poll(&watched, 1, -1));
        } else if (errno != EINTR) {
            return; // a full disk or a closed pipe is no reason to stop serving
        }
    }
}

} // namespace service
