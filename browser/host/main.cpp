// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// What a browser starts for the extension and talks to over standard input. It hands the reports on
// and says nothing to the browser. It runs while the usage monitor does; the extension starts it
// again.
#include "browser/host/report_reader.h"
#include "browser/host/session_bus.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <poll.h>
#include <string>
#include <string_view>
#include <unistd.h>

namespace {

using browser::Report;
using browser::ReportReader;
using browser::SessionBus;

/// How long a bus and the usage monitor may take to let us in; hanging ones would keep us after the
/// browser's end.
constexpr unsigned kSecondsToConnect = 10;
constexpr std::size_t kBytesAtOnce = std::size_t{8} * 1024;

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
