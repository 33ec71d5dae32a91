// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QSqlQuery>
#include <QString>
#include <QVariant>

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace service {

/// `text`, valid UTF-8, as it is stored: U+0000, which PostgreSQL cannot hold, as U+2400, the
/// picture of it. Never null, which would be stored as no text at all. Any thread.
[[nodiscard]] inline QString storedText(std::string_view text)
{
    QString stored = QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
    stored.replace(QChar(0), QChar(0x2400));
    return stored.isNull() ? QString::fromLatin1("") : stored;
}

[[nodiscard]] inline QVariant number(std::int64_t value)
{
    return {static_cast<qlonglong>(value)};
}

/// Since 1970-01-01T00:00:00Z.
[[nodiscard]] inline std::int64_t microsecondsNow()
{
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

[[nodiscard]] inline std::int64_t secondsNow()
{
    return microsecondsNow() / 1'000'000;
}

__extension__ using WideSeconds = __int128;

/// What yields, with wideSum(), the sum of durations. Each of these may be any number of 64 bits,
/// so databases add up their parts, of which none runs over.
[[nodiscard]] inline QString sumOfDurations()
{
    return QStringLiteral("cast(coalesce(sum(duration_seconds / 1000000000000), 0) as bigint), "
                          "cast(coalesce(sum(duration_seconds / 1000000 % 1000000), 0) as bigint), "
                          "cast(coalesce(sum(duration_seconds % 1000000), 0) as bigint)");
}

/// Of the three columns from `first` on.
[[nodiscard]] inline WideSeconds wideSum(const QSqlQuery& row, int first)
{
    WideSeconds sum = 0;
    for (int part = 0; part < 3; ++part)
        sum = sum * 1'000'000 + row.value(first + part).toLongLong();
    return sum;
}

/// Many numbers as one value: PostgreSQL's array, SQLite's JSON.
[[nodiscard]] inline QString listOfNumbers(const std::vector<std::int64_t>& numbers,
                                           bool postgreSql)
{
    QString list = postgreSql ? QStringLiteral("{") : QStringLiteral("[");
    for (const std::int64_t each : numbers) {
        if (list.size() > 1)
            list += QLatin1Char(',');
        list += QString::number(each);
    }
    return list + (postgreSql ? QLatin1Char('}') : QLatin1Char(']'));
}

} // namespace service
