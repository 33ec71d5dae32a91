// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace service {

/// Writes lines to a descriptor in a thread of its own, so that nobody waits for who reads them.
/// Any thread.
class LogWriter final
{
public:
    /// The line that says how many were dropped.
    using Note = std::string (*)(std::size_t lines);

    /// `descriptor` stays somebody else's, and open as long as this lives.
    LogWriter(int descriptor, Note noteOfDropped);
    LogWriter(const LogWriter&) = delete;
    LogWriter& operator=(const LogWriter&) = delete;
    /// Writes what waits; blocks until it is taken.
    ~LogWriter();

    /// Has `line` written. Does not wait for that: where 256 KiB wait already it is dropped, and in
    /// its place stands how many were.
    void write(std::string_view line) noexcept;

    /// Waits until everything is written, so long at most; whether it is.
    bool flush(std::chrono::milliseconds limit);

private:
    void run();
    void writeAll(std::string_view lines) const;

    int m_descriptor;
    Note m_noteOfDropped;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::string m_waiting;
    std::size_t m_dropped = 0;
    bool m_isWriting = false;
    bool m_ending = false;
    std::thread m_thread;
};

} // namespace service
