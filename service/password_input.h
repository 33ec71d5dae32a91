// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/result.h"
#include "terminal/secret.h"

namespace service {

/// A new password of a user: the first line of standard input, asked for twice at a terminal, which
/// shows nothing of it. At least 10 characters. Blocks until it is there.
[[nodiscard]] Result<terminal::Secret> readNewPassword();

} // namespace service
