// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "activity/shared_text.h"

#include <QString>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

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

/// Adds up durations by what a text stands for. Texts that share a buffer are told by that, so
/// each distinct one is looked at once; what is added meanwhile costs no memory.
/// The texts must live as long as this does. One thread at a time.
class DurationTotals final
{
public:
    /// What a text stands for; equal results are one group.
    using Name = std::string (*)(std::string_view text);

    explicit DurationTotals(Name name);

    /// Adds `duration` to the group of `text`, a new one starting from 0.
    void add(const activity::SharedText& text, double duration)
    {
        // Odd where there is a buffer or none, so that no key is 0.
        const std::uintptr_t key = reinterpret_cast<std::uintptr_t>(text.identity()) + 1;
        if (key != m_lastKey) {
            m_lastGroup = groupOf(key, text);
            m_lastKey = key;
        }
        m_sums[m_lastGroup] += duration;
    }

    /// The `count` largest groups, or all if there are fewer, the largest first; of equal ones the
    /// one that was there first. A sum that is no number counts as smallest.
    [[nodiscard]] std::vector<AggregatedItem> largest(std::size_t count) const;

private:
    using Group = std::uint32_t;

    struct Slot
    {
        std::uintptr_t key; // 0: free
        Group group;
    };

    [[nodiscard]] Group groupOf(std::uintptr_t key, const activity::SharedText& text);
    [[nodiscard]] Slot& slotOf(std::uintptr_t key);
    [[nodiscard]] Group groupNamed(std::string name);
    void grow();

    Name m_name;
    std::vector<Slot> m_slots; // open addressing, a power of two, at most half full
    std::size_t m_usedSlots = 0;
    std::unordered_map<std::string, Group> m_groups;
    std::vector<const std::string*> m_names; // by group, in order of appearance
    std::vector<double> m_sums;              // likewise
    std::uintptr_t m_lastKey = 0;
    Group m_lastGroup = 0;
};

} // namespace views
