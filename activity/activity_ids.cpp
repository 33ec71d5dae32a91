// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "activity/activity_ids.h"

#include <algorithm>
#include <utility>

namespace activity {

ActivityIds::ActivityIds(std::vector<platform::Uuid> ids)
    : m_sorted(std::move(ids))
{
    std::ranges::sort(m_sorted);
}

ActivityIds::ActivityIds(ActivityList list)
    : m_origin(std::move(list))
{
    m_sorted.reserve(m_origin.size());
    for (const ActivityLog& log : m_origin)
        m_sorted.push_back(log.id);
    std::ranges::sort(m_sorted);
}

bool ActivityIds::contains(const platform::Uuid& id) const
{
    return std::ranges::binary_search(m_sorted, id);
}

} // namespace activity
