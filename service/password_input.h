// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/result.h"

#include <string>

namespace service {

/// The first line of standard input. At a terminal it asks for it and shows nothing of it.
/// Blocks until there is a line; fails for an empty one.
[[nodiscard]] Result<std::string> readPassword();

} // namespace service
