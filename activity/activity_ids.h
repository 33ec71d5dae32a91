// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "activity/activity_list.h"
#include "platform/uuid.h"

#include <vector>

namespace activity {

/// An immutable set of record identities, to name the records that are to leave the store.
/// Any thread.
class ActivityIds final
{
public:
    ActivityIds() = default;
    explicit ActivityIds(std::vector<platform::Uuid> ids);

    /// The identities of every record of `list`: O(n log n), so build it off the main thread for a
    /// long one. It remembers `list`, by which the store removes it again without looking at each
    /// record.
    explicit ActivityIds(ActivityList list);

    [[nodiscard]] bool contains(const platform::Uuid& id) const;

    [[nodiscard]] bool empty() const { return m_sorted.empty(); }

    /// The list whose records all are members; empty when built from single identities.
    [[nodiscard]] const ActivityList& origin() const { return m_origin; }

private:
    std::vector<platform::Uuid> m_sorted;
    ActivityList m_origin;
};

} // namespace activity
