// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/frontmost_application.h"

#include <optional>

namespace fakes {

/// Answers what it was told to.
class FakeFrontmostApplication final : public platform::FrontmostApplication
{
public:
    std::optional<platform::Application> application;
    int calls = 0;

    [[nodiscard]] std::optional<platform::Application> frontmostApplication() override
    {
        ++calls;
        return application;
    }
};

} // namespace fakes
