// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/status_item.h"

#include <vector>

namespace fakes {

/// A status icon that shows nothing; a test emits its signals.
class FakeStatusItem final : public platform::StatusItem
{
public:
    void setRows(const std::vector<platform::MenuRow>& newRows) override { rows = newRows; }

    std::vector<platform::MenuRow> rows;
};

} // namespace fakes
