// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "activity/write_budget.h"

#include <QTest>

using activity::WriteBudget;
using namespace std::chrono_literals;

namespace {

const WriteBudget::TimePoint kStart{1h};

}

class TestWriteBudget final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void aFullSecondsWorthIsThereAtFirst()
    {
        WriteBudget budget(4'000'000);
        QCOMPARE(budget.available(kStart), 4'000'000);
        QCOMPARE(budget.untilFull(kStart), 0ms);
    }

    void whatIsWrittenIsMissingUntilTimePasses()
    {
        WriteBudget budget(1000);
        budget.charge(1000, kStart);
        QCOMPARE(budget.available(kStart), 0);
        QCOMPARE(budget.available(kStart + 250ms), 250);
        QCOMPARE(budget.untilFull(kStart + 250ms), 750ms);
        QCOMPARE(budget.available(kStart + 10s), 1000);
    }

    void crumbsAreNotHandedOut()
    {
        WriteBudget budget(1000);
        budget.charge(1000, kStart);
        QCOMPARE(budget.available(kStart + 249ms), 0);
        QCOMPARE(budget.available(kStart + 250ms), 250);
        QCOMPARE(budget.untilFull(kStart + 249ms), 751ms);
    }

    void anOverdrawnBudgetWaitsLonger()
    {
        WriteBudget budget(1000);
        budget.charge(3000, kStart);
        QCOMPARE(budget.available(kStart + 1999ms), 0);
        QCOMPARE(budget.untilFull(kStart), 3000ms);
        QCOMPARE(budget.available(kStart + 2500ms), 500);
    }

    void anyMinuteStaysWithinTheRateAndOneSecondsWorth()
    {
        constexpr std::int64_t kRate = 4'000'000;
        WriteBudget budget(kRate);
        std::int64_t written = 0;
        for (auto now = kStart; now < kStart + 60s; now += 10ms) {
            const std::int64_t bytes = budget.available(now);
            budget.charge(bytes, now);
            written += bytes;
        }
        QVERIFY(written <= 61 * kRate);
        QVERIFY(written >= 59 * kRate);
    }
};

QTEST_GUILESS_MAIN(TestWriteBudget)
#include "tst_write_budget.moc"
