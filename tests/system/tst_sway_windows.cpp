// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/allocated_memory.h"
#include "tests/support/headless_sway.h"
#include "tests/support/required_programs.h"
#include "tests/support/test_program.h"
#include "tests/support/test_window.h"
#include "tests/support/wake_ups.h"
#include "tests/system/wayland_observer.h"

#include <QElapsedTimer>
#include <QFile>
#include <QLocalServer>
#include <QLocalSocket>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <chrono>
#include <cmath>
#include <ctime>
#include <utility>

using namespace Qt::StringLiterals;
using platform::desktop::FrontWindow;
using platform::desktop::Presence;
using platform::wayland::WaylandConnection;
using support::HeadlessSway;
using support::TestWindow;

namespace {

double processorSeconds()
{
    timespec time{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return double(time.tv_sec) + double(time.tv_nsec) / 1e9;
}

/// How often this thread is woken since the beginning: the other programs may take longer than they
/// were told to.
class WakeUpRate final
{
public:
    WakeUpRate() { m_time.start(); }

    [[nodiscard]] double perSecond() const
    {
        return double(support::wakeUps() - m_before) * 1e9 / double(m_time.nsecsElapsed());
    }

private:
    long m_before = support::wakeUps();
    QElapsedTimer m_time;
};

} // namespace

class TestSwayWindows final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase() { REQUIRE_PROGRAMS(HeadlessSway().programs() << u"xterm"_s); }

    void init()
    {
        QTest::failOnWarning(QRegularExpression(u".*"_s));
        m_sway = std::make_unique<HeadlessSway>();
        check(m_sway->start());
        m_observer = WaylandObserver::on(*m_sway);
        QVERIFY(m_observer);
        QCOMPARE(m_observer->windows.presence(), Presence::Here);
    }

    void cleanup()
    {
        m_observer.reset();
        m_sway.reset();
    }

    /// For a moment, until both peers have told of it, the process is already that of the new
    /// window and the number still that of the old one: nothing but the number tells them apart.
    void theProcessIsRightOfTwoWindowsThatLookTheSame()
    {
        TestWindow first;
        TestWindow second;
        open(first, u"one"_s, u"Same"_s);
        QTRY_COMPARE(frontProcess(), first.pid());
        const std::pair firstWindow(first.pid(), front()->window);
        open(second, u"one"_s, u"Same"_s);
        QTRY_VERIFY(front() && front()->window != firstWindow.second);
        QTRY_COMPARE(frontProcess(), second.pid());
        const std::pair secondWindow(second.pid(), front()->window);
        for (int round = 0; round < 3; ++round) {
            check(m_sway->focus(first));
            QTRY_COMPARE(frontProcessAndWindow(), firstWindow);
            check(m_sway->focus(second));
            QTRY_COMPARE(frontProcessAndWindow(), secondWindow);
        }
    }

    void everythingIsToldOfAWindow()
    {
        TestWindow window(TestWindow::Toolkit::Gtk);
        open(window, u"org.example.one"_s, u"Grüße 😀"_s);
        QTRY_COMPARE(frontProcess(), window.pid());
        QCOMPARE(front()->identifiers, QStringList{u"org.example.one"_s});
        QCOMPARE(front()->title, std::optional(u"Grüße 😀"_s));
        QVERIFY(!front()->name);
        check(window.setTitle(u"Second"_s));
        QTRY_COMPARE(frontTitle(), u"Second"_s);
        QCOMPARE(frontProcess(), window.pid());
    }

    void anXProgramAppearsByItsClass()
    {
        support::ChildProcess xterm;
        check(xterm.start(u"xterm"_s,
                          {u"-title"_s, u"Shell"_s, u"-e"_s, u"cat"_s},
                          m_sway->environment(),
                          m_sway->logFile(u"xterm"_s)));
        check(m_sway->focusProcess(xterm.pid()));
        QTRY_COMPARE(frontTitle(), u"Shell"_s);
        QCOMPARE(front()->identifiers, QStringList{u"XTerm"_s});
        QTRY_COMPARE(frontProcess(), xterm.pid());
    }

    void nothingIsInFrontOfAnEmptyWorkspace()
    {
        TestWindow window;
        open(window, u"one"_s, u"First"_s);
        QTRY_COMPARE(frontProcess(), window.pid());
        const std::uint64_t number = front()->window;
        for (int round = 0; round < 3; ++round) {
            check(m_sway->showEmptyWorkspace());
            QTRY_VERIFY(!front());
            check(m_sway->showFirstWorkspace());
            QTRY_COMPARE(frontProcess(), window.pid());
            QCOMPARE(front()->window, number);
        }
    }

    void readingItsSettingsAgainChangesNothing()
    {
        TestWindow first;
        TestWindow second;
        open(first, u"one"_s, u"First"_s);
        open(second, u"two"_s, u"Second"_s);
        QTRY_COMPARE(frontProcess(), second.pid());
        check(m_sway->reload());
        QTRY_COMPARE(frontProcess(), second.pid());
        check(m_sway->focus(first));
        QTRY_COMPARE(frontProcess(), first.pid());
        QCOMPARE(frontTitle(), u"First"_s);
        QVERIFY(m_observer->connection->isAlive());
        QCOMPARE(m_observer->windows.presence(), Presence::Here);
    }

    void aFloodOfTitlesEndsWithTheLastOne()
    {
        TestWindow window;
        open(window, u"one"_s, u"First"_s);
        QTRY_COMPARE(frontProcess(), window.pid());
        check(window.changeTitles(u"Warm"_s, 1000, std::chrono::seconds(1)));
        QTRY_COMPARE(frontTitle(), u"Warm 1000"_s);
        const std::size_t memoryBefore = support::allocatedMemory();
        const double processorBefore = processorSeconds();
        const long wakeUpsBefore = support::wakeUps();
        check(window.changeTitles(u"Title"_s, 10000, std::chrono::seconds(10)));
        QTRY_COMPARE(frontTitle(), u"Title 10000"_s);
        const double processor = processorSeconds() - processorBefore;
        const long wakeUps = support::wakeUps() - wakeUpsBefore;
        const auto memory = qint64(support::allocatedMemory()) - qint64(memoryBefore);
        qInfo("10000 titles in 10 s: %.0f ms of processor, %ld wake-ups, %lld bytes",
              processor * 1000,
              wakeUps,
              memory);
        QVERIFY(wakeUps < 1000); // a tenth of the titles; the socket is read four times a second
        QVERIFY(memory <
                10000 * 50); // of what passes through nothing stays; allocators count coarsely
        QTRY_COMPARE(frontProcess(), window.pid());
    }

    void titlesInTheBackgroundHardlyWakeUs()
    {
        TestWindow background;
        TestWindow window;
        open(background, u"one"_s, u"First"_s);
        open(window, u"two"_s, u"Second"_s);
        QTRY_COMPARE(frontProcess(), window.pid());
        // Pauses are short while a series is.
        check(background.changeTitles(u"Spinner"_s, 50, std::chrono::seconds(5)));
        const WakeUpRate rate;
        check(background.changeTitles(u"Spinner"_s, 100, std::chrono::seconds(10)));
        qInfo("woken %.1f times a second by 100 titles in 10 s", rate.perSecond());
        QVERIFY(rate.perSecond() <= 5);
        QCOMPARE(frontTitle(), u"Second"_s);
    }

    void aFloodOfTitlesInFrontHardlyWakesUs()
    {
        TestWindow window;
        open(window, u"one"_s, u"First"_s);
        QTRY_COMPARE(frontProcess(), window.pid());
        check(window.changeTitles(u"Title"_s, 1000, std::chrono::seconds(5)));
        const WakeUpRate rate;
        check(window.changeTitles(u"Title"_s, 2000, std::chrono::seconds(10)));
        qInfo("woken %.1f times a second by 2000 titles in 10 s", rate.perSecond());
        QVERIFY(rate.perSecond() <= 5);
        QTRY_COMPARE(frontTitle(), u"Title 2000"_s);
    }

    /// While titles come in a series the socket is read only now and then, but a question is
    /// answered by what has come.
    void aChangeOfFocusJustBeforeTheQuestionCounts()
    {
        TestWindow background;
        TestWindow window;
        open(window, u"two"_s, u"Second"_s);
        open(background, u"one"_s, u"First"_s);
        QTRY_COMPARE(frontProcess(), background.pid());
        check(m_sway->focus(window));
        QTRY_COMPARE(frontProcess(), window.pid());
        for (int round = 0; round < 10; ++round) {
            check(background.changeTitles(u"Spinner"_s, 20, std::chrono::seconds(2)));
            const TestWindow& next = round % 2 == 0 ? background : window;
            // It ends when sway has answered, and no event is handled here meanwhile.
            check(m_sway->command({u"[pid=%1]"_s.arg(next.pid()), u"focus"_s}));
            m_observer->windows.update();
            QCOMPARE(frontProcess(), next.pid());
            QCOMPARE(frontTitle(), round % 2 == 0 ? u"Spinner 20"_s : u"Second"_s);
        }
    }

    void askingCostsNothing()
    {
        TestWindow window;
        open(window, u"one"_s, u"First"_s);
        QTRY_COMPARE(frontProcess(), window.pid());
        // Whoever asked the compositor each time would wait for it each time.
        const long before = support::wakeUps();
        for (int i = 0; i < 10000; ++i) {
            m_observer->windows.update();
            QVERIFY(m_observer->windows.frontWindow());
        }
        const long times = support::wakeUps() - before;
        QVERIFY2(times < 100, qPrintable(QString::number(times)));
    }

    void aLostDisplayIsReportedOnceAndAnswersNothing()
    {
        TestWindow window;
        open(window, u"one"_s, u"First"_s);
        QTRY_COMPARE(frontTitle(), u"First"_s);
        QSignalSpy lost(m_observer->connection.get(), &WaylandConnection::lost);
        QSignalSpy presence(&m_observer->windows,
                            &platform::desktop::FrontWindowSource::presenceChanged);
        m_sway->killDisplay();
        QTRY_COMPARE(lost.count(), 1);
        QCOMPARE(
            lost.first().first().toString(),
            u"the connection to the Wayland display %1 was closed"_s.arg(m_sway->waylandDisplay()));
        QVERIFY(!m_observer->connection->isAlive());
        QVERIFY(!front());
        QVERIFY(std::isnan(m_observer->idleTime.secondsSinceLastInput()));
        QCOMPARE(m_observer->windows.presence(), Presence::Absent);
        QCOMPARE(presence.count(), 1);
        m_observer->connection->flush();
        // Whatever is still to be told comes before a new connection has failed.
        QVERIFY(!WaylandConnection::check(m_sway->waylandDisplay()));
        QCoreApplication::processEvents();
        QCOMPARE(lost.count(), 1);
    }

    void withoutSwaysSocketThereIsNoProcess()
    {
        observeWith({});
        expectNoProcess();
    }

    void withAMissingSocketThereIsNoProcess()
    {
        const QTemporaryDir folder;
        observeWith(folder.filePath(u"missing"_s));
        expectNoProcess();
    }

    void withAnotherServersSocketThereIsNoProcess()
    {
        const QTemporaryDir folder;
        QLocalServer server;
        QVERIFY(server.listen(folder.filePath(u"socket"_s)));
        connect(&server, &QLocalServer::newConnection, &server, [&server] {
            server.nextPendingConnection()->write("220 mail.example.org ready\r\n");
        });
        QSignalSpy connected(&server, &QLocalServer::newConnection);
        observeWith(folder.filePath(u"socket"_s));
        TestWindow window;
        open(window, u"one"_s, u"First"_s);
        QTRY_COMPARE(frontTitle(), u"First"_s);
        // It is tried again, and hung up on again.
        QTRY_VERIFY(connected.count() >= 3);
        QCOMPARE(frontProcess(), 0);
    }

    void aSocketThatComesLaterIsFound()
    {
        const QTemporaryDir folder;
        const QString socket = folder.filePath(u"socket"_s);
        observeWith(socket);
        TestWindow window;
        open(window, u"one"_s, u"First"_s);
        QTRY_COMPARE(frontTitle(), u"First"_s);
        QCOMPARE(frontProcess(), 0);
        QVERIFY(QFile::link(m_sway->swaySocket(), socket));
        QTRY_COMPARE(frontProcess(), window.pid());
    }

    void aChangeIsKnownAtOnce()
    {
        TestWindow window;
        open(window, u"one"_s, u"First"_s);
        QTRY_COMPARE(frontTitle(), u"First"_s);
        QElapsedTimer timer;
        timer.start();
        check(window.setTitle(u"Second"_s));
        QTRY_COMPARE(frontTitle(), u"Second"_s);
        qInfo("order to another program until its title is known: %.1f ms",
              double(timer.nsecsElapsed()) / 1e6);
        QVERIFY(timer.elapsed() < 1000);
    }

private:
    static void check(const platform::Outcome& outcome)
    {
        QVERIFY2(outcome, outcome ? "" : qPrintable(outcome.error().text));
    }

    void open(TestWindow& window, const QString& identifier, const QString& title)
    {
        check(window.open(m_sway->environment(), identifier, title));
        check(m_sway->focus(window));
    }

    void observeWith(const QString& swaySocket)
    {
        m_observer = WaylandObserver::on(m_sway->waylandDisplay(), swaySocket);
        QVERIFY(m_observer);
    }

    void expectNoProcess()
    {
        TestWindow window;
        open(window, u"one"_s, u"First"_s);
        QTRY_COMPARE(frontTitle(), u"First"_s);
        QCOMPARE(front()->identifiers, QStringList{u"one"_s});
        QCOMPARE(frontProcess(), 0);
        check(m_sway->showEmptyWorkspace());
        QTRY_VERIFY(!front());
    }

    [[nodiscard]] std::optional<FrontWindow> front() { return m_observer->windows.frontWindow(); }

    [[nodiscard]] qint64 frontProcess()
    {
        return front().value_or(FrontWindow()).processIdentifier;
    }

    [[nodiscard]] std::pair<qint64, std::uint64_t> frontProcessAndWindow()
    {
        const FrontWindow window = front().value_or(FrontWindow());
        return {window.processIdentifier, window.window};
    }

    [[nodiscard]] QString frontTitle()
    {
        return front().value_or(FrontWindow()).title.value_or(QString());
    }

    std::unique_ptr<HeadlessSway> m_sway;
    std::unique_ptr<WaylandObserver> m_observer;
};

QUILLSTEP_TEST(TestSwayWindows)
#include "tst_sway_windows.moc"
