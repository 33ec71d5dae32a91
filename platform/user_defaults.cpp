// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/user_defaults.h"

#include "base/iso8601.h"

#include <QDateTime>

#include <cmath>

namespace platform {

namespace {

constexpr qint64 kReferenceMilliseconds = kReferenceDate * 1000;

} // namespace

std::optional<qint64> UserDefaults::integer(const QString& key) const
{
    const std::optional<QString> text = string(key);
    bool isNumber = false;
    const qint64 value = text ? text->toLongLong(&isNumber) : 0;
    return isNumber ? std::optional(value) : std::nullopt;
}

void UserDefaults::setInteger(const QString& key, qint64 value)
{
    setString(key, QString::number(value));
}

std::optional<double> UserDefaults::date(const QString& key) const
{
    const std::optional<QString> text = string(key);
    const QDateTime instant = text ? QDateTime::fromString(*text, Qt::ISODateWithMs) : QDateTime();
    // A text without a zone means another instant on each side of a journey.
    if (!instant.isValid() || instant.timeSpec() == Qt::LocalTime)
        return std::nullopt;
    return static_cast<double>(instant.toMSecsSinceEpoch() - kReferenceMilliseconds) / 1000;
}

void UserDefaults::setDate(const QString& key, double seconds)
{
    const qint64 milliseconds = std::llround(seconds * 1000) + kReferenceMilliseconds;
    // toUTC(): of the zone with that name Qt 6.4 writes the offset instead of "Z".
    setString(key,
              QDateTime::fromMSecsSinceEpoch(milliseconds).toUTC().toString(Qt::ISODateWithMs));
}

} // namespace platform
