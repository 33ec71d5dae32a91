// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// The width of a bar and what is said about synchronisation.
#include "views/models/bar_width.h"
#include "views/models/sync_status.h"

#include <QTest>

#include <limits>

using namespace Qt::StringLiterals;
using views::barWidth;
using views::SyncStatus;
using views::syncStatus;

class TestRowValues final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void aBarIsAShareOfTheWidth()
    {
        QCOMPARE(barWidth(200, 10, 10), 200.0);
        QCOMPARE(barWidth(200, 5, 10), 100.0);
        QCOMPARE(barWidth(200, 0.2, 10), 4.0);
        QCOMPARE(barWidth(200, 0.25, 10), 5.0);
    }

    void aBarIsNeverNarrowerThanFour()
    {
        QCOMPARE(barWidth(200, 0.001, 10), 4.0);
        QCOMPARE(barWidth(200, 0, 10), 4.0);
        QCOMPARE(barWidth(200, -5, 10), 4.0);
        QCOMPARE(barWidth(3, 10, 10), 4.0);
        QCOMPARE(barWidth(0, 10, 10), 4.0);
    }

    void aShareThatIsNoNumberIsTheNarrowestBar()
    {
        constexpr double kInfinity = std::numeric_limits<double>::infinity();
        constexpr double kNoNumber = std::numeric_limits<double>::quiet_NaN();
        QCOMPARE(barWidth(200, 0, 0), 4.0);
        QCOMPARE(barWidth(200, kInfinity, kInfinity), 4.0);
        QCOMPARE(barWidth(200, kNoNumber, 1), 4.0);
        QCOMPARE(barWidth(200, 1, kNoNumber), 4.0);
        QCOMPARE(barWidth(kNoNumber, 1, 1), 4.0);
        QCOMPARE(barWidth(200, 1, kInfinity), 4.0);
    }

    void anAttemptUnderWayComesFirst()
    {
        const SyncStatus status = syncStatus(true, u"broken"_s, 5);
        QVERIFY(status.state == SyncStatus::State::Syncing);
        QVERIFY(status.colour == SyncStatus::Colour::Orange);
        QCOMPARE(status.error, QString());
        QVERIFY(!status.lastTime);
    }

    void aFailureIsShownWithItsText()
    {
        const SyncStatus status = syncStatus(false, u"broken"_s, 5);
        QVERIFY(status.state == SyncStatus::State::Error);
        QVERIFY(status.colour == SyncStatus::Colour::Red);
        QCOMPARE(status.error, u"broken"_s);
        QVERIFY(!status.lastTime);
        QVERIFY(syncStatus(false, u""_s, 5).state == SyncStatus::State::Error);
    }

    void otherwiseItIsActive()
    {
        const SyncStatus status = syncStatus(false, std::nullopt, 5);
        QVERIFY(status.state == SyncStatus::State::Active);
        QVERIFY(status.colour == SyncStatus::Colour::Green);
        QCOMPARE(status.lastTime, std::optional(5.0));
        QVERIFY(!syncStatus(false, std::nullopt, std::nullopt).lastTime);
    }
};

QTEST_GUILESS_MAIN(TestRowValues)
#include "tst_row_values.moc"
