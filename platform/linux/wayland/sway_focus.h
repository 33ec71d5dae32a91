// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/wayland/sway_frames.h"
#include "platform/linux/wayland/sway_messages.h"

#include <optional>
#include <utility>

namespace platform::wayland {

/// The window that has the focus, by sway's messages in the order in which they come: events tell
/// what changes, the tree tells where everything stands when it is answered.
/// One thread at a time.
class SwayFocus final
{
public:
    /// A new connection: nothing is known, and the tree is to be asked for.
    void start();

    /// Whether it is no longer the same after the message.
    [[nodiscard]] bool take(const SwayMessage& message);

    /// Whether the tree is to be asked for now; true once for each time.
    [[nodiscard]] bool takeQuestion();

    /// Null when no window has it, or nobody has told.
    [[nodiscard]] const SwayWindow* focused() const { return m_focused ? &*m_focused : nullptr; }

private:
    void takeWindowEvent(std::string_view event);
    void takeWorkspaceEvent(std::string_view event);

    SwayMessages m_messages;
    std::optional<SwayWindow> m_focused;
    bool m_isStale = false;
    bool m_hasAsked = false; // one question at a time, however many events there are
};

} // namespace platform::wayland
