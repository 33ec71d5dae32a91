// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "app/command_line.h"
#include "platform/environment.h"

#include <QByteArray>

#include <functional>

namespace platform::dbus {
class ApplicationService;
struct StartResult;
} // namespace platform::dbus

namespace app {

/// The agent: it tracks, uploads and shows its icon and windows until it is told to end. Here the
/// parts are put together with what the desktop gives them.
/// Main thread. One in a process.
class Agent final
{
public:
    /// What the agent works with, given what the desktop has. What it adds must live until the
    /// process ends.
    using Facilities = std::function<platform::Environment(const platform::Environment&)>;

    /// `argc` and `argv` are those of main(). `facilities` is asked once.
    Agent(int argc, char** argv, CommandLine commandLine, Facilities facilities);

    /// Hands over to the instance that runs, or is it until it ends; the result is the exit code.
    /// May become the program anew instead of returning. Once.
    [[nodiscard]] int run();

private:
    [[nodiscard]] int runOnDisplay(platform::dbus::ApplicationService& requests,
                                   const platform::dbus::StartResult& start);
    void startAnew();

    int m_argc;
    char** m_argv;
    CommandLine m_commandLine;
    QByteArray m_journalStream; // as it was when the program was started
    Facilities m_facilities;
};

/// The facilities of the desktop themselves.
[[nodiscard]] platform::Environment asTheyAre(const platform::Environment& facilities);

} // namespace app
