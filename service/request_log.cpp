// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/request_log.h"

#include "base/iso8601.h"
#include "base/json_writer.h"
#include "base/terminal_text.h"
#include "service/log_writer.h"

#include <QString>

#include <array>
#include <boost/core/demangle.hpp>
#include <boost/system/system_error.hpp>
#include <cstdio>
#include <exception>
#include <system_error>
#include <typeinfo>
#include <unistd.h>

namespace service {

namespace {

constexpr std::size_t kLongestWord = 200;

// Set once, before there are threads.
// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables)
LogFormat g_format = LogFormat::Text;

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

void appendMember(std::string& line, std::string_view name, std::string_view text)
{
    line += line.empty() ? "{\"" : ",\"";
    line += name;
    line += "\":";
    platform::appendJsonString(line, text);
}

void appendMember(std::string& line, std::string_view name, std::int64_t value)
{
    line += ",\"";
    line += name;
    line += "\":" + std::to_string(value);
}

std::int64_t secondsOf(std::chrono::system_clock::time_point time)
{
    return std::chrono::floor<std::chrono::seconds>(time).time_since_epoch().count();
}

/// An object of its own in one line; what came from the client is escaped as in the text.
std::string jsonLine(const LoggedRequest& request)
{
    const std::string_view target(request.target);
    std::string line;
    appendMember(line, "time", platform::utcText(secondsOf(request.time)));
    appendMember(line, "level", "info");
    appendMember(line, "client", word(request.peer));
    appendMember(line, "method", word(request.method));
    appendMember(line, "path", word(target.substr(0, target.find('?'))));
    appendMember(line, "status", request.status);
    appendMember(line, "bytes_in", static_cast<std::int64_t>(request.bytesIn));
    appendMember(line, "milliseconds", request.duration.count());
    if (request.user)
        appendMember(line, "user", *request.user);
    appendMember(line, "request", word(request.id));
    return line + "}\n";
}

std::string noteOfDropped(std::size_t lines)
{
    return troubleLine(std::to_string(lines) + " lines of the log were dropped, nobody took them");
}

/// Never destroyed: who takes nothing from standard error does not keep the service from ending.
LogWriter& standardError()
{
    static auto* const writer = new LogWriter(STDERR_FILENO, noteOfDropped);
    return *writer;
}

} // namespace

void setLogFormat(LogFormat format)
{
    g_format = format;
}

std::string logLine(const LoggedRequest& request)
{
    if (g_format == LogFormat::Json)
        return jsonLine(request);
    const std::string_view target(request.target);
    const std::int64_t seconds = secondsOf(request.time);
    return platform::utcText(seconds) + ' ' + word(request.peer) + ' ' + word(request.method) +
           ' ' + word(target.substr(0, target.find('?'))) + ' ' + std::to_string(request.status) +
           " in=" + std::to_string(request.bytesIn) +
           " ms=" + std::to_string(request.duration.count()) +
           " user=" + (request.user ? std::to_string(*request.user) : "-") +
           " id=" + word(request.id) + '\n';
}

std::string troubleLine(std::string_view text, std::string_view request)
{
    if (g_format == LogFormat::Text) {
        std::string line = "velomira-service: ";
        if (!request.empty())
            line += "request " + std::string(request) + " failed: ";
        // Others' words may have several lines, such as those of PostgreSQL.
        const auto words = QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
        return line + platform::terminalText(words.trimmed()).toStdString() + '\n';
    }
    std::string line;
    appendMember(line, "time", platform::utcText(secondsOf(std::chrono::system_clock::now())));
    appendMember(line, "level", "error");
    appendMember(line, "message", text);
    if (!request.empty())
        appendMember(line, "request", request);
    return line + "}\n";
}

std::string kindOf(const std::exception& failure)
{
    std::string kind = boost::core::demangle(typeid(failure).name());
    if (const auto* const system = dynamic_cast<const std::system_error*>(&failure))
        kind += ": " + system->code().message();
    else if (const auto* const asio = dynamic_cast<const boost::system::system_error*>(&failure))
        kind += ": " + asio->code().message();
    return kind;
}

void writeTrouble(std::string_view text, std::string_view request) noexcept
{
    try {
        writeLog(troubleLine(text, request));
    } catch (const std::exception&) { // NOLINT(bugprone-empty-catch)
        // Without memory for a line there is none.
    }
}

void writeLog(std::string_view line) noexcept
{
    try {
        standardError().write(line);
    } catch (const std::exception&) { // NOLINT(bugprone-empty-catch)
        // Without a thread for it the log is not worth the service.
    }
}

void flushLog(std::chrono::milliseconds limit)
{
    standardError().flush(limit);
}

} // namespace service
