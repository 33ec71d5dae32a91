// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "views/models/local_day.h"

#include <QDateTime>

#include <cmath>
#include <cstddef>

namespace views {

namespace {

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

} // namespace

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

} // namespace views
