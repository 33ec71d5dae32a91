// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/desktops/wayland/toplevel_list.h"

#include "base/exact_utf8.h"

#include <utility>

namespace platform::wayland {

bool ToplevelList::add(Key key)
{
    if (m_windows.size() >= kMost)
        return false;
    const auto [entry, isNew] = m_windows.try_emplace(key);
    if (isNew)
        entry->second.shown.number = ++m_lastNumber;
    return isNew;
}

void ToplevelList::setTitle(Key key, std::string_view title)
{
    if (Window* const window = find(key))
        window->title = cutUtf8(title, kLongestTitle);
}

void ToplevelList::setAppId(Key key, std::string_view appId)
{
    if (Window* const window = find(key))
        window->appId = appId.size() > kLongestAppId ? std::string_view() : appId;
}

void ToplevelList::setActivated(Key key, bool activated)
{
    if (Window* const window = find(key))
        window->activated = activated;
}

void ToplevelList::setFrontProcess(std::int32_t process)
{
    if (m_front != nullptr)
        m_front->processIdentifier = process;
}

void ToplevelList::apply(Key key)
{
    Window* const window = find(key);
    if (window == nullptr)
        return;
    Toplevel& shown = window->shown;
    if (auto title = std::exchange(window->title, std::nullopt))
        shown.title = std::move(title);
    if (auto appId = std::exchange(window->appId, std::nullopt))
        shown.appId = std::move(*appId);
    const bool wasActivated = shown.activation != 0;
    if (std::exchange(window->activated, std::nullopt).value_or(wasActivated) == wasActivated)
        return;
    shown.activation = wasActivated ? 0 : ++m_lastActivation;
    chooseFront();
}

void ToplevelList::remove(Key key)
{
    m_windows.erase(key);
    chooseFront();
}

void ToplevelList::clear()
{
    m_windows.clear();
    chooseFront();
}

ToplevelList::Window* ToplevelList::find(Key key)
{
    const auto found = m_windows.find(key);
    return found == m_windows.end() ? nullptr : &found->second;
}

void ToplevelList::chooseFront()
{
    m_front = nullptr;
    std::uint64_t latest = 0;
    for (auto& [key, window] : m_windows) {
        if (window.shown.activation > latest) {
            latest = window.shown.activation;
            m_front = &window.shown;
        }
    }
}

} // namespace platform::wayland
