// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "activity/activity_list.h"
#include "sync/aggregation.h"

#include <optional>
#include <utility>
#include <vector>

/// All runs of `list`, in their order.
inline std::vector<syncing::AggregatedLog> runsOf(const activity::ActivityList& list)
{
    std::vector<syncing::AggregatedLog> runs;
    syncing::RunReader reader(list, syncing::orderOf(list));
    while (std::optional<syncing::AggregatedLog> run = reader.next())
        runs.push_back(*std::move(run));
    return runs;
}

inline std::vector<syncing::AggregatedLog> runsOf(const std::vector<activity::ActivityLog>& logs)
{
    activity::ActivityList list;
    for (const activity::ActivityLog& log : logs)
        list.append(log);
    return runsOf(list);
}
