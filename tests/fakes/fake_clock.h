// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/clock.h"

namespace fakes {

/// A clock that stands still until it is set.
class FakeClock final : public platform::Clock
{
public:
    [[nodiscard]] double now() const override { return time; }

    double time = 800000000.0;
};

} // namespace fakes
