// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/idle_time.h"

namespace fakes {

/// Answers what it was told to.
class FakeIdleTime final : public platform::IdleTime
{
public:
    double seconds = 0;
    int calls = 0;

    [[nodiscard]] double secondsSinceLastInput() override
    {
        ++calls;
        return seconds;
    }
};

} // namespace fakes
