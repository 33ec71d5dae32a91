// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/login_item.h"

#include <QString>

namespace fakes {

/// A login item in memory, with a fault on demand.
class FakeLoginItem final : public platform::LoginItem
{
public:
    [[nodiscard]] bool isEnabled() const override { return enabled; }

    [[nodiscard]] platform::Outcome setEnabled(bool wanted) override
    {
        ++requests;
        if (!fault.isEmpty())
            return platform::Error{fault};
        enabled = wanted;
        return platform::success();
    }

    /// What setEnabled() fails with; empty for working.
    QString fault;
    /// As the desktop's own settings may change it, too.
    bool enabled = false;
    int requests = 0;
};

} // namespace fakes
