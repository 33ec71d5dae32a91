// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <functional>

namespace support {

/// Whether `action`, run in a copy of this process, ends it by abort() after `text` has been
/// written to standard error: how a fatal program error shows.
[[nodiscard]] bool diesWith(const char* text, const std::function<void()>& action);

} // namespace support
