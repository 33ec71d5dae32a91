// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// The width of a bar and what is said about synchronisation.
#include "tests/support/test_program.h"
#include "views/models/account_model.h"
#include "views/models/dashboard_model.h"

#include <QTest>

#include <limits>

using views::ActivityRows;
using namespace Qt::StringLiterals;
using SyncState = views::AccountModel::SyncState;

class TestRowValues final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void aBarIsAShareOfTheWidth()
    {
        QCOMPARE(ActivityRows::barWidth(200, 10, 10), 200.0);
        QCOMPARE(ActivityRows::barWidth(200, 5, 10), 100.0);
        QCOMPARE(ActivityRows::barWidth(200, 0.2, 10), 4.0);
        QCOMPARE(ActivityRows::barWidth(200, 0.25, 10), 5.0);
    }

    void aBarIsNeverNarrowerThanFour()
    {
        QCOMPARE(ActivityRows::barWidth(200, 0.001, 10), 4.0);
        QCOMPARE(ActivityRows::barWidth(200, 0, 10), 4.0);
        QCOMPARE(ActivityRows::barWidth(200, -5, 10), 4.0);
        QCOMPARE(ActivityRows::barWidth(3, 10, 10), 4.0);
        QCOMPARE(ActivityRows::barWidth(0, 10, 10), 4.0);
    }

    void aShareThatIsNoNumberIsTheNarrowestBar()
    {
        constexpr double kInfinity = std::numeric_limits<double>::infinity();
        constexpr double kNoNumber = std::numeric_limits<double>::quiet_NaN();
        QCOMPARE(ActivityRows::barWidth(200, 0, 0), 4.0);
        QCOMPARE(ActivityRows::barWidth(200, kInfinity, kInfinity), 4.0);
        QCOMPARE(ActivityRows::barWidth(200, kNoNumber, 1), 4.0);
        QCOMPARE(ActivityRows::barWidth(200, 1, kNoNumber), 4.0);
        QCOMPARE(ActivityRows::barWidth(kNoNumber, 1, 1), 4.0);
        QCOMPARE(ActivityRows::barWidth(200, 1, kInfinity), 4.0);
    }

    void anAttemptUnderWayComesFirstThenAFailure()
    {
        const auto stateOf = &views::AccountModel::stateOf;
        QCOMPARE(stateOf(true, u"broken"_s), SyncState::Syncing);
        QCOMPARE(stateOf(true, std::nullopt), SyncState::Syncing);
        QCOMPARE(stateOf(false, u"broken"_s), SyncState::Error);
        QCOMPARE(stateOf(false, u""_s), SyncState::Error);
        QCOMPARE(stateOf(false, std::nullopt), SyncState::Active);
    }
};

QUILLSTEP_TEST(TestRowValues)
#include "tst_row_values.moc"
