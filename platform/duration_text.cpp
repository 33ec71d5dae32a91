// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/duration_text.h"

#include "platform/icu_text.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <unicode/locid.h>
#include <unicode/measfmt.h>
#include <unicode/measunit.h>
#include <unicode/measure.h>
#include <utility>
#include <vector>

namespace platform {

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

} // namespace platform
