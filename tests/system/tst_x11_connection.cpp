// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/headless_x11.h"
#include "tests/support/required_programs.h"
#include "tests/support/test_program.h"
#include "tests/support/x11_test_window.h"
#include "tests/system/x11_observer.h"

#include <QAbstractEventDispatcher>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

#include <cmath>
#include <memory>

using namespace Qt::StringLiterals;
using platform::desktop::Presence;
using platform::x11::X11Connection;
using support::HeadlessX11;
using support::X11TestWindow;

namespace {
/// How often the event loop wakes up in a while in which nothing happens.
int wakeUpsOfAnIdleLoop()
{
    int wakeUps = 0;
    QEventLoop loop;
    QObject::connect(QAbstractEventDispatcher::instance(),
                     &QAbstractEventDispatcher::awake,
                     &loop,
                     [&wakeUps] { ++wakeUps; });
    QTimer::singleShot(300, &loop, &QEventLoop::quit);
    loop.exec();
    return wakeUps;
}
} // namespace

class TestX11Connection final : public QObject
{
    Q_OBJECT
private Q_SLOTS:

    void initTestCase() { REQUIRE_PROGRAMS(HeadlessX11::programs()); }

    void init()
    {
        QTest::failOnWarning(QRegularExpression(u".*"_s));
        m_desktop = std::make_unique<HeadlessX11>();
        const auto started = m_desktop->start();
        QVERIFY2(started, started ? "" : qPrintable(started.error().text));
    }

    void cleanup() { m_desktop.reset(); }

    void aServerThatHangsHoldsTheMainThreadForASecondOnceAndIsAskedAgainWhenItGoesOn()
    {
        X11TestWindow window(m_desktop->display());
        window.setTitle(QStringLiteral("here"));
        QVERIFY(window.showAndFocus());
        auto observer = X11Observer::on(m_desktop->display());
        QVERIFY(observer);
        QSignalSpy lost(&observer->connection(), &X11Connection::lost);
        QCOMPARE(observer->tick(), std::optional(QStringLiteral("here")));

        m_desktop->pauseServer();
        QElapsedTimer timer;
        timer.start();
        // Nobody notices before something is asked, which is once in 60 ticks where nothing
        // changes.
        int ticks = 1;
        while (observer->tick().has_value())
            ++ticks;
        QVERIFY(ticks <= 60);
        QVERIFY(timer.elapsed() >= 900 && timer.elapsed() < 1900);
        timer.restart();
        for (int i = 0; i < 1000; ++i)
            QCOMPARE(observer->tick(), std::nullopt);
        QVERIFY(timer.elapsed() < 500);
        QVERIFY(std::isnan(observer->idleTime.secondsSinceLastInput()));

        m_desktop->resumeServer();
        QTRY_COMPARE(observer->tick(), std::optional(QStringLiteral("here")));
        QCOMPARE(lost.count(), 0);
    }

    void aMissingServerIsNamedInTheError()
    {
        const QString display = m_desktop->display();
        m_desktop->killServer();
        const auto connection = X11Connection::open(display);
        QVERIFY(!connection);
        QCOMPARE(connection.error().text, u"cannot connect to the X server "_s + display);
        QCOMPARE(X11Connection::open(u"no display"_s).error().text,
                 u"cannot connect to the X server no display"_s);
    }

    void withoutANameTheEnvironmentCounts()
    {
        qputenv("DISPLAY", m_desktop->display().toUtf8());
        QVERIFY(X11Connection::open());
        qunsetenv("DISPLAY");
        const auto connection = X11Connection::open();
        QVERIFY(!connection);
        QCOMPARE(connection.error().text, u"cannot connect to an X server: DISPLAY is not set"_s);
    }

    void aServerThatGoesIsReportedOnceAndThenAnswersNothing()
    {
        const auto observer = X11Observer::on(m_desktop->display());
        QVERIFY(observer);
        X11TestWindow window(m_desktop->display());
        window.setTitle(u"Title"_s);
        QVERIFY(window.showAndFocus());
        const auto application = observer->front();
        QVERIFY(application);

        const QSignalSpy lost(&observer->connection(), &X11Connection::lost);
        m_desktop->killServer();
        QTRY_COMPARE(lost.count(), 1);
        QCOMPARE(lost.at(0).at(0).toString(),
                 u"the connection to the X server %1 was closed"_s.arg(m_desktop->display()));
        QVERIFY(!observer->connection().isAlive());
        QCOMPARE(observer->idleTime.presence(), Presence::Absent);
        QVERIFY(!observer->windows.hasAnswer());
        QVERIFY(std::isnan(observer->idleTime.secondsSinceLastInput()));
        QVERIFY(!observer->front());
        QVERIFY(!observer->windows.focusedWindowTitle(*application));

        // A closed socket that is still watched would wake the loop all the time.
        QVERIFY(wakeUpsOfAnIdleLoop() < 20);
        QCOMPARE(lost.count(), 1);
    }

    void aLossFoundByAQuestionIsReportedFromTheLoop()
    {
        const auto observer = X11Observer::on(m_desktop->display());
        QVERIFY(observer);
        QCOMPARE(observer->idleTime.presence(), Presence::Here);
        const QSignalSpy lost(&observer->connection(), &X11Connection::lost);
        m_desktop->killServer();
        QVERIFY(std::isnan(observer->idleTime.secondsSinceLastInput()));
        QVERIFY(!observer->front());
        QVERIFY(!observer->connection().isAlive());
        QCOMPARE(lost.count(), 0);
        QTRY_COMPARE(lost.count(), 1);
        QVERIFY(wakeUpsOfAnIdleLoop() < 20);
        QCOMPARE(lost.count(), 1);
    }

    void aConnectionMayBeReplacedWhenItsLossIsReported()
    {
        auto connection = X11Connection::open(m_desktop->display());
        QVERIFY(connection);
        std::unique_ptr<X11Connection> current = std::move(connection).value();
        connect(current.get(), &X11Connection::lost, this, [&current] { current.reset(); });
        m_desktop->killServer();
        QTRY_VERIFY(!current);
    }

private:
    std::unique_ptr<HeadlessX11> m_desktop;
};

QUILLSTEP_TEST(TestX11Connection)
#include "tst_x11_connection.moc"
