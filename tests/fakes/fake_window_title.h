// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/window_title.h"

#include <QString>

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

namespace fakes {

/// Knows the titles it was told, by window.
class FakeWindowTitle final : public platform::WindowTitle
{
public:
    std::map<std::uint64_t, QString> titles;
    std::vector<platform::Application> askedFor;

    [[nodiscard]] std::optional<QString>
    focusedWindowTitle(const platform::Application& application) override
    {
        askedFor.push_back(application);
        const auto found = titles.find(application.window);
        if (found == titles.end())
            return std::nullopt;
        return found->second;
    }
};

} // namespace fakes
