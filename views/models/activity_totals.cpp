// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "views/models/activity_totals.h"

#include "base/exact_utf8.h"
#include "base/url_components.h"

#include <QDateTime>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <numeric>
#include <string>
#include <string_view>
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

/// 2001-01-01 in seconds since 1970.
constexpr qint64 kEpoch = 978'307'200;
constexpr qint64 kDay = 86'400;
/// No day is longer, not even where a zone has moved over the date line.
constexpr qint64 kReach = 3 * kDay;
constexpr double kFarthest = 100'000 * 366.0 * kDay;

/// From `start`, in seconds since 1970, local time is ahead of UTC by `offset` seconds.
struct Period
{
    qint64 start;
    qint64 offset;
};

/// The periods that cover `from` to `to`, in order.
std::vector<Period> periods(const QTimeZone& zone, qint64 from, qint64 to)
{
    if (!zone.isValid())
        return {{.start = from, .offset = 0}};
    const QDateTime first = QDateTime::fromSecsSinceEpoch(from, QTimeZone::utc());
    std::vector<Period> found{{.start = from, .offset = zone.offsetFromUtc(first)}};
    for (const QTimeZone::OffsetData& change :
         zone.transitions(first, QDateTime::fromSecsSinceEpoch(to, QTimeZone::utc())))
        found.push_back({.start = change.atUtc.toSecsSinceEpoch(), .offset = change.offsetFromUtc});
    return found;
}

/// The number of the day that holds the local time `seconds`.
qint64 dayOf(qint64 seconds)
{
    return (seconds >= 0 ? seconds : seconds - kDay + 1) / kDay;
}

using activity::ActivityList;
using activity::ActivityLog;

constexpr std::size_t kItems = 5;

std::string asItIs(std::string_view text)
{
    return std::string(text);
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

LocalDay::LocalDay(double instant, const QTimeZone& zone)
{
    if (!(std::abs(instant) <= kFarthest))
        return;
    const qint64 now = static_cast<qint64>(std::floor(instant)) + kEpoch;
    const qint64 end = now + kReach;
    const std::vector<Period> around = periods(zone, now - kReach, end);
    qint64 today = 0;
    for (const Period& period : around) {
        if (period.start <= now)
            today = dayOf(now + period.offset);
    }
    for (std::size_t i = 0; i < around.size(); ++i) {
        const auto [start, offset] = around[i];
        const qint64 change = i + 1 < around.size() ? around[i + 1].start : end;
        const auto from = static_cast<double>(std::max(start, (today * kDay) - offset) - kEpoch);
        const auto to =
            static_cast<double>(std::min(change, ((today + 1) * kDay) - offset) - kEpoch);
        if (from >= to)
            continue;
        if (!m_parts.empty() && m_parts.back().end == from)
            m_parts.back().end = to;
        else
            m_parts.push_back({.start = from, .end = to});
    }
}

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

ActivityTotals::Sums::Sums(TimeRange ofRange, double now, const QTimeZone& ofZone)
    : range(ofRange)
    , zone(ofZone)
    , day(now, ofZone)
    , apps(asItIs)
    , websites(platform::urlHostKey)
{
}

void ActivityTotals::Sums::add(const ActivityLog& log)
{
    if (range == TimeRange::Today && !day.contains(log.timestamp))
        return;
    apps.add(log.appName, log.duration);
    if (log.url && log.url->identity() != nullptr) // the empty text has none
        websites.add(*log.url, log.duration);
}

void ActivityTotals::update(const ActivityList& list,
                            TimeRange range,
                            double now,
                            const QTimeZone& zone)
{
    const bool goesOn =
        m_sums && m_sums->range == range && isOfTheDay(now, zone) && list.startsWith(m_sums->list);
    if (!goesOn)
        m_sums.emplace(range, now, zone);
    for (std::size_t i = m_sums->list.size(); i < list.size(); ++i)
        m_sums->add(list[i]);
    m_sums->list = list;
}

bool ActivityTotals::isOfTheDay(double now, const QTimeZone& zone) const
{
    return m_sums && m_sums->day.contains(now) && m_sums->zone == zone;
}

std::vector<AggregatedItem> ActivityTotals::topApps() const
{
    return m_sums ? m_sums->apps.largest(kItems) : std::vector<AggregatedItem>();
}

std::vector<AggregatedItem> ActivityTotals::topWebsites() const
{
    return m_sums ? m_sums->websites.largest(kItems) : std::vector<AggregatedItem>();
}

} // namespace views
