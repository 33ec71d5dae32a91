// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/strict_json.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace platform::wayland {

/// A window as sway tells of it.
struct SwayWindow
{
    std::int64_t container = 0; ///< Its number in sway's tree.
    std::int32_t processIdentifier = 0;
    std::string appId; ///< The class for an X program; empty when it has neither.
    std::string title; ///< Cut like that of a Toplevel.

    bool operator==(const SwayWindow&) const = default;
};

/// What an event about a window tells.
struct SwayWindowEvent
{
    std::string change; ///< "focus", "title", "close" and others.
    std::int64_t container = 0;
    /// None when it is no window, or has no process.
    std::optional<SwayWindow> window;
};

/// Reads the JSON of sway's messages. What is not as it should be yields nothing, but that sway
/// hands on what programs call themselves even when it is no valid UTF-8.
/// One thread at a time.
class SwayMessages final
{
public:
    /// The answer to the question for the tree: the window that has the focus; none when it is on
    /// something else, such as an empty workspace.
    [[nodiscard]] std::optional<SwayWindow> focusedWindow(std::string_view tree);

    [[nodiscard]] std::optional<SwayWindowEvent> windowEvent(std::string_view event);

    /// The "change" of an event of any kind.
    [[nodiscard]] std::optional<std::string> change(std::string_view event);

private:
    [[nodiscard]] std::optional<simdjson::dom::element> parse(std::string_view json);

    StrictJson m_json;
};

} // namespace platform::wayland
