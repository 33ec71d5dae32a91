// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "base/time_texts.h"

#include "base/iso8601.h"

#include <QDateTime>
#include <QTimeZone>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <unicode/calendar.h>
#include <unicode/locid.h>
#include <unicode/measfmt.h>
#include <unicode/measunit.h>
#include <unicode/measure.h>
#include <unicode/reldatefmt.h>
#include <unicode/simpletz.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>
#include <utility>
#include <vector>

namespace platform {

namespace {

/// In milliseconds: half of what a calendar can hold, so that it can also count beyond.
constexpr double kFarthest = 9e16;

struct Unit
{
    UCalendarDateFields field;
    URelativeDateTimeUnit unit;
};

constexpr std::array<Unit, 7> kUnits{{
    {.field = UCAL_YEAR, .unit = UDAT_REL_UNIT_YEAR},
    {.field = UCAL_MONTH, .unit = UDAT_REL_UNIT_MONTH},
    {.field = UCAL_WEEK_OF_YEAR, .unit = UDAT_REL_UNIT_WEEK},
    {.field = UCAL_DATE, .unit = UDAT_REL_UNIT_DAY},
    {.field = UCAL_HOUR_OF_DAY, .unit = UDAT_REL_UNIT_HOUR},
    {.field = UCAL_MINUTE, .unit = UDAT_REL_UNIT_MINUTE},
    {.field = UCAL_SECOND, .unit = UDAT_REL_UNIT_SECOND},
}};

UDate date(double secondsSince2001)
{
    return std::clamp(
        (secondsSince2001 + static_cast<double>(kReferenceDate)) * 1000, -kFarthest, kFarthest);
}

/// What ICU makes of `zone`; where it does not know its name, the zone's offset at `instant`.
std::unique_ptr<icu::TimeZone> timeZone(const QTimeZone& zone, UDate instant)
{
    const icu::UnicodeString id(zone.id().constData(), -1, US_INV);
    std::unique_ptr<icu::TimeZone> known(icu::TimeZone::createTimeZone(id));
    if (*known != icu::TimeZone::getUnknown())
        return known;
    const auto moment =
        QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(instant), QTimeZone::utc());
    const int seconds = zone.isValid() ? zone.offsetFromUtc(moment) : 0;
    return std::make_unique<icu::SimpleTimeZone>(seconds * 1000, id);
}

QString toQString(const icu::UnicodeString& text)
{
    return QStringView(text.getBuffer(), text.length()).toString();
}

} // namespace

struct DurationText::Format
{
    icu::MeasureFormat measures;
    icu::MeasureUnit hour;
    icu::MeasureUnit minute;
    icu::MeasureUnit second;
};

DurationText::DurationText()
{
    UErrorCode status = U_ZERO_ERROR;
    auto format = std::make_unique<Format>(
        Format{.measures = {icu::Locale::getUS(), UMEASFMT_WIDTH_NARROW, status},
               .hour = icu::MeasureUnit::getHour(),
               .minute = icu::MeasureUnit::getMinute(),
               .second = icu::MeasureUnit::getSecond()});
    if (U_SUCCESS(status))
        m_format = std::move(format);
}

DurationText::~DurationText() = default;

QString DurationText::text(double seconds) const
{
    QString nothing = QStringLiteral("0s");
    if (m_format == nullptr || !std::isfinite(seconds))
        return nothing;
    // Floating point throughout: no integer is large enough for every span.
    const double whole = std::trunc(std::abs(seconds));
    const std::array<std::pair<double, const icu::MeasureUnit*>, 3> units{{
        {std::floor(whole / 3600), &m_format->hour},
        {std::floor(std::fmod(whole, 3600) / 60), &m_format->minute},
        {std::fmod(whole, 60), &m_format->second},
    }};
    UErrorCode status = U_ZERO_ERROR;
    std::vector<icu::Measure> measures;
    measures.reserve(units.size());
    for (const auto& [count, unit] : units) {
        const bool isLastResort = unit == &m_format->second && measures.empty();
        if (count > 0 || isLastResort)
            measures.emplace_back(icu::Formattable(count), unit->clone(), status);
    }
    icu::UnicodeString written;
    icu::FieldPosition position(icu::FieldPosition::DONT_CARE);
    m_format->measures.formatMeasures(
        measures.data(), static_cast<std::int32_t>(measures.size()), written, position, status);
    if (U_FAILURE(status))
        return nothing;
    // By hand: the formatter would repeat the sign before every unit.
    const bool isNegative = seconds < 0 && whole > 0;
    return isNegative ? QLatin1Char('-') + toQString(written) : toQString(written);
}

struct RelativeTimeText::Format
{
    icu::RelativeDateTimeFormatter times;
    std::unique_ptr<const icu::Calendar> calendar;
};

RelativeTimeText::RelativeTimeText()
{
    UErrorCode status = U_ZERO_ERROR;
    const icu::Locale& english = icu::Locale::getUS();
    auto format = std::make_unique<Format>(Format{
        .times = {english, nullptr, UDAT_STYLE_SHORT, UDISPCTX_CAPITALIZATION_NONE, status},
        .calendar =
            std::unique_ptr<const icu::Calendar>(icu::Calendar::createInstance(english, status))});
    if (U_SUCCESS(status))
        m_format = std::move(format);
}

RelativeTimeText::~RelativeTimeText() = default;

QString RelativeTimeText::text(double then, double now, const QTimeZone& zone) const
{
    if (m_format == nullptr || std::isnan(then) || std::isnan(now))
        return {};
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<icu::Calendar> calendar(m_format->calendar->clone());
    calendar->adoptTimeZone(timeZone(zone, date(now)).release());
    calendar->setTime(date(now), status);
    int count = 0;
    URelativeDateTimeUnit unit = UDAT_REL_UNIT_SECOND;
    for (const Unit& candidate : kUnits) {
        unit = candidate.unit;
        count = calendar->fieldDifference(date(then), candidate.field, status);
        if (count != 0 || U_FAILURE(status))
            break;
    }
    icu::UnicodeString written;
    // An integer has no negative zero, which would be "0 sec. ago".
    m_format->times.formatNumeric(static_cast<double>(count), unit, written, status);
    return U_SUCCESS(status) ? toQString(written) : QString();
}

} // namespace platform
