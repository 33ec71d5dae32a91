// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "views/models/time_range.h"

namespace views {

QString rawValue(TimeRange range)
{
    switch (range) {
    case TimeRange::Today:
        return QStringLiteral("Today");
    case TimeRange::AllTime:
        return QStringLiteral("All Time");
    }
    return {};
}

} // namespace views
