// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace platform::desktop {

/// Whether a facility of the desktop is there.
enum class Presence : std::uint8_t {
    Asking, ///< Nobody has answered yet; becomes one of the others within some seconds.
    Here,   ///< It answers.
    Absent, ///< It does not exist on this desktop, or not at present.
};

/// For the log.
[[nodiscard]] constexpr const char* nameOf(Presence presence)
{
    if (presence == Presence::Asking)
        return "asking";
    return presence == Presence::Here ? "here" : "absent";
}

} // namespace platform::desktop
