// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "base/iso8601.h"
#include "base/truncated.h"
#include "tests/support/test_program.h"

#include <QDateTime>
#include <QTest>

#include <cmath>
#include <limits>
#include <random>

using platform::secondsFromUtcText;
using platform::utcText;

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNotANumber = std::numeric_limits<double>::quiet_NaN();

/// From days since 2001-01-01, in seconds.
constexpr double days(double count)
{
    return count * 86400;
}

} // namespace

class TestIso8601 final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void instantIsWrittenInUtcToTheSecond_data()
    {
        QTest::addColumn<double>("seconds");
        QTest::addColumn<QByteArray>("text");
        const auto row = [](double seconds, const char* text) {
            QTest::addRow("%s from %g", text, seconds) << seconds << QByteArray(text);
        };
        row(0, "2001-01-01T00:00:00Z");
        row(-0.0, "2001-01-01T00:00:00Z");
        row(785000000.123456, "2025-11-16T15:33:20Z");
        row(-978307200, "1970-01-01T00:00:00Z");
        row(-978307201, "1969-12-31T23:59:59Z");
        row(-1, "2000-12-31T23:59:59Z");
        row(days(59) - 1, "2001-02-28T23:59:59Z");
        row(days(59), "2001-03-01T00:00:00Z");
        row(days(-366) + days(59), "2000-02-29T00:00:00Z");
        row(days(3 * 365 + 59), "2004-02-29T00:00:00Z");
        row(days(99 * 365 + 24 + 59) - 1, "2100-02-28T23:59:59Z"); // 2100 is no leap year
        row(days(99 * 365 + 24 + 59), "2100-03-01T00:00:00Z");
        row(86399, "2001-01-01T23:59:59Z");
        row(37199, "2001-01-01T10:19:59Z");
    }

    void instantIsWrittenInUtcToTheSecond()
    {
        QFETCH(double, seconds);
        QFETCH(QByteArray, text);
        QCOMPARE(QByteArray::fromStdString(platform::iso8601(seconds).value()), text);
    }

    void fractionIsCutOffBeforeTheEpochToo()
    {
        QCOMPARE(platform::iso8601(0.999), std::string("2001-01-01T00:00:00Z"));
        QCOMPARE(platform::iso8601(-0.3), std::string("2000-12-31T23:59:59Z"));
        QCOMPARE(platform::iso8601(-978307200.25), std::string("1969-12-31T23:59:59Z"));
        QCOMPARE(platform::iso8601(-978307200.75), std::string("1969-12-31T23:59:59Z"));
    }

    void lastHalfOfAMillisecondIsTheNextSecond()
    {
        QCOMPARE(platform::iso8601(0.9994), std::string("2001-01-01T00:00:00Z"));
        QCOMPARE(platform::iso8601(0.9996), std::string("2001-01-01T00:00:01Z"));
        QCOMPARE(platform::iso8601(-0.0004), std::string("2001-01-01T00:00:00Z"));
        QCOMPARE(platform::iso8601(-0.0006), std::string("2000-12-31T23:59:59Z"));
    }

    void yearsOfMoreOrLessThanFourDigitsAreWrittenInFull()
    {
        constexpr double kCycle = days(146097);
        QCOMPARE(platform::iso8601(252423993599), std::string("9999-12-31T23:59:59Z"));
        QCOMPARE(platform::iso8601(252423993600), std::string("10000-01-01T00:00:00Z"));
        QCOMPARE(platform::iso8601(20 * kCycle), std::string("10001-01-01T00:00:00Z"));
        QCOMPARE(platform::iso8601(2500 * kCycle), std::string("1002001-01-01T00:00:00Z"));
        QCOMPARE(platform::iso8601(-5 * kCycle), std::string("0001-01-01T00:00:00Z"));
        QCOMPARE(platform::iso8601(-5 * kCycle - 1), std::string("0000-12-31T23:59:59Z"));
        QCOMPARE(platform::iso8601(-5 * kCycle - days(366)), std::string("0000-01-01T00:00:00Z"));
        QCOMPARE(platform::iso8601(-5 * kCycle - days(366) - 1),
                 std::string("-0001-12-31T23:59:59Z"));
        QCOMPARE(platform::iso8601(-2500 * kCycle), std::string("-997999-01-01T00:00:00Z"));
    }

    void instantsBeyondTheRangeAreWrittenAsItsEnds()
    {
        const auto last = platform::iso8601(std::numeric_limits<double>::max());
        const auto first = platform::iso8601(std::numeric_limits<double>::lowest());
        QCOMPARE(last, std::string("146140482-04-24T15:36:27Z"));
        QCOMPARE(first, std::string("-146136543-09-08T08:23:32Z"));
        QCOMPARE(platform::iso8601(1e17), last);
        QCOMPARE(platform::iso8601(-1e17), first);
    }

    void whatIsNotFiniteIsNoInstant()
    {
        QVERIFY(!platform::iso8601(kNotANumber));
        QVERIFY(!platform::iso8601(kInfinity));
        QVERIFY(!platform::iso8601(-kInfinity));
    }

    void everySecondFrom1583To9999IsWhatQtMakesOfIt()
    {
        constexpr unsigned kSeed = 4711;
        qInfo("seed %u", kSeed);
        std::mt19937_64 random(kSeed);
        std::uniform_int_distribution<qint64> seconds(-12'212'553'600, 253'402'300'799);
        for (int i = 0; i < 10'000; ++i) {
            const qint64 unixTime = seconds(random);
            const auto text = platform::iso8601(static_cast<double>(unixTime - 978307200));
            const auto expected = QDateTime::fromSecsSinceEpoch(unixTime).toUTC();
            QCOMPARE(QString::fromStdString(text.value()), expected.toString(Qt::ISODate));
        }
    }

    void truncationGoesTowardZeroAndStopsAtTheEndsOf64Bits()
    {
        using platform::truncated;
        QCOMPARE(truncated(59.9), 59);
        QCOMPARE(truncated(0.4), 0);
        QCOMPARE(truncated(-0.9), 0);
        QCOMPARE(truncated(-59.9), -59);
        QCOMPARE(truncated(-0x1p63), std::numeric_limits<std::int64_t>::min());
        QCOMPARE(truncated(std::nextafter(0x1p63, 0)), 9223372036854774784);
        QVERIFY(!truncated(0x1p63));
        QVERIFY(!truncated(std::nextafter(-0x1p63, -kInfinity)));
        QVERIFY(!truncated(kNotANumber));
        QVERIFY(!truncated(kInfinity));
        QVERIFY(!truncated(-kInfinity));
    }

    void timesAreReadAndWritten_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<qint64>("seconds");
        QTest::newRow("1970") << QStringLiteral("1970-01-01T00:00:00Z") << qint64(0);
        QTest::newRow("before") << QStringLiteral("1969-12-31T23:59:59Z") << qint64(-1);
        QTest::newRow("leap day") << QStringLiteral("2024-02-29T12:00:00Z") << qint64(1709208000);
        QTest::newRow("2000 is leap")
            << QStringLiteral("2000-02-29T00:00:00Z") << qint64(951782400);
        QTest::newRow("2001") << QStringLiteral("2001-01-01T00:00:00Z") << qint64(978307200);
        QTest::newRow("year 0") << QStringLiteral("0000-01-01T00:00:00Z") << qint64(-62167219200);
        QTest::newRow("year -1") << QStringLiteral("-0001-12-31T23:59:59Z") << qint64(-62167219201);
        QTest::newRow("10000") << QStringLiteral("10000-01-01T00:00:00Z") << qint64(253402300800);
    }

    void timesAreReadAndWritten()
    {
        QFETCH(QString, text);
        QFETCH(qint64, seconds);
        QCOMPARE(secondsFromUtcText(text.toStdString()), std::optional<std::int64_t>(seconds));
        QCOMPARE(QString::fromStdString(utcText(seconds)), text);
    }

    void farTimesComeBackAsTheyWere()
    {
        for (std::int64_t seconds = -30'000'000'000'000'000; seconds < 30'000'000'000'000'000;
             seconds += 77'777'777'777'777)
            QCOMPARE(secondsFromUtcText(utcText(seconds)), std::optional(seconds));
    }

    void textsThatAreNoTimesAreRefused()
    {
        for (const char* text : {"",
                                 "Z",
                                 "2026-11-21",
                                 "2026-11-21T09:30:00",
                                 "2026-11-21T09:30:00+00:00",
                                 "2026-11-21t09:30:00z",
                                 "2026-11-21 09:30:00Z",
                                 "2026-11-21T09:30:00.5Z",
                                 "2026-11-21T24:00:00Z",
                                 "2026-11-21T09:60:00Z",
                                 "2026-11-21T09:30:60Z",
                                 "2026-00-21T09:30:00Z",
                                 "2026-13-21T09:30:00Z",
                                 "2026-11-00T09:30:00Z",
                                 "2026-11-31T09:30:00Z",
                                 "1900-02-29T09:30:00Z",
                                 "226-11-21T09:30:00Z",
                                 "02026-11-21T09:30:00Z",
                                 "+2026-11-21T09:30:00Z",
                                 "-0000-11-21T09:30:00Z",
                                 "--001-11-21T09:30:00Z",
                                 "9999999999-01-01T00:00:00Z",
                                 "2026-1 -21T09:30:00Z",
                                 " 2026-11-21T09:30:00Z",
                                 "2026-11-21T09:30:00Z "})
            QVERIFY2(!secondsFromUtcText(text), text);
    }
};

QUILLSTEP_TEST(TestIso8601)
#include "tst_iso8601.moc"
