// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <cstdint>
#include <optional>

namespace platform {

/// The application that receives keyboard input, as seen at one moment.
struct Application
{
    /// Its name as the user knows it, in the user's language.
    std::optional<QString> localizedName;
    /// Its desktop-file id, or the class its windows carry.
    std::optional<QString> bundleIdentifier;
    /// Its process number, 0 when the desktop does not tell.
    std::int32_t processIdentifier = 0;
    /// The focused window, in the numbering of the back-end that made this value; 0 for none.
    std::uint64_t window = 0;

    bool operator==(const Application&) const = default;
};

/// Which application is in front.
/// Main thread.
class FrontmostApplication
{
public:
    FrontmostApplication() = default;
    FrontmostApplication(const FrontmostApplication&) = delete;
    FrontmostApplication& operator=(const FrontmostApplication&) = delete;
    virtual ~FrontmostApplication() = default;

    /// The application in front now; none when nothing has the focus, the focused window has just
    /// gone, the desktop itself or a lock screen is in front, or this desktop does not tell. Asks
    /// afresh on every call; may ask the display server, at most two round trips.
    [[nodiscard]] virtual std::optional<Application> frontmostApplication() = 0;
};

} // namespace platform
