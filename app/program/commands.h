// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "app/command_line.h"

namespace app {

/// What can be done without a window: the diagnosis, the account, the browsers.
/// Main thread. One in a process.
class Commands final
{
public:
    /// `argc` and `argv` are those of main(); `commandLine` asks for anything but tracking.
    Commands(int argc, char** argv, CommandLine commandLine);

    /// Does what was asked for and tells the outcome; the result is the exit code. Once.
    [[nodiscard]] int run();

private:
    [[nodiscard]] int runOnDesktop();
    [[nodiscard]] int setUpBrowsers(bool isToRemove);

    int m_argc;
    char** m_argv;
    CommandLine m_commandLine;
};

} // namespace app
