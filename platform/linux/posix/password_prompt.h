// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/result.h"

#include <QString>

namespace platform::posix {

/// Reads one line from standard input. On a terminal it asks with `prompt` first and shows nothing
/// of what is typed; Ctrl+C there is an error. Blocks.
[[nodiscard]] Result<QString> readPassword(const char* prompt);

} // namespace platform::posix
