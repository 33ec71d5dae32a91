// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/clock.h"

namespace soak {

/// A clock that starts at the time of another one and then runs ten times as fast.
/// Any thread.
class TenfoldClock final : public platform::Clock
{
public:
    /// `clock` must outlive this.
    explicit TenfoldClock(const platform::Clock& clock);

    [[nodiscard]] double now() const override;

private:
    const platform::Clock& m_clock;
    double m_start;
};

} // namespace soak
