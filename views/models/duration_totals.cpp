// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "views/models/duration_totals.h"

#include "base/exact_utf8.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numeric>
#include <utility>

namespace views {

namespace {

constexpr std::size_t kFirstSlots = 1024;
/// 2^64 divided by the golden ratio: spreads keys that follow one another.
constexpr std::uint64_t kSpread = 0x9E37'79B9'7F4A'7C15;

/// A total order: numbers by size, and behind them what is none.
bool isLarger(double a, double b)
{
    return a > b || (std::isnan(b) && !std::isnan(a));
}

} // namespace

DurationTotals::DurationTotals(Name name)
    : m_name(name)
    , m_slots(kFirstSlots)
{
}

std::vector<AggregatedItem> DurationTotals::largest(std::size_t count) const
{
    std::vector<Group> order(m_sums.size());
    std::iota(order.begin(), order.end(), 0U);
    const auto end = order.begin() + static_cast<std::ptrdiff_t>(std::min(count, order.size()));
    std::partial_sort(order.begin(), end, order.end(), [this](Group a, Group b) {
        if (isLarger(m_sums[a], m_sums[b]))
            return true;
        return !isLarger(m_sums[b], m_sums[a]) && a < b;
    });
    std::vector<AggregatedItem> items;
    for (auto group = order.begin(); group != end; ++group)
        items.push_back(
            {.name = platform::fromExactUtf8(*m_names[*group]), .duration = m_sums[*group]});
    return items;
}

DurationTotals::Group DurationTotals::groupOf(std::uintptr_t key, const activity::SharedText& text)
{
    const Slot& found = slotOf(key);
    if (found.key == key)
        return found.group;
    const Group group = groupNamed(m_name(text.view()));
    if (2 * (m_usedSlots + 1) > m_slots.size())
        grow();
    slotOf(key) = {.key = key, .group = group};
    ++m_usedSlots;
    return group;
}

/// Where `key` is, or where it would go.
DurationTotals::Slot& DurationTotals::slotOf(std::uintptr_t key)
{
    const std::size_t mask = m_slots.size() - 1;
    const int bits = std::countr_zero(m_slots.size());
    std::size_t at = (key * kSpread) >> (64 - bits);
    while (m_slots[at].key != 0 && m_slots[at].key != key)
        at = (at + 1) & mask;
    return m_slots[at];
}

DurationTotals::Group DurationTotals::groupNamed(std::string name)
{
    const auto [entry, isNew] =
        m_groups.try_emplace(std::move(name), static_cast<Group>(m_sums.size()));
    if (isNew) {
        m_names.push_back(&entry->first);
        m_sums.push_back(0);
    }
    return entry->second;
}

void DurationTotals::grow()
{
    const std::vector<Slot> before = std::exchange(m_slots, std::vector<Slot>(2 * m_slots.size()));
    for (const Slot& slot : before) {
        if (slot.key != 0)
            slotOf(slot.key) = slot;
    }
}

} // namespace views
