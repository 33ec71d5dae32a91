// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/app_activation.h"

#include <QStringList>

namespace fakes {

/// Notes what it is asked for: "activate", "regular", "accessory".
class FakeAppActivation final : public platform::AppActivation
{
public:
    void activateIgnoringOtherApps() override { calls.append(QStringLiteral("activate")); }

    void setActivationPolicy(platform::ActivationPolicy policy) override
    {
        calls.append(policy == platform::ActivationPolicy::Regular ? QStringLiteral("regular")
                                                                   : QStringLiteral("accessory"));
    }

    QStringList calls;
};

} // namespace fakes
