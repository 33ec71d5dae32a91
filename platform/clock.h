// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

namespace platform {

/// The wall clock.
/// Any thread; never blocks.
class Clock
{
public:
    Clock() = default;
    Clock(const Clock&) = delete;
    Clock& operator=(const Clock&) = delete;
    virtual ~Clock() = default;

    /// The current instant: seconds, with fraction, since 2001-01-01T00:00:00Z.
    /// May step in either direction when the system's clock is set.
    [[nodiscard]] virtual double now() const = 0;
};

} // namespace platform
