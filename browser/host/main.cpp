// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// What a browser starts for the extension and talks to over standard input. It hands the reports on
// and says nothing to the browser. It runs while the usage monitor does; the extension starts it
// again.
#include "browser/host/session_bus.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <poll.h>
#include <simdjson.h>
#include <string>
#include <string_view>
#include <unistd.h>

namespace {

using browser::Report;
using browser::SessionBus;

/// How long a bus and the usage monitor may take to let us in; hanging ones would keep us after the
/// browser's end.
constexpr unsigned kSecondsToConnect = 10;
constexpr std::size_t kBytesAtOnce = std::size_t{8} * 1024;

/// A browser's own limit is far higher; a report never comes near this one.
constexpr std::size_t kLongestMessage = std::size_t{64} * 1024;
/// The longest texts that are let through, in bytes of UTF-8.
constexpr std::size_t kLongestText = 8192;
constexpr std::size_t kDeepestNesting = 2;

/// Reads the string `key` of `object` if it is there and not too long. D-Bus knows no text with a
/// NUL in it, and no address or title has one.
bool readText(const simdjson::dom::object& object, std::string_view key, std::string& text)
{
    std::string_view value;
    if (object.at_key(key).get(value) != simdjson::SUCCESS || value.size() > kLongestText ||
        value.find('\0') != std::string_view::npos)
        return false;
    text = value;
    return true;
}

/// Reads what a browser sends to a native messaging host: messages, each a length of four bytes in
/// the machine's order, then so many bytes of JSON. They are read strictly: valid JSON (RFC 8259)
/// and exactly one of the two forms {"focused":false} and
/// {"focused":true,"address":"...","title":"..."}.
/// One thread.
class ReportReader final
{
public:
    enum class State : std::uint8_t {
        Incomplete, ///< More is needed.
        Report,     ///< report() is one.
        TooLong,    ///< Longer than kLongestMessage; nothing can be read any more.
        NoReport,   ///< A message is something else.
    };

    /// Takes bytes as they come.
    void append(std::string_view bytes);

    /// Goes on to the next message.
    [[nodiscard]] State next();

    /// The report that next() found.
    [[nodiscard]] const Report& report() const { return m_report; }

    /// Whether a message has begun and lacks its end.
    [[nodiscard]] bool isInMessage() const { return m_at < m_bytes.size(); }

private:
    [[nodiscard]] bool decode(std::string_view message);

    std::string m_bytes;
    std::size_t m_at = 0;
    simdjson::dom::parser m_parser;
    Report m_report;
};

void ReportReader::append(std::string_view bytes)
{
    m_bytes.erase(0, m_at);
    m_at = 0;
    m_bytes.append(bytes);
}

ReportReader::State ReportReader::next()
{
    std::uint32_t length = 0;
    const std::size_t available = m_bytes.size() - m_at;
    if (available < sizeof length)
        return State::Incomplete;
    std::memcpy(&length, m_bytes.data() + m_at, sizeof length);
    if (length > kLongestMessage)
        return State::TooLong;
    if (available - sizeof length < length)
        return State::Incomplete;
    const auto message = std::string_view(m_bytes).substr(m_at + sizeof length, length);
    m_at += sizeof length + length;
    return decode(message) ? State::Report : State::NoReport;
}

bool ReportReader::decode(std::string_view message)
{
    constexpr std::size_t kMembersOfNone = 1;
    constexpr std::size_t kMembersOfPage = 3;
    if (m_parser.capacity() == 0 &&
        m_parser.allocate(kLongestMessage, kDeepestNesting) != simdjson::SUCCESS)
        return false;
    simdjson::dom::object object;
    m_report = {};
    if (m_parser.parse(message.data(), message.size()).get(object) != simdjson::SUCCESS ||
        object.at_key("focused").get(m_report.isFocused) != simdjson::SUCCESS ||
        object.size() != (m_report.isFocused ? kMembersOfPage : kMembersOfNone))
        return false;
    return !m_report.isFocused || (readText(object, "address", m_report.address) &&
                                   readText(object, "title", m_report.title));
}

enum class Input : std::uint8_t { Open, Ended, Faulty };

void complain(const std::string& text)
{
    std::fprintf(stderr, "velomira-browser-host: %s\n", text.c_str());
}

/// Everything that the reader holds; only the last report counts.
Input takeReports(ReportReader& reader, std::optional<Report>& latest)
{
    for (;;) {
        switch (reader.next()) {
        case ReportReader::State::Incomplete:
            return Input::Open;
        case ReportReader::State::Report:
            latest = reader.report();
            break;
        case ReportReader::State::TooLong:
            complain("a message is longer than 64 KiB");
            return Input::Faulty;
        case ReportReader::State::NoReport:
            latest.reset(); // nothing of what came with it is told
            complain("a message is not a report");
            return Input::Faulty;
        }
    }
}

Input readInput(ReportReader& reader, SessionBus& bus)
{
    std::array<char, kBytesAtOnce> bytes{};
    const ssize_t count = ::read(STDIN_FILENO, bytes.data(), bytes.size());
    if (count < 0 && (errno == EINTR || errno == EAGAIN))
        return Input::Open;
    if (count < 0) {
        complain("standard input cannot be read");
        return Input::Faulty;
    }
    if (count == 0 && reader.isInMessage()) {
        complain("the last message lacks its end");
        return Input::Faulty;
    }
    if (count == 0)
        return Input::Ended;
    reader.append({bytes.data(), static_cast<std::size_t>(count)});
    std::optional<Report> latest;
    const Input input = takeReports(reader, latest);
    if (latest)
        bus.tell(*latest);
    return input;
}

int run(SessionBus& bus)
{
    ReportReader reader;
    for (;;) {
        const short events = bus.isSending() ? POLLIN | POLLOUT : POLLIN;
        std::array<pollfd, 2> polled{
            pollfd{.fd = STDIN_FILENO, .events = POLLIN, .revents = 0},
            pollfd{.fd = bus.descriptor(), .events = events, .revents = 0}};
        if (::poll(polled.data(), polled.size(), -1) < 0 && errno != EINTR)
            return EXIT_FAILURE;
        if (polled[0].revents != 0) {
            const Input input = readInput(reader, bus);
            if (input != Input::Open)
                return input == Input::Ended ? EXIT_SUCCESS : EXIT_FAILURE;
        }
        if (!bus.work()) {
            complain("the session bus went away");
            return EXIT_FAILURE;
        }
        if (!bus.hasMonitor())
            return EXIT_SUCCESS;
    }
}

/// By what browsers pass: the family of Chromium the extension's origin, Firefox the path of the
/// manifest and the extension's id.
std::string familyBy(std::string_view argument)
{
    if (argument.starts_with("chrome-extension://"))
        return "chromium";
    return argument.starts_with('/') ? "firefox" : "";
}

} // namespace

int main(int argc, char** argv)
{
    const std::string family = argc > 1 ? familyBy(argv[1]) : "";
    if (family.empty()) {
        complain("this program is started by a browser, for the extension of the usage monitor");
        return EXIT_FAILURE;
    }
    SessionBus bus(family);
    ::alarm(kSecondsToConnect);
    std::string problem = bus.connect();
    if (problem.empty())
        problem = bus.meetMonitor();
    ::alarm(0);
    if (!problem.empty()) {
        complain(problem);
        return EXIT_FAILURE;
    }
    return bus.hasMonitor() ? run(bus) : EXIT_SUCCESS;
}
