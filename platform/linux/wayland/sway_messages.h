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
    std::int32_t processIdentifier = 0;
    std::string appId; ///< The class for an X program; empty when it has neither.

    bool operator==(const SwayWindow&) const = default;
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

private:
    StrictJson m_json;
};

} // namespace platform::wayland
