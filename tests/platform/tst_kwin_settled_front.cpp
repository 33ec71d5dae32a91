// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/kwin/settled_front_window.h"
#include "tests/fakes/fake_repeating_timers.h"

#include <QTest>

using platform::desktop::FrontWindow;
using platform::kwin::SettledFrontWindow;

class TestKWinSettledFront final : public QObject
{
    Q_OBJECT
private Q_SLOTS:

    void init()
    {
        m_timers = std::make_unique<fakes::FakeRepeatingTimers>();
        m_settled = std::make_unique<SettledFrontWindow>(*m_timers);
    }

    void cleanup()
    {
        m_settled.reset();
        m_timers.reset();
    }

    void atFirstNothingIsInFront()
    {
        QVERIFY(!m_settled->front());
        QCOMPARE(m_timers->running(), 0U);
    }

    void aWindowIsInFrontAtOnce()
    {
        m_settled->report(m_one);
        QVERIFY(m_settled->front() == m_one);
        QCOMPARE(m_timers->running(), 0U);
    }

    void theMomentBetweenTwoWindowsIsNotSeen()
    {
        m_settled->report(m_one);
        m_settled->report(std::nullopt);
        QVERIFY(m_settled->front() == m_one);
        m_settled->report(m_two);
        QVERIFY(m_settled->front() == m_two);
        QCOMPARE(m_timers->running(), 0U);
        m_timers->fire();
        QVERIFY(m_settled->front() == m_two);
    }

    void nothingCountsAfterAWhile()
    {
        m_settled->report(m_one);
        m_settled->report(std::nullopt);
        QCOMPARE(m_timers->running(), 1U);
        QCOMPARE(m_timers->interval(), SettledFrontWindow::kEmptyFor);
        m_timers->fire();
        QVERIFY(!m_settled->front());
        QCOMPARE(m_timers->running(), 0U);
    }

    void nothingAgainAndAgainDoesNotPutItOff()
    {
        m_settled->report(m_one);
        for (int i = 0; i < 10; ++i)
            m_settled->report(std::nullopt);
        QCOMPARE(m_timers->scheduled, 1);
        m_timers->fire();
        QVERIFY(!m_settled->front());
    }

    void nothingAfterNothingNeedsNoTimer()
    {
        m_settled->report(std::nullopt);
        QCOMPARE(m_timers->scheduled, 0);
    }

    void clearingCountsAtOnce()
    {
        m_settled->report(m_one);
        m_settled->report(std::nullopt);
        m_settled->clear();
        QVERIFY(!m_settled->front());
        QCOMPARE(m_timers->running(), 0U);
        m_settled->report(m_two);
        QVERIFY(m_settled->front() == m_two);
    }

private:
    static FrontWindow window(std::uint64_t number)
    {
        FrontWindow front;
        front.window = number;
        return front;
    }

    const std::optional<FrontWindow> m_one = window(1);
    const std::optional<FrontWindow> m_two = window(2);
    std::unique_ptr<fakes::FakeRepeatingTimers> m_timers;
    std::unique_ptr<SettledFrontWindow> m_settled;
};

QTEST_GUILESS_MAIN(TestKWinSettledFront)
#include "tst_kwin_settled_front.moc"
