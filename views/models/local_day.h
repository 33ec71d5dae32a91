// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QTimeZone>

#include <algorithm>
#include <vector>

namespace views {

/// A calendar day of a time zone. Asking where an instant falls is a comparison or two, however the
/// clocks are set on that day. Any thread.
class LocalDay final
{
public:
    /// The day on which `instant` (seconds since 2001-01-01T00:00:00Z) falls in `zone`, an invalid
    /// one being UTC. Holds nothing when the instant is not a number or more than 100,000 years
    /// away.
    LocalDay(double instant, const QTimeZone& zone);

    /// Whether `instant` has the same date.
    [[nodiscard]] bool contains(double instant) const
    {
        return std::ranges::any_of(m_parts, [instant](const Part& part) {
            return instant >= part.start && instant < part.end;
        });
    }

private:
    struct Part
    {
        double start;
        double end;
    };

    // One, unless clocks are set back over midnight: then the day goes on after a piece of the
    // next one.
    std::vector<Part> m_parts;
};

} // namespace views
