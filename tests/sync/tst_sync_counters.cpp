// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "sync/sync_counters.h"
#include "tests/fakes/fake_user_defaults.h"
#include "tests/support/dies_with.h"
#include "tests/support/test_program.h"

#include <QTest>

#include <limits>

class TestSyncCounters final : public QObject
{
    Q_OBJECT

    fakes::FakeUserDefaults m_defaults;

    void setTotal(qint64 total)
    {
        m_defaults.setInteger(QStringLiteral("totalRecordsSynced"), total);
    }

    [[nodiscard]] std::optional<qint64> value(const char* key) const
    {
        return m_defaults.integer(QString::fromLatin1(key));
    }

private Q_SLOTS:

    void init() { m_defaults.values.clear(); }

    void deliveriesAddUp()
    {
        syncing::countDelivery(m_defaults, 5);
        syncing::countDelivery(m_defaults, 2);
        QCOMPARE(value("lastSyncRecordCount"), 2);
        QCOMPARE(value("totalRecordsSynced"), 7);
    }

    void nothingToSendLeavesTheTotal()
    {
        syncing::countDelivery(m_defaults, 5);
        syncing::countNothing(m_defaults);
        QCOMPARE(value("lastSyncRecordCount"), 0);
        QCOMPARE(value("totalRecordsSynced"), 5);
    }

    void theLargestTotalIsCounted()
    {
        setTotal(std::numeric_limits<qint64>::max() - 1);
        syncing::countDelivery(m_defaults, 1);
        QCOMPARE(value("totalRecordsSynced"), std::numeric_limits<qint64>::max());
    }

    void aTotalBeyondCountingEndsTheProcess()
    {
        setTotal(std::numeric_limits<qint64>::max());
        QVERIFY(support::diesWith("The total of uploaded records is too large",
                                  [this] { syncing::countDelivery(m_defaults, 1); }));
    }

    void aTotalThatIsNoNumberCountsAsNone()
    {
        m_defaults.setString(QStringLiteral("totalRecordsSynced"), QStringLiteral("many"));
        syncing::countDelivery(m_defaults, 3);
        QCOMPARE(value("totalRecordsSynced"), 3);
    }
};

QUILLSTEP_TEST(TestSyncCounters)
#include "tst_sync_counters.moc"
