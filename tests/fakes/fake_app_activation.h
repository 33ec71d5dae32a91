// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/app_activation.h"

#include <QStringList>

#include <functional>

namespace fakes {

/// Notes what it is asked for: "activate", "activate by TOKEN", "regular", "accessory".
class FakeAppActivation final : public platform::AppActivation
{
public:
    using AppActivation::activateIgnoringOtherApps;

    void setHasWindows(bool hasWindows) override
    {
        if (whenToldOfWindows)
            whenToldOfWindows(hasWindows);
    }

    void windowAskedFor(QWindow& window) override
    {
        if (whenAskedFor)
            whenAskedFor(window);
    }

    void activateIgnoringOtherApps(const platform::ActivationToken& token) override
    {
        calls.append(token.value.isEmpty() ? QStringLiteral("activate")
                                           : QStringLiteral("activate by ") + token.value);
    }

    void setActivationPolicy(platform::ActivationPolicy policy) override
    {
        calls.append(policy == platform::ActivationPolicy::Regular ? QStringLiteral("regular")
                                                                   : QStringLiteral("accessory"));
    }

    QStringList calls;
    std::function<void(bool)> whenToldOfWindows;
    /// For tests that have windows.
    std::function<void(QWindow&)> whenAskedFor;
};

} // namespace fakes
