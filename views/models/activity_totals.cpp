// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "views/models/activity_totals.h"

#include "base/url_components.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace views {

namespace {

using activity::ActivityList;
using activity::ActivityLog;

constexpr std::size_t kItems = 5;

std::string asItIs(std::string_view text)
{
    return std::string(text);
}

} // namespace

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
