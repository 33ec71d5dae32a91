// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace platform::wayland {

/// A facility as a compositor announces it. One that vanishes and returns has another name.
struct WaylandGlobal
{
    std::uint32_t name = 0;
    std::uint32_t version = 0;

    bool operator==(const WaylandGlobal&) const = default;
};

} // namespace platform::wayland
