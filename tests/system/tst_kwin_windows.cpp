// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/headless_kwin.h"
#include "tests/support/required_programs.h"
#include "tests/support/test_program.h"
#include "tests/support/test_window.h"
#include "tests/support/wake_ups.h"
#include "tests/system/kwin_observer.h"

#include <QElapsedTimer>
#include <QRegularExpression>
#include <QTest>

#include <chrono>
#include <memory>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using support::ChildProcess;
using support::HeadlessKWin;
using support::TestWindow;

class TestKWinWindows final : public QObject
{
    Q_OBJECT
private Q_SLOTS:

    void initTestCase()
    {
        REQUIRE_PROGRAMS(m_session.programs() + TestWindow::programs()
                         << u"xterm"_s << u"dbus-monitor"_s);
        VERIFY_OUTCOME(m_session.start());
    }

    void init()
    {
        // But for what Qt says when a name changes hands while it asks for its owner.
        QTest::failOnWarning(QRegularExpression(u"^(?!QDBusConnection: name )"_s));
        m_observer = std::make_unique<KWinObserver>(m_session.busAddress());
        QTRY_VERIFY(m_observer->isHere());
        QTRY_COMPARE(m_observer->identifier(), u"(none)"_s);
    }

    void cleanup() { m_observer.reset(); }

    void everyChangeOfFocusAndTitleIsSeen()
    {
        TestWindow one;
        TestWindow two(TestWindow::Toolkit::Gtk);
        VERIFY_OUTCOME(one.open(m_session.environment(), u"one"_s, u"First"_s));
        VERIFY_OUTCOME(two.open(m_session.environment(), u"two"_s, u"Second"_s));
        VERIFY_OUTCOME(m_session.focus(two)); // which a new window takes by itself, sooner or later
        for (int i = 0; i < 20; ++i) {
            TestWindow& window = i % 2 == 0 ? one : two;
            VERIFY_OUTCOME(m_session.focus(window));
            QTRY_COMPARE(m_observer->identifier(), window.identifier());
            QCOMPARE(m_observer->process(), window.pid());
            const QString title = u"Grüße 😀 %1"_s.arg(i);
            VERIFY_OUTCOME(window.setTitle(title));
            QTRY_COMPARE(m_observer->title(), title);
            QCOMPARE(m_observer->identifier(), window.identifier());
        }
    }

    void aWindowKeepsItsNumber()
    {
        TestWindow one;
        TestWindow two;
        VERIFY_OUTCOME(one.open(m_session.environment(), u"one"_s, u"First"_s));
        QTRY_COMPARE(m_observer->identifier(), u"one"_s);
        const auto first = m_observer->windows().frontWindow();
        VERIFY_OUTCOME(two.open(m_session.environment(), u"one"_s, u"First"_s));
        QTRY_COMPARE(m_observer->process(), two.pid());
        QVERIFY(first && m_observer->windows().frontWindow()->window != first->window);
        VERIFY_OUTCOME(m_session.focus(one));
        QTRY_COMPARE(m_observer->process(), one.pid());
        QCOMPARE(m_observer->windows().frontWindow()->window, first->window);
    }

    void theTitleOfAnotherWindowChangesNothing()
    {
        TestWindow one;
        TestWindow two;
        VERIFY_OUTCOME(one.open(m_session.environment(), u"one"_s, u"First"_s));
        VERIFY_OUTCOME(two.open(m_session.environment(), u"two"_s, u"Second"_s));
        VERIFY_OUTCOME(m_session.focus(two));
        VERIFY_OUTCOME(m_session.focus(one));
        QTRY_COMPARE(m_observer->identifier(), u"one"_s);
        VERIFY_OUTCOME(two.setTitle(u"Changed"_s));
        VERIFY_OUTCOME(one.setTitle(u"Newer"_s));
        QTRY_COMPARE(m_observer->title(), u"Newer"_s);
        QCOMPARE(m_observer->identifier(), u"one"_s);
    }

    void onAnEmptyWorkspaceNothingIsInFront()
    {
        TestWindow window;
        VERIFY_OUTCOME(window.open(m_session.environment(), u"one"_s, u"First"_s));
        QTRY_COMPARE(m_observer->identifier(), u"one"_s);
        VERIFY_OUTCOME(m_session.showEmptyWorkspace());
        QTRY_COMPARE(m_observer->identifier(), u"(none)"_s);
        VERIFY_OUTCOME(m_session.showFirstWorkspace());
        QTRY_COMPARE(m_observer->identifier(), u"one"_s);
    }

    void aWindowThatIsThereBeforeIsSeen()
    {
        TestWindow window;
        VERIFY_OUTCOME(window.open(m_session.environment(), u"one"_s, u"First"_s));
        VERIFY_OUTCOME(m_session.focus(window));
        const KWinObserver later(m_session.busAddress());
        QTRY_COMPARE(later.identifier(), u"one"_s);
        QCOMPARE(later.title(), u"First"_s);
    }

    void aWindowOfXIsSeenLikeAnyOther()
    {
        ChildProcess xterm;
        VERIFY_OUTCOME(xterm.start(
            u"xterm"_s, {u"-T"_s, u"Terminal work"_s, u"-e"_s, u"cat"_s}, m_session.environment()));
        QTRY_COMPARE(m_observer->title(), u"Terminal work"_s);
        QCOMPARE(m_observer->identifier(), u"xterm"_s);
        QCOMPARE(m_observer->process(), xterm.pid());
        xterm.stop();
        QTRY_COMPARE(m_observer->identifier(), u"(none)"_s);
    }

    void theDesktopItselfIsNotInFront()
    {
        TestWindow window;
        VERIFY_OUTCOME(window.open(m_session.environment(), u"one"_s, u"First"_s));
        QTRY_COMPARE(m_observer->identifier(), u"one"_s);
        ChildProcess desktop;
        VERIFY_OUTCOME(openDesktop(desktop));
        const QString activate =
            u"const list = workspace.clientList ? workspace.clientList() : workspace.windowList();"
            "for (const w of list) if (w.caption === 'Icons') {"
            "    if (workspace.clientList) workspace.activeClient = w;"
            "    else workspace.activeWindow = w; }"
            "const active = workspace.clientList ? workspace.activeClient : workspace.activeWindow;"
            "say(active ? active.caption : 'nothing')"_s;
        QTRY_COMPARE_WITH_TIMEOUT(m_session.scripts().run(activate), u"Icons"_s, 20000);
        QTRY_COMPARE(m_observer->identifier(), u"(none)"_s);
        VERIFY_OUTCOME(m_session.focus(window));
        QTRY_COMPARE(m_observer->identifier(), u"one"_s);
    }

    void aFloodOfTitlesEndsWithTheLastOneAndStaysSmall()
    {
        TestWindow window;
        VERIFY_OUTCOME(window.open(m_session.environment(), u"one"_s, u"First"_s));
        QTRY_COMPARE(m_observer->identifier(), u"one"_s);
        ChildProcess monitor;
        VERIFY_OUTCOME(monitor.start(
            u"dbus-monitor"_s,
            {u"--address"_s,
             m_session.busAddress(),
             u"--profile"_s,
             u"type='method_call',interface='%1'"_s.arg(platform::kwin::reportInterface())},
            m_session.environment()));
        QByteArray seen;
        const auto reports = [&] {
            seen += monitor.process().readAllStandardOutput();
            return seen.count(m_observer->windows().script().path.toUtf8());
        };
        // It watches once it has seen something.
        int warmUp = 0;
        QTRY_VERIFY(window.setTitle(u"Warm %1"_s.arg(++warmUp)) && reports() > 0);
        const qsizetype before = reports();
        QElapsedTimer flood;
        flood.start();
        VERIFY_OUTCOME(window.changeTitles(u"Flood"_s, 10000, 10s));
        QTRY_COMPARE_WITH_TIMEOUT(m_observer->title(), u"Flood 10000"_s, 20000);
        const qint64 lasted = flood.elapsed();
        QTRY_VERIFY(reports() - before > 10);
        const qsizetype sent = reports() - before;
        // At most four a second.
        QVERIFY2(sent <= lasted / 250 + 10, qPrintable(QString::number(sent)));
    }

    void titlesInTheBackgroundWakeNobody()
    {
        TestWindow background;
        TestWindow window;
        VERIFY_OUTCOME(background.open(m_session.environment(), u"one"_s, u"First"_s));
        VERIFY_OUTCOME(window.open(m_session.environment(), u"two"_s, u"Second"_s));
        VERIFY_OUTCOME(m_session.focus(window));
        QTRY_COMPARE(m_observer->identifier(), u"two"_s);
        const long before = support::wakeUps();
        VERIFY_OUTCOME(background.changeTitles(u"Spinner"_s, 100, 10s));
        const long times = support::wakeUps() - before;
        qInfo("woken %ld times by 100 titles in 10 s", times);
        QVERIFY(times <= 15); // by what else there is
    }

    void aFloodOfTitlesInFrontHardlyWakesUs()
    {
        TestWindow window;
        VERIFY_OUTCOME(window.open(m_session.environment(), u"one"_s, u"First"_s));
        QTRY_COMPARE(m_observer->identifier(), u"one"_s);
        const long before = support::wakeUps();
        VERIFY_OUTCOME(window.changeTitles(u"Title"_s, 2000, 10s));
        const long times = support::wakeUps() - before;
        qInfo("woken %ld times by 2000 titles in 10 s", times);
        QVERIFY(times <= 60);
        QTRY_COMPARE(m_observer->title(), u"Title 2000"_s);
    }

private:
    /// Opens what draws the desktop's icons.
    platform::Outcome openDesktop(ChildProcess& program)
    {
        const QString text = u"import gi\n"
                             "gi.require_version('Gtk', '3.0')\n"
                             "gi.require_version('Gdk', '3.0')\n"
                             "from gi.repository import Gdk, Gtk\n"
                             "window = Gtk.Window(title='Icons')\n"
                             "window.set_type_hint(Gdk.WindowTypeHint.DESKTOP)\n"
                             "window.show_all()\n"
                             "Gtk.main()\n"_s;
        QProcessEnvironment environment = m_session.environment();
        environment.insert(u"GDK_BACKEND"_s, u"x11"_s);
        return program.start(u"/usr/bin/python3"_s, {u"-c"_s, text}, environment);
    }

    HeadlessKWin m_session{HeadlessKWin::Extra::XWayland};
    std::unique_ptr<KWinObserver> m_observer;
};

QUILLSTEP_TEST(TestKWinWindows)
#include "tst_kwin_windows.moc"
