// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/fakes/fake_user_defaults.h"
#include "tests/support/test_program.h"

#include <QTest>

#include <limits>

namespace {

const QString kKey = QStringLiteral("key");

std::optional<qint64> integerOf(const QString& text)
{
    fakes::FakeUserDefaults defaults;
    defaults.setString(kKey, text);
    return defaults.integer(kKey);
}

std::optional<double> dateOf(const QString& text)
{
    fakes::FakeUserDefaults defaults;
    defaults.setString(kKey, text);
    return defaults.date(kKey);
}

} // namespace

class TestUserDefaults final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void whatIsMissingIsNeitherNumberNorInstant()
    {
        const fakes::FakeUserDefaults defaults;
        QVERIFY(!defaults.integer(kKey));
        QVERIFY(!defaults.date(kKey));
    }

    void wholeNumbersOf64BitsAreKept()
    {
        using Limits = std::numeric_limits<qint64>;
        for (const qint64 value :
             {qint64(0), qint64(-7), qint64(60), Limits::min(), Limits::max()}) {
            fakes::FakeUserDefaults defaults;
            defaults.setInteger(kKey, value);
            QCOMPARE(defaults.string(kKey), QString::number(value));
            QCOMPARE(defaults.integer(kKey), value);
        }
    }

    void textsThatAreNoWholeNumberAreNone()
    {
        for (const char* text : {"",
                                 "five",
                                 "5 minutes",
                                 "5.0",
                                 "1e3",
                                 "0x10",
                                 "--5",
                                 "1,000",
                                 "9223372036854775808",
                                 "-9223372036854775809",
                                 "\u0665"})
            QVERIFY2(!integerOf(QString::fromUtf8(text)), text);
    }

    void instantsAreWrittenAsIso8601InUtcWithMilliseconds()
    {
        fakes::FakeUserDefaults defaults;
        defaults.setDate(kKey, 0);
        QCOMPARE(defaults.string(kKey), QStringLiteral("2001-01-01T00:00:00.000Z"));
        defaults.setDate(kKey, 817032600.1234);
        QCOMPARE(defaults.string(kKey), QStringLiteral("2026-11-22T09:30:00.123Z"));
        QCOMPARE(defaults.date(kKey), 817032600.123);
        defaults.setDate(kKey, -978307200.001);
        QCOMPARE(defaults.string(kKey), QStringLiteral("1969-12-31T23:59:59.999Z"));
        QCOMPARE(defaults.date(kKey), -978307200.001);
    }

    void instantsOfAnyZoneAreRead()
    {
        QCOMPARE(dateOf(QStringLiteral("2001-01-01T00:00:00Z")), 0.0);
        QCOMPARE(dateOf(QStringLiteral("2001-01-01T02:00:01.500+02:00")), 1.5);
        QCOMPARE(dateOf(QStringLiteral("2000-12-31T19:00:00-05:00")), 0.0);
    }

    void textsThatAreNoInstantAreNone()
    {
        for (const char* text : {"",
                                 "yesterday",
                                 "2001-01-01",
                                 "2001-01-01T00:00:00",
                                 "2001-13-01T00:00:00Z",
                                 "2001-02-30T00:00:00Z",
                                 "2001-01-01T25:00:00Z",
                                 "2001-01-01T00:00:00X",
                                 "978307200",
                                 "01/01/2001 00:00Z"})
            QVERIFY2(!dateOf(QString::fromUtf8(text)), text);
    }
};

QUILLSTEP_TEST(TestUserDefaults)
#include "tst_user_defaults.moc"
