// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace platform::wayland {

struct SwayWindow;
struct Toplevel;

/// The process of the window in front, from two peers that tell of the focus independently, each in
/// its own time. Only what both agree on counts.
/// One thread at a time.
class ProcessPairing final
{
public:
    /// Looks at what both tell now; null for none. They agree when application and title are the
    /// same. Once they have, they keep agreeing until one of them tells of another window: of a
    /// title that changes one of them always learns later.
    void update(const Toplevel* front, const SwayWindow* focused);

    void forget();

    /// 0 while they do not agree.
    [[nodiscard]] std::int32_t processIdentifier() const { return m_processIdentifier; }

private:
    std::uint64_t m_front = 0;
    std::int64_t m_focused = 0;
    std::int32_t m_processIdentifier = 0;
};

} // namespace platform::wayland
