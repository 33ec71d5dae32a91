// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/request_log.h"

#include "base/iso8601.h"
#include "service/log_writer.h"

#include <array>
#include <cstdio>
#include <exception>
#include <unistd.h>

namespace service {

namespace {

constexpr std::size_t kLongestWord = 200;

/// `text` as one word of printable ASCII; "-" for none.
std::string word(std::string_view text)
{
    std::string out;
    for (const char c : text.substr(0, kLongestWord)) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte > 0x20 && byte < 0x7F && c != '\\') {
            out += c;
        } else {
            std::array<char, 8> escaped = {};
            std::snprintf(escaped.data(), escaped.size(), "\\x%02x", static_cast<unsigned>(byte));
            out += escaped.data();
        }
    }
    if (text.size() > kLongestWord)
        out += "...";
    return out.empty() ? "-" : out;
}

/// Never destroyed: who takes nothing from standard error does not keep the service from ending.
LogWriter& standardError()
{
    static auto* const writer = new LogWriter(STDERR_FILENO);
    return *writer;
}

} // namespace

std::string logLine(const LoggedRequest& request)
{
    const std::string_view target(request.target);
    const auto seconds =
        std::chrono::floor<std::chrono::seconds>(request.time).time_since_epoch().count();
    return platform::utcText(seconds) + ' ' + word(request.peer) + ' ' + word(request.method) +
           ' ' + word(target.substr(0, target.find('?'))) + ' ' + std::to_string(request.status) +
           " in=" + std::to_string(request.bytesIn) +
           " ms=" + std::to_string(request.duration.count()) +
           " user=" + (request.user ? std::to_string(*request.user) : "-") +
           " id=" + word(request.id) + '\n';
}

void writeLog(std::string_view line) noexcept
{
    try {
        standardError().write(line);
    } catch (const std::exception&) {
        // Without a thread for it the log is not worth the service.
    }
}

void flushLog(std::chrono::milliseconds limit)
{
    standardError().flush(limit);
}

} // namespace service
