// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/test_program.h"
#include "views/models/activity_totals.h"

#include <QDateTime>
#include <QTest>

#include <cmath>
#include <limits>
#include <random>

using views::LocalDay;

namespace {

constexpr double kEpoch = 978'307'200;
constexpr double kHour = 3600;

/// Seconds since 2001 of a time in UTC, "2026-03-29T12:00:00".
double utc(const char* text)
{
    QDateTime time = QDateTime::fromString(QString::fromLatin1(text), Qt::ISODate);
    time.setTimeZone(QTimeZone::utc());
    if (!time.isValid())
        qFatal("no such time: %s", text);
    return static_cast<double>(time.toSecsSinceEpoch()) - kEpoch;
}

QTimeZone zoneOf(const char* name)
{
    const QTimeZone zone((QByteArray(name)));
    if (!zone.isValid())
        qFatal("no such zone: %s", name);
    return zone;
}

QDate dateOf(double instant, const QTimeZone& zone)
{
    const auto second = static_cast<qint64>(std::floor(instant)) + static_cast<qint64>(kEpoch);
    return QDateTime::fromSecsSinceEpoch(second, zone).date();
}

/// Whether the day of `inside` is exactly `start` up to but not including `end`.
bool isExactly(double inside, const QTimeZone& zone, const char* start, const char* end)
{
    const LocalDay day(inside, zone);
    const double first = utc(start);
    const double behind = utc(end);
    return day.contains(first) && !day.contains(first - 1e-6) && day.contains(behind - 1e-6) &&
           !day.contains(behind) && day.contains((first + behind) / 2);
}

} // namespace

class TestLocalDay final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void aDayGoesFromMidnightToMidnight()
    {
        const QTimeZone berlin = zoneOf("Europe/Berlin");
        const double noon = utc("2026-11-21T12:00:00");
        QVERIFY(isExactly(noon, QTimeZone::utc(), "2026-11-21T00:00:00", "2026-11-22T00:00:00"));
        QVERIFY(isExactly(noon, berlin, "2026-11-20T23:00:00", "2026-11-21T23:00:00"));
        // Half an hour later it is tomorrow there.
        QVERIFY(isExactly(
            utc("2026-11-21T23:30:00"), berlin, "2026-11-21T23:00:00", "2026-11-22T23:00:00"));
    }

    void theDaysEdgesBelongToTheDayThatBegins()
    {
        const double midnight = utc("2026-11-21T00:00:00");
        QVERIFY(
            isExactly(midnight, QTimeZone::utc(), "2026-11-21T00:00:00", "2026-11-22T00:00:00"));
        QVERIFY(isExactly(std::nextafter(midnight, 0),
                          QTimeZone::utc(),
                          "2026-11-20T00:00:00",
                          "2026-11-21T00:00:00"));
    }

    void aDayMayHave23Or25Hours()
    {
        const QTimeZone berlin = zoneOf("Europe/Berlin");
        QVERIFY(isExactly(
            utc("2026-03-29T12:00:00"), berlin, "2026-03-28T23:00:00", "2026-03-29T22:00:00"));
        QVERIFY(isExactly(
            utc("2026-10-25T12:00:00"), berlin, "2026-10-24T22:00:00", "2026-10-25T23:00:00"));
        // By the rule for years that no table lists.
        QVERIFY(isExactly(
            utc("2090-03-26T12:00:00"), berlin, "2090-03-25T23:00:00", "2090-03-26T22:00:00"));
    }

    void aDaysMidnightMayNotExist()
    {
        // Clocks went from 24:00 to 01:00.
        QVERIFY(isExactly(utc("2018-11-04T12:00:00"),
                          zoneOf("America/Sao_Paulo"),
                          "2018-11-04T03:00:00",
                          "2018-11-05T02:00:00"));
    }

    void aDayMayHaveTwoElevenOClocksAtNight()
    {
        // Clocks went from 24:00 back to 23:00.
        QVERIFY(isExactly(utc("2018-02-17T12:00:00"),
                          zoneOf("America/Sao_Paulo"),
                          "2018-02-17T02:00:00",
                          "2018-02-18T03:00:00"));
    }

    void aDayGoesOnAfterAMinuteOfTheNext()
    {
        // Clocks went from 00:01 on the 29th back to 23:01 on the 28th.
        const QTimeZone newfoundland = zoneOf("America/St_Johns");
        const LocalDay before(utc("2006-10-28T12:00:00"), newfoundland);
        QVERIFY(before.contains(utc("2006-10-29T02:29:59")));
        QVERIFY(!before.contains(utc("2006-10-29T02:30:30")));
        QVERIFY(before.contains(utc("2006-10-29T02:31:00")));
        QVERIFY(before.contains(utc("2006-10-29T03:29:59")));
        QVERIFY(!before.contains(utc("2006-10-29T03:30:00")));
        const LocalDay after(utc("2006-10-29T02:30:30"), newfoundland);
        QVERIFY(after.contains(utc("2006-10-29T02:30:00")));
        QVERIFY(!after.contains(utc("2006-10-29T02:31:00")));
        QVERIFY(after.contains(utc("2006-10-29T03:30:00")));
        QVERIFY(after.contains(utc("2006-10-30T03:29:59")));
    }

    void aZoneMayLeaveOutADay()
    {
        // 30 December 2011 did not happen there.
        const QTimeZone samoa = zoneOf("Pacific/Apia");
        QVERIFY(isExactly(
            utc("2011-12-30T09:59:59"), samoa, "2011-12-29T10:00:00", "2011-12-30T10:00:00"));
        QVERIFY(isExactly(
            utc("2011-12-30T10:00:00"), samoa, "2011-12-30T10:00:00", "2011-12-31T10:00:00"));
    }

    void aZoneMayBeAnOffsetOrNone()
    {
        const double noon = utc("2026-11-21T12:00:00");
        QVERIFY(isExactly(noon, QTimeZone(-12'600), "2026-11-21T03:30:00", "2026-11-22T03:30:00"));
        QVERIFY(isExactly(noon, QTimeZone(), "2026-11-21T00:00:00", "2026-11-22T00:00:00"));
    }

    void itAgreesWithTheCalendar()
    {
        std::mt19937_64 random(1);
        for (const char* name : {"Europe/Berlin",
                                 "America/St_Johns",
                                 "America/Sao_Paulo",
                                 "Africa/Cairo",
                                 "Australia/Lord_Howe",
                                 "Pacific/Apia",
                                 "Asia/Kathmandu",
                                 "Atlantic/Azores"}) {
            const QTimeZone zone = zoneOf(name);
            std::uniform_real_distribution<double> instants(utc("1975-01-01T00:00:00"),
                                                            utc("2035-01-01T00:00:00"));
            std::uniform_real_distribution<double> distances(-30 * kHour, 30 * kHour);
            for (int i = 0; i < 300; ++i) {
                const double now = instants(random);
                const LocalDay day(now, zone);
                QVERIFY(day.contains(now));
                for (int j = 0; j < 10; ++j) {
                    const double other = now + distances(random);
                    const bool same = dateOf(now, zone) == dateOf(other, zone);
                    QVERIFY2(day.contains(other) == same,
                             qPrintable(QStringLiteral("%1: %2 and %3")
                                            .arg(QLatin1String(name))
                                            .arg(now, 0, 'f', 3)
                                            .arg(other, 0, 'f', 3)));
                }
            }
        }
    }

    void whatIsNoInstantIsOnNoDay()
    {
        constexpr double kInfinity = std::numeric_limits<double>::infinity();
        constexpr double kNoNumber = std::numeric_limits<double>::quiet_NaN();
        const QTimeZone berlin = zoneOf("Europe/Berlin");
        for (const double now : {kInfinity, -kInfinity, kNoNumber, 1e300, -1e300}) {
            QVERIFY(!LocalDay(now, berlin).contains(now));
            QVERIFY(!LocalDay(now, berlin).contains(0));
        }
        const LocalDay day(0, berlin);
        QVERIFY(!day.contains(kNoNumber));
        QVERIFY(!day.contains(kInfinity));
        for (const double far : {1e11, -1e11}) {
            QVERIFY(LocalDay(far, berlin).contains(far));
            QVERIFY(!LocalDay(far, berlin).contains(far + (25 * kHour)));
        }
    }
};

QUILLSTEP_TEST(TestLocalDay)
#include "tst_local_day.moc"
