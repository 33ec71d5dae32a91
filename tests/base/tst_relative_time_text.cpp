// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "base/time_texts.h"
#include "tests/support/test_program.h"

#include <QDateTime>
#include <QLocale>
#include <QTest>

#include <clocale>
#include <limits>

using namespace Qt::StringLiterals;
using platform::RelativeTimeText;

namespace {

constexpr double kNow = 785'000'000;
constexpr double kHour = 3600;
constexpr double kDay = 24 * kHour;
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNoNumber = std::numeric_limits<double>::quiet_NaN();

/// The instant of a local time "2026-03-29T12:00:00".
double at(const char* local, const QTimeZone& zone = QTimeZone::utc())
{
    QDateTime time = QDateTime::fromString(QString::fromLatin1(local), Qt::ISODate);
    time.setTimeZone(zone);
    if (!time.isValid())
        qFatal("no such time: %s", local);
    return static_cast<double>(time.toSecsSinceEpoch() - 978'307'200);
}

QTimeZone zoneOf(const char* name)
{
    const QTimeZone zone((QByteArray(name)));
    if (!zone.isValid())
        qFatal("no such zone: %s", name);
    return zone;
}

} // namespace

class TestRelativeTimeText final : public QObject
{
    Q_OBJECT

    RelativeTimeText m_times;
    QTimeZone m_utc = QTimeZone::utc();

    [[nodiscard]] QString text(double then, double now) const
    {
        return m_times.text(then, now, m_utc);
    }

private Q_SLOTS:

    /// Texts are English whatever the user's language: here it is German.
    void initTestCase()
    {
        for (const char* variable : {"LC_ALL", "LC_TIME", "LC_MESSAGES", "LANG", "LANGUAGE"})
            qputenv(variable, "de_DE.UTF-8");
        std::setlocale(LC_ALL, "C"); // "as the environment says" to whoever asks for it
        QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
    }

    void theLargestUnitIsCountedAndTheRestCutOff_data()
    {
        QTest::addColumn<double>("offset");
        QTest::addColumn<QString>("expected");
        const auto row = [](double offset, const char* expected) {
            QTest::addRow("%.17g", offset) << offset << QString::fromLatin1(expected);
        };
        row(0, "in 0 sec.");
        row(-0.9, "in 0 sec.");
        row(0.9, "in 0 sec.");
        row(-1, "1 sec. ago");
        row(-59, "59 sec. ago");
        row(-59.9, "59 sec. ago");
        row(-60, "1 min. ago");
        row(-90, "1 min. ago");
        row(-300, "5 min. ago");
        row(-3599, "59 min. ago");
        row(-kHour, "1 hr. ago");
        row(-5399, "1 hr. ago");
        row(-kDay + 1, "23 hr. ago");
        row(-kDay, "1 day ago");
        row(-2 * kDay, "2 days ago");
        row(-6 * kDay, "6 days ago");
        row(-7 * kDay, "1 wk. ago");
        row(-15 * kDay, "2 wk. ago");
        row(5, "in 5 sec.");
        row(60, "in 1 min.");
        row(kHour, "in 1 hr.");
        row(kDay, "in 1 day");
    }

    void theLargestUnitIsCountedAndTheRestCutOff()
    {
        QFETCH(const double, offset);
        QTEST(text(kNow + offset, kNow), "expected");
    }

    void monthsAndYearsAreThoseOfTheCalendar()
    {
        const auto ago = [this](const char* then, const char* now) {
            return text(at(then), at(now));
        };
        QCOMPARE(ago("2026-02-15T12:00:00", "2026-03-15T12:00:00"), u"1 mo. ago"_s); // 28 days
        QCOMPARE(ago("2026-07-15T12:00:00", "2026-08-14T12:00:00"), u"4 wk. ago"_s); // 30 days
        QCOMPARE(ago("2026-02-15T12:00:01", "2026-03-15T12:00:00"), u"3 wk. ago"_s);
        QCOMPARE(ago("2025-11-21T12:00:00", "2026-11-21T12:00:00"), u"1 yr. ago"_s);
        QCOMPARE(ago("2025-11-21T12:00:01", "2026-11-21T12:00:00"), u"11 mo. ago"_s);
        QCOMPARE(ago("2001-01-01T00:00:00", "2026-11-21T12:00:00"), u"25 yr. ago"_s);
        QCOMPARE(ago("2027-01-21T12:00:00", "2026-11-21T12:00:00"), u"in 2 mo."_s);
        QCOMPARE(ago("2028-11-21T12:00:00", "2026-11-21T12:00:00"), u"in 2 yr."_s);
    }

    void leapDaysCount()
    {
        // A year before 28 February is the 28th, and one before the 29th is that, too.
        QCOMPARE(text(at("2024-02-29T12:00:00"), at("2025-02-28T12:00:00")), u"11 mo. ago"_s);
        QCOMPARE(text(at("2024-02-29T12:00:00"), at("2025-03-01T12:00:00")), u"1 yr. ago"_s);
        QCOMPARE(text(at("2023-02-28T12:00:00"), at("2024-02-29T12:00:00")), u"1 yr. ago"_s);
        QCOMPARE(text(at("2024-02-28T12:00:00"), at("2024-03-01T12:00:00")), u"2 days ago"_s);
        QCOMPARE(text(at("2023-02-28T12:00:00"), at("2023-03-01T12:00:00")), u"1 day ago"_s);
        QCOMPARE(text(at("2024-02-29T12:00:00"), at("2024-03-31T12:00:00")), u"1 mo. ago"_s);
    }

    void aDayIsOneOfTheZone()
    {
        const QTimeZone berlin = zoneOf("Europe/Berlin");
        // Clocks go forward on 2026-03-29: the day has 23 hours.
        const double then = at("2026-03-28T12:00:00", berlin);
        const double now = at("2026-03-29T12:00:00", berlin);
        QCOMPARE(now - then, 23 * kHour);
        QCOMPARE(m_times.text(then, now, berlin), u"1 day ago"_s);
        QCOMPARE(m_times.text(then, now, m_utc), u"23 hr. ago"_s);
        // And back on 2026-10-25: 25 hours.
        const double before = at("2026-10-24T12:00:00", berlin);
        QCOMPARE(m_times.text(before, before + 24 * kHour, berlin), u"24 hr. ago"_s);
        QCOMPARE(m_times.text(before, before + 25 * kHour, berlin), u"1 day ago"_s);
    }

    void aZoneWithoutANameIsItsOffset()
    {
        const QTimeZone eastern(5 * 3600);
        const double then = at("2026-02-28T20:00:00"); // 1 March in the zone
        const double now = at("2026-03-31T20:00:00");  // 1 April in the zone
        QCOMPARE(m_times.text(then, now, eastern), u"1 mo. ago"_s);
        QCOMPARE(m_times.text(at("2026-02-28T18:00:00"), at("2026-03-29T18:00:00"), eastern),
                 u"1 mo. ago"_s);
        QCOMPARE(m_times.text(at("2026-02-28T20:00:00"), at("2026-03-28T20:00:00"), eastern),
                 u"4 wk. ago"_s);
        QCOMPARE(m_times.text(at("2026-02-28T20:00:00"), at("2026-03-28T20:00:00"), m_utc),
                 u"1 mo. ago"_s);
        QCOMPARE(m_times.text(kNow - 300, kNow, QTimeZone()), u"5 min. ago"_s);
    }

    void noInstantIsTooFarAway()
    {
        const QString ago = text(-1e300, kNow);
        QVERIFY2(ago.endsWith(u" yr. ago") && ago.startsWith(u"2,8"), qPrintable(ago));
        QCOMPARE(text(-kInfinity, kNow), ago);
        const QString ahead = text(kInfinity, kNow);
        QVERIFY2(ahead.startsWith(u"in 2,8") && ahead.endsWith(u" yr."), qPrintable(ahead));
        QCOMPARE(text(std::numeric_limits<double>::max(), kNow), ahead);
        QVERIFY(text(-1e300, 1e300).endsWith(u" yr. ago"));
        QCOMPARE(text(kInfinity, kInfinity), u"in 0 sec."_s);
    }

    void whatIsNoNumberHasNoText()
    {
        QCOMPARE(text(kNoNumber, kNow), QString());
        QCOMPARE(text(kNow, kNoNumber), QString());
    }
};

QUILLSTEP_TEST(TestRelativeTimeText)
#include "tst_relative_time_text.moc"
