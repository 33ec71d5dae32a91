// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

namespace platform {

/// How long the user has not touched keyboard, mouse or any other input device.
/// Main thread.
class IdleTime
{
public:
    IdleTime() = default;
    IdleTime(const IdleTime&) = delete;
    IdleTime& operator=(const IdleTime&) = delete;
    virtual ~IdleTime() = default;

    /// Seconds since the last input, at least 0. Not-a-number while unknown, which callers count
    /// as activity. May ask the display server, at most one round trip.
    [[nodiscard]] virtual double secondsSinceLastInput() = 0;
};

} // namespace platform
