// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "base/time_texts.h"
#include "tests/support/test_program.h"

#include <QLocale>
#include <QTest>

#include <clocale>
#include <cmath>
#include <limits>

using namespace Qt::StringLiterals;
using platform::DurationText;

class TestDurationText final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    /// Texts are English whatever the user's language: here it is German.
    void initTestCase()
    {
        for (const char* variable : {"LC_ALL", "LC_TIME", "LC_MESSAGES", "LANG", "LANGUAGE"})
            qputenv(variable, "de_DE.UTF-8");
        std::setlocale(LC_ALL, "C"); // "as the environment says" to whoever asks for it
        QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
    }

    void unitsThatAreZeroAreLeftOut_data()
    {
        QTest::addColumn<double>("seconds");
        QTest::addColumn<QString>("text");
        const auto row = [](double seconds, const char* text) {
            QTest::addRow("%.17g", seconds) << seconds << QString::fromLatin1(text);
        };
        row(0, "0s");
        row(0.5, "0s");
        row(-0.0, "0s");
        row(45, "45s");
        row(59.6, "59s");
        row(59.999999, "59s");
        row(60, "1m");
        row(3600, "1h");
        row(3605, "1h 5s");
        row(3661, "1h 1m 1s");
        row(3903, "1h 5m 3s");
        row(108000, "30h");
        row(1e6, "277h 46m 40s");
    }

    void unitsThatAreZeroAreLeftOut()
    {
        QFETCH(const double, seconds);
        QTEST(DurationText().text(seconds), "text");
    }

    void aNegativeSpanHasOneSign()
    {
        const DurationText durations;
        QCOMPARE(durations.text(-3661), u"-1h 1m 1s"_s);
        QCOMPARE(durations.text(-60), u"-1m"_s);
        QCOMPARE(durations.text(-1.9), u"-1s"_s);
        QCOMPARE(durations.text(-0.9), u"0s"_s);
    }

    void whatIsNotFiniteIsNothing()
    {
        const DurationText durations;
        QCOMPARE(durations.text(std::numeric_limits<double>::quiet_NaN()), u"0s"_s);
        QCOMPARE(durations.text(std::numeric_limits<double>::infinity()), u"0s"_s);
        QCOMPARE(durations.text(-std::numeric_limits<double>::infinity()), u"0s"_s);
    }

    void noSpanIsTooLong()
    {
        const DurationText durations;
        QCOMPARE(durations.text(1e7), u"2,777h 46m 40s"_s);
        QCOMPARE(durations.text(0x1p53 - 1), u"2,501,999,792,983h 36m 31s"_s);
        // More seconds than a 64-bit integer holds.
        QVERIFY(durations.text(0x1p63).startsWith(u"2,562,047,788,015,215h"));
        const QString longest = durations.text(std::numeric_limits<double>::max());
        QVERIFY2(longest.startsWith(u"49,935,920,") && longest.contains(u'h'), qPrintable(longest));
        QVERIFY(durations.text(-std::numeric_limits<double>::max()).startsWith(u"-49,935,920,"));
    }
};

QUILLSTEP_TEST(TestDurationText)
#include "tst_duration_text.moc"
