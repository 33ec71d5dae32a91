// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// What the executable spares the machine while it only records.
#include "tests/support/agent.h"
#include "tests/support/required_programs.h"
#include "tests/support/signed_in_desktop.h"
#include "tests/support/test_program.h"
#include "tests/support/x11_test_window.h"
#include "tests/system/verify_outcome.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTest>

#include <algorithm>
#include <memory>
#include <unistd.h>
#include <vector>

using namespace Qt::StringLiterals;
using support::Agent;
using support::SignedInDesktop;
using support::X11TestWindow;

class TestQuietAgent final : public QObject
{
    Q_OBJECT

    std::unique_ptr<SignedInDesktop> m_desktop;
    std::unique_ptr<X11TestWindow> m_front;
    std::unique_ptr<Agent> m_agent;

    /// A file in /proc of a process.
    static QByteArray proc(const QString& process, const QString& name)
    {
        QFile file(u"/proc/"_s + process + u'/' + name);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    QByteArray agentsProc(const QString& name)
    {
        return proc(QString::number(m_agent->process().pid()), name);
    }

    /// How often the agent's main thread has stopped to wait for something.
    int timesWaited()
    {
        const QByteArray name("\nvoluntary_ctxt_switches:");
        const QByteArray status = agentsProc(u"status"_s);
        const qsizetype at = status.indexOf(name) + name.size();
        return status.mid(at, status.indexOf('\n', at) - at).trimmed().toInt();
    }

    [[nodiscard]] qsizetype ticks() { return m_agent->lines().filter(u"Tick:"_s).size(); }

    /// Waits for the next tick; the milliseconds that took, none when it does not come.
    std::optional<qint64> untilNextTick()
    {
        const qsizetype before = ticks();
        QElapsedTimer timer;
        timer.start();
        return QTest::qWaitFor([&] { return ticks() > before; }, 5000)
                   ? std::optional(timer.elapsed())
                   : std::nullopt;
    }

private Q_SLOTS:

    void initTestCase()
    {
        REQUIRE_PROGRAMS(SignedInDesktop::programs());
        if (::geteuid() != 0)
            QSKIP("Only root may see what a shielded process does with its timers.");
        m_desktop = std::make_unique<SignedInDesktop>();
        VERIFY_OUTCOME(m_desktop->start());
        m_front = std::make_unique<X11TestWindow>(m_desktop->x11().display());
        m_front->setTitle(u"front"_s);
        QVERIFY(m_front->showAndFocus());
        m_agent = std::make_unique<Agent>(m_desktop->environment());
        VERIFY_OUTCOME(m_desktop->startTracking(*m_agent));
        QVERIFY(m_front->focus());
    }

    void cleanupTestCase()
    {
        if (m_agent)
            QCOMPARE(m_agent->end(), std::optional(EXIT_SUCCESS));
        m_agent.reset();
        m_front.reset();
        m_desktop.reset();
    }

    void itsTimersMayWaitWhileNoWindowIsOpen()
    {
        const QString file = u"timerslack_ns"_s;
        QTRY_COMPARE(agentsProc(file), QByteArray("50000000\n"));
        Agent again(m_desktop->environment());
        VERIFY_OUTCOME(again.start()); // opens the dashboard of the one that runs
        QCOMPARE(again.waitForEnd(), std::optional(EXIT_SUCCESS));
        QTRY_VERIFY_WITH_TIMEOUT(!m_desktop->windowsTitled(u"Dashboard"_s).isEmpty(), 20000);
        QCOMPARE(agentsProc(file), proc(u"self"_s, file));
        VERIFY_OUTCOME(m_desktop->closeWindow(u"Dashboard"_s));
        QTRY_COMPARE(agentsProc(file), QByteArray("50000000\n"));
    }

    void theTicksStayASecondApart()
    {
        QVERIFY(m_front->focus());
        QVERIFY(untilNextTick());
        std::vector<qint64> times;
        for (int i = 0; i < 9; ++i) {
            const auto passed = untilNextTick();
            QVERIFY(passed);
            times.push_back(*passed);
        }
        // The one in the middle: a machine may let anybody wait once.
        std::ranges::sort(times);
        const qint64 usual = times[times.size() / 2];
        QVERIFY2(usual > 700 && usual < 1300, qPrintable(QString::number(usual)));
    }

    void titlesWakeItOnlyForTheTick()
    {
        QVERIFY(m_front->focus());
        X11TestWindow behind(m_desktop->x11().display());
        QVERIFY(untilNextTick());
        const int before = timesWaited();
        const qsizetype ticksBefore = ticks();
        QElapsedTimer timer;
        timer.start();
        for (int i = 0; !timer.hasExpired(5000); ++i) {
            m_front->setTitle(u"front %1"_s.arg(i));
            behind.setTitle(u"behind %1"_s.arg(i));
            QTest::qWait(10); // a hundred changes a second
        }
        const int waited = timesWaited() - before;
        const auto passed = static_cast<int>(ticks() - ticksBefore);
        QVERIFY(passed >= 4);
        // For the timer, for the title, and for whatever else goes on now and then.
        QVERIFY2(waited <= 3 * (passed + 1), qPrintable(QString::number(waited)));
    }
};

QUILLSTEP_TEST(TestQuietAgent)
#include "tst_quiet_agent.moc"
