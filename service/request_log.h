// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <string_view>

namespace service {

/// What the log tells of a request: nothing of its headers, its query and its body.
struct LoggedRequest
{
    std::chrono::system_clock::time_point time;
    std::string peer;
    std::string method;
    /// As it stood in the request line, with the query.
    std::string target;
    int status = 0; ///< 0 when there was no one left to answer
    std::size_t bytesIn = 0;
    std::chrono::milliseconds duration{0};
    std::optional<std::int64_t> user;
    std::string id; ///< of this request, as its answer has it
};

enum class LogFormat : std::uint8_t { Text, Json };

/// How lines are written from here on; text until then. To be called before there are threads.
void setLogFormat(LogFormat format);

/// One line with its newline, as setLogFormat() has it. Without the query; what could forge or
/// garble a line is escaped, and a long path is cut. Any thread.
[[nodiscard]] std::string logLine(const LoggedRequest& request);

/// One line for something that went wrong: `text`, in which an end of a line becomes a space, is
/// for the operator and holds nothing personal. `request` is the one that it happened to; empty for
/// none. Any thread.
[[nodiscard]] std::string troubleLine(std::string_view text, std::string_view request = {});

/// What may be said of an exception: its type, and what a code of the system means. Its own words
/// may hold what was sent or stored. Any thread.
[[nodiscard]] std::string kindOf(const std::exception& failure);

/// Has a line written to standard error, by a thread that nobody waits for (LogWriter). Any thread.
void writeLog(std::string_view line) noexcept;

/// The same with troubleLine().
void writeTrouble(std::string_view text, std::string_view request = {}) noexcept;

/// Waits until what was logged has been written, so long at most. Any thread.
void flushLog(std::chrono::milliseconds limit);

} // namespace service
