// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

namespace views {

/// What was spent on one application or site.
struct AggregatedItem
{
    /// Tells the items of one list apart.
    QString name;
    /// In seconds.
    double duration = 0;

    bool operator==(const AggregatedItem&) const = default;
};

} // namespace views
