// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/agent.h"
#include "tests/support/headless_weston.h"
#include "tests/support/keyring.h"
#include "tests/support/required_programs.h"
#include "tests/support/test_program.h"
#include "tests/support/test_window.h"
#include "tests/system/wayland_observer.h"

#include <QSignalSpy>
#include <QTest>

#include <cmath>

using namespace Qt::StringLiterals;
using platform::desktop::Presence;
using support::TestWindow;

class TestWestonUnsupported final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        REQUIRE_PROGRAMS(m_weston.programs() + support::Keyring::programs());
        const auto started = m_weston.start();
        QVERIFY2(started, started ? "" : qPrintable(started.error().text));
    }

    void theProgramSaysSo()
    {
        // Before anybody has the bus start one.
        support::Keyring keyring;
        const auto started = keyring.startSignedIn(m_weston.environment());
        QVERIFY2(started, started ? "" : qPrintable(started.error().text));
        support::Agent agent(m_weston.environment());
        QVERIFY(bool(agent.start({u"--diagnose"_s})));
        QCOMPARE(agent.waitForEnd(), std::optional(0));
        const QString report = agent.lines().join(u'\n');
        const QString notice =
            u"This desktop does not tell which window is in front, so nothing is "
            "recorded."_s;
        for (const QString& line : {u"front window: none"_s,
                                    u"limits: "_s + notice,
                                    u"idle time: unknown, every second counts as active"_s,
                                    u"application in front: not found"_s})
            QVERIFY2(report.contains(line), qPrintable(report));

        QVERIFY(bool(agent.start()));
        QTRY_VERIFY2_WITH_TIMEOUT(
            agent.complaints().contains(notice), qPrintable(agent.complaints()), 20000);
        QCOMPARE(agent.lines(), QStringList());
        QCOMPARE(agent.end(), std::optional(0));
        QVERIFY2(agent.complaints().count(notice) == 1, qPrintable(agent.complaints()));
    }

    // The last one: it ends Weston.
    void nothingIsThereAndNothingIsMadeUp()
    {
        const auto observer = WaylandObserver::on(m_weston.waylandDisplay(), {});
        QVERIFY(observer);
        QVERIFY(observer->connection->isAlive());
        TestWindow window;
        const auto opened = window.open(m_weston.environment(), u"one"_s, u"First"_s);
        QVERIFY2(opened, opened ? "" : qPrintable(opened.error().text));
        QSignalSpy lost(observer->connection.get(), &platform::wayland::WaylandConnection::lost);
        const auto holds = [&observer] {
            return observer->windows.presence() == Presence::Absent &&
                   observer->idleTime.presence() == Presence::Absent &&
                   !observer->windows.frontWindow() &&
                   std::isnan(observer->idleTime.secondsSinceLastInput());
        };
        QVERIFY(holds());
        QVERIFY(observer->windows.advice().isEmpty());
        m_weston.killDisplay();
        QTRY_COMPARE(lost.count(), 1);
        QVERIFY(holds());
    }

private:
    support::HeadlessWeston m_weston;
};

QUILLSTEP_TEST(TestWestonUnsupported)
#include "tst_weston_unsupported.moc"
