// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/command_line.h"
#include "service/database/devices.h"
#include "service/database/stored_runs.h"

#include <cstdint>
#include <string>
#include <vector>

namespace service {

/// Does what a command asks for, all but serving: prints what came of it on standard output,
/// progress and complaints on standard error. The exit code. The schema must have been prepared.
/// Blocks as long as it takes, also on standard input.
[[nodiscard]] int runCommand(DatabaseSession& session, const CommandLine& line);

/// What --check-config prints: each setting with where it was made, nothing secret.
[[nodiscard]] std::string describeSettings(const CommandLine& line);

/// A line for `device` as --list-devices has it, at `now`: number, name, when it was first and last
/// seen, how often it uploads, by how much its clock is ahead, whether it is silent.
[[nodiscard]] std::string deviceLine(const Device& device, std::int64_t now);

/// A line of --export-user. `devices` are those of the user.
[[nodiscard]] std::string exportLine(const StoredRun& run, const std::vector<Device>& devices);

} // namespace service
