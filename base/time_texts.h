// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QTimeZone>

#include <memory>

namespace platform {

/// Writes spans of time in hours, minutes and seconds, abbreviated and in English,
/// whatever the user's language: "1h 5m 3s". Costly to make, cheap to use: keep one. One thread at
/// a time.
class DurationText final
{
public:
    DurationText();
    DurationText(const DurationText&) = delete;
    DurationText& operator=(const DurationText&) = delete;
    ~DurationText();

    /// `seconds`, its fraction cut off, in those units that are not zero; there are no days. A
    /// negative span has one minus sign before it. "0s" for what is not finite and where the
    /// system has no data for English.
    [[nodiscard]] QString text(double seconds) const;

private:
    struct Format;
    std::unique_ptr<const Format> m_format; // null without data
};

/// Writes when something was, seen from now, in English whatever the user's language: "5 min. ago".
/// Costly to make, cheap to use: keep one. One thread at a time.
class RelativeTimeText final
{
public:
    RelativeTimeText();
    RelativeTimeText(const RelativeTimeText&) = delete;
    RelativeTimeText& operator=(const RelativeTimeText&) = delete;
    ~RelativeTimeText();

    /// `then` relative to `now`, both in seconds since 2001-01-01T00:00:00Z, as a number of the
    /// largest unit that at least one of lies between them: years, months, weeks, days, hours,
    /// minutes, seconds. Years to days are those of the calendar in `zone`, counted from `now`;
    /// what is left over is cut off. Less than a second either way is "in 0 sec.".
    ///
    /// Instants more than about 2.9 million years away count as being just that far. Empty when
    /// either is not a number, or the system has no data for English.
    [[nodiscard]] QString text(double then, double now, const QTimeZone& zone) const;

private:
    struct Format;
    std::unique_ptr<const Format> m_format; // null without data
};

} // namespace platform
