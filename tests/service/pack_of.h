// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/history/day_pack.h"

#include <cstdint>
#include <vector>

/// What all of `runs` come to on `day`.
inline service::DayPack
packOf(std::int64_t day, const std::vector<service::Run>& runs, const service::CategoryRules& rules)
{
    service::DayPackBuilder builder(day, rules);
    for (const service::Run& run : runs)
        builder.add(run);
    return builder.pack();
}
