// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "app/command_line.h"
#include "platform/environment.h"

#include <functional>

namespace app {

// What main() runs: the agent or one command. `argc` and `argv` are always those of main(), the
// result is the exit code of the process. Main thread; once in a process.

/// What the services work with, given what the desktop has; by default, just that. What it adds
/// must live until the process ends. Asked once.
using Facilities = std::function<platform::Environment(const platform::Environment&)>;

/// The program: reads the command line and does what it asks for. Commands always work with what
/// the desktop gives.
[[nodiscard]] int runProgram(int argc, char** argv, const Facilities& facilities = {});

/// The agent, which tracks, uploads and shows its icon and windows until it is told to end; or it
/// hands over to the one that runs. May become the program anew instead of returning.
[[nodiscard]] int
runAgent(int argc, char** argv, const CommandLine& commandLine, const Facilities& facilities);

/// What can be done without a window: the diagnosis, the account, the browsers. `commandLine` asks
/// for anything but tracking.
[[nodiscard]] int runCommand(int argc, char** argv, const CommandLine& commandLine);

} // namespace app
