// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdlib>
#include <memory>

namespace platform::x11 {

/// Frees what xcb hands over to its caller.
struct X11Free
{
    void operator()(void* memory) const noexcept
    {
        std::free(memory); // NOLINT(cppcoreguidelines-no-malloc): allocated by xcb
    }
};

/// An answer of the X server, owned. Null when there is none.
template <typename Reply> using X11Reply = std::unique_ptr<Reply, X11Free>;

} // namespace platform::x11
