// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <string_view>

namespace platform {

/// `utf8`, which must be valid UTF-8, as it is: QString::fromUtf8() drops U+FEFF at the beginning.
/// Any thread.
[[nodiscard]] QString fromExactUtf8(std::string_view utf8);

} // namespace platform
