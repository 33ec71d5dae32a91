// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

namespace browser {

/// Whether the process `pid` runs the usage monitor installed beside this program. Only a process
/// that may be looked at can be it. An installed file that was replaced while it runs counts, if it
/// is root's.
/// Any thread.
[[nodiscard]] bool runsMonitor(std::uint32_t pid, const std::string& procFolder = "/proc");

} // namespace browser
