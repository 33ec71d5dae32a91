// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/wayland/sway_focus.h"

namespace platform::wayland {

void SwayFocus::start()
{
    m_focused.reset();
    m_isStale = true;
    m_hasAsked = false;
}

bool SwayFocus::take(const SwayMessage& message)
{
    const std::optional<SwayWindow> before = m_focused;
    switch (message.type) {
    case SwayMessageType::GetTree:
        m_hasAsked = false;
        m_focused = m_messages.focusedWindow(message.payload);
        break;
    case SwayMessageType::WindowEvent:
        takeWindowEvent(message.payload);
        break;
    case SwayMessageType::WorkspaceEvent:
        takeWorkspaceEvent(message.payload);
        break;
    case SwayMessageType::Subscribe:
        break;
    }
    return m_focused != before;
}

bool SwayFocus::takeQuestion()
{
    if (!m_isStale || m_hasAsked)
        return false;
    m_isStale = false;
    m_hasAsked = true;
    return true;
}

void SwayFocus::takeWindowEvent(std::string_view event)
{
    const auto news = m_messages.windowEvent(event);
    if (!news)
        return;
    const bool isFocused = m_focused && m_focused->container == news->container;
    if (news->change == "focus" || (isFocused && news->change == "title"))
        m_focused = news->window;
    else if (isFocused && news->change == "close")
        m_focused.reset();
}

/// Where the focus goes on another workspace is not told with it.
void SwayFocus::takeWorkspaceEvent(std::string_view event)
{
    const auto change = m_messages.change(event);
    if (change == "focus" || change == "reload")
        m_isStale = true;
}

} // namespace platform::wayland
