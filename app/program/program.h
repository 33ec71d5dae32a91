// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "app/program/agent.h"

namespace app {

/// The program as main() has it to do: reads the command line and does what it asks for. The result
/// is the process's exit code. `facilities` tells what the agent works with; commands without a
/// window always work with what the desktop gives.
[[nodiscard]] int
runProgram(int argc, char** argv, const Agent::Facilities& facilities = asTheyAre);

} // namespace app
