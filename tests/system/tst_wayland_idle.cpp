// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/headless_sway.h"
#include "tests/support/passing_time.h"
#include "tests/support/required_programs.h"
#include "tests/support/test_program.h"
#include "tests/system/wayland_observer.h"

#include <QElapsedTimer>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>

#include <chrono>
#include <cmath>

using namespace Qt::StringLiterals;
using platform::desktop::Presence;

class TestWaylandIdle final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        REQUIRE_PROGRAMS(m_sway.programs());
        const auto started = m_sway.start();
        QVERIFY2(started, started ? "" : qPrintable(started.error().text));
    }

    void init()
    {
        QTest::failOnWarning(QRegularExpression(u".*"_s));
        m_observer = WaylandObserver::on(m_sway);
        QVERIFY(m_observer);
    }

    void cleanup() { m_observer.reset(); }

    void swayHasTheOlderProtocol()
    {
        QCOMPARE(m_observer->idleTime.presence(), Presence::Here);
        QVERIFY2(m_observer->idleTime.name().contains(u", version "),
                 qPrintable(m_observer->idleTime.name()));
    }

    void unknownAtFirstAndThenCountedUp()
    {
        QVERIFY(std::isnan(idle()));
        QElapsedTimer sinceStart;
        sinceStart.start();
        QTRY_VERIFY(idle() >= 2);
        // The count began when sway was asked, a moment before or after the clock here.
        QVERIFY2(std::abs(idle() - double(sinceStart.elapsed()) / 1000) < 0.8,
                 qPrintable(QString::number(idle())));
        const double before = idle();
        sinceStart.restart();
        support::letPass(std::chrono::seconds(1));
        QVERIFY(std::abs(idle() - before - double(sinceStart.elapsed()) / 1000) < 0.3);
    }

    void inputResetsIt()
    {
        QTRY_VERIFY(idle() >= 1);
        QVERIFY(m_sway.makeInput());
        QTRY_COMPARE(idle(), 0.0);
        QElapsedTimer sinceInput;
        sinceInput.start();
        QTRY_VERIFY(idle() >= 1);
        QVERIFY2(std::abs(idle() - double(sinceInput.elapsed()) / 1000) < 0.8,
                 qPrintable(QString::number(idle())));
    }

    // While somebody types there is never a notice; that there is none tells as much.
    void whoIsActiveFromTheStartIsNotIdle()
    {
        QElapsedTimer sinceStart;
        sinceStart.start();
        while (sinceStart.elapsed() < 2500) {
            QVERIFY(m_sway.makeInput());
            const double seconds = idle();
            QVERIFY2(std::isnan(seconds) || seconds == 0, qPrintable(QString::number(seconds)));
        }
        QCOMPARE(idle(), 0.0);
    }

    void unknownOnceTheDisplayHasGone()
    {
        QTRY_VERIFY(idle() >= 1);
        QSignalSpy presence(&m_observer->idleTime, &platform::desktop::IdleSource::presenceChanged);
        m_sway.killDisplay();
        QTRY_VERIFY(std::isnan(idle()));
        QTRY_COMPARE(presence.count(), 1);
        QCOMPARE(m_observer->idleTime.presence(), Presence::Absent);
    }

private:
    [[nodiscard]] double idle() { return m_observer->idleTime.secondsSinceLastInput(); }

    support::HeadlessSway m_sway;
    std::unique_ptr<WaylandObserver> m_observer;
};

QUILLSTEP_TEST(TestWaylandIdle)
#include "tst_wayland_idle.moc"
