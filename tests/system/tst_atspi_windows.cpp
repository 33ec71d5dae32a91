// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/desktops/accessibility/accessibility_bus.h"
#include "backends/desktops/accessibility/accessible_front_window.h"
#include "tests/support/accessibility.h"
#include "tests/support/headless_x11.h"
#include "tests/support/heartbeat.h"
#include "tests/support/required_programs.h"
#include "tests/support/test_program.h"
#include "tests/support/test_window.h"
#include "tests/system/xdotool.h"

#include <QElapsedTimer>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>

#include <chrono>
#include <csignal>
#include <ctime>
#include <memory>
#include <optional>

using namespace Qt::StringLiterals;
using platform::atspi::AccessibilityBus;
using platform::atspi::AccessibleFrontWindow;
using platform::desktop::Presence;
using support::Accessibility;
using support::HeadlessX11;
using support::TestWindow;

namespace {
constexpr int kPatienceMs = 20000;
} // namespace

class TestAtspiWindows final : public QObject
{
    Q_OBJECT
private Q_SLOTS:

    void initTestCase()
    {
        REQUIRE_PROGRAMS(HeadlessX11::programs() + Accessibility::programs() +
                         TestWindow::programs() + QStringList{u"xdotool"_s});
    }

    void init()
    {
        // But for what Qt says when a name changes hands while it asks for its owner.
        QTest::failOnWarning(QRegularExpression(u"^(?!QDBusConnection: name )"_s));
        m_desktop = std::make_unique<HeadlessX11>();
        m_accessibility = std::make_unique<Accessibility>();
        check(m_desktop->start());
        check(m_accessibility->startBus(m_desktop->environment()));
    }

    void cleanup()
    {
        m_source.reset();
        m_bus.reset();
        m_accessibility.reset();
        m_desktop.reset();
    }

    void whereItIsNotThereNobodyStartsIt()
    {
        watch();
        QTRY_COMPARE_WITH_TIMEOUT(m_source->presence(), Presence::Absent, kPatienceMs);
        QVERIFY(!front());
        QVERIFY(!m_accessibility->hasService());
    }

    void whereItIsOffNothingIsAskedAndNothingSwitchedOn()
    {
        check(m_accessibility->startService());
        watch();
        QTRY_COMPARE_WITH_TIMEOUT(m_source->presence(), Presence::Absent, kPatienceMs);
        QVERIFY(!m_bus->isOn());
        QVERIFY(!m_source->advice().isEmpty());
    }

    void windowsOfBothToolkitsAreFollowed()
    {
        switchOn();
        watch();
        QTRY_COMPARE_WITH_TIMEOUT(m_source->presence(), Presence::Here, kPatienceMs);
        TestWindow qt(TestWindow::Toolkit::QtWidgets);
        TestWindow gtk(TestWindow::Toolkit::Gtk);
        check(qt.open(environment(), u"qt-one"_s, u"First"_s));
        QTRY_COMPARE_WITH_TIMEOUT(title(), u"First"_s, kPatienceMs);
        QCOMPARE(front()->processIdentifier, qt.pid());
        check(gtk.open(environment(), u"gtk-two"_s, u"Second"_s));
        QTRY_COMPARE_WITH_TIMEOUT(title(), u"Second"_s, kPatienceMs);
        QCOMPARE(front()->processIdentifier, gtk.pid());
        QCOMPARE(front()->identifiers, QStringList{u"gtk-two"_s});
        const auto before = front()->window;
        focus(u"First"_s);
        QTRY_COMPARE_WITH_TIMEOUT(title(), u"First"_s, kPatienceMs);
        QVERIFY(front()->window != before);
        focus(u"Second"_s);
        QTRY_COMPARE_WITH_TIMEOUT(title(), u"Second"_s, kPatienceMs);
        gtk.close();
        QTRY_COMPARE_WITH_TIMEOUT(title(), u"First"_s, kPatienceMs);
        qt.close();
        QTRY_VERIFY_WITH_TIMEOUT(!front(), kPatienceMs);
    }

    void aWindowThatIsThereBeforeIsFound()
    {
        switchOn();
        TestWindow qt(TestWindow::Toolkit::QtWidgets);
        TestWindow gtk(TestWindow::Toolkit::Gtk);
        check(gtk.open(environment(), u"gtk"_s, u"Behind"_s));
        check(qt.open(environment(), u"qt"_s, u"In front"_s));
        focus(u"In front"_s);
        watch();
        QTRY_COMPARE_WITH_TIMEOUT(title(), u"In front"_s, kPatienceMs);
    }

    void aChangedTitleIsFollowed_data()
    {
        QTest::addColumn<TestWindow::Toolkit>("toolkit");
        QTest::newRow("Qt") << TestWindow::Toolkit::QtWidgets;
        QTest::newRow("GTK") << TestWindow::Toolkit::Gtk;
    }

    void aChangedTitleIsFollowed()
    {
        QFETCH(TestWindow::Toolkit, toolkit);
        switchOn();
        watch();
        TestWindow window(toolkit);
        check(window.open(environment(), u"one"_s, u"Before"_s));
        QTRY_COMPARE_WITH_TIMEOUT(title(), u"Before"_s, kPatienceMs);
        const auto number = front()->window;
        check(window.setTitle(u"Grüße 🙂"_s));
        QTRY_COMPARE_WITH_TIMEOUT(title(), u"Grüße 🙂"_s, kPatienceMs);
        QCOMPARE(front()->window, number);
        check(window.setTitle(QString()));
        QTRY_COMPARE_WITH_TIMEOUT(title(), u"(no title)"_s, kPatienceMs);
    }

    void aLongTitleIsCut()
    {
        switchOn();
        watch();
        TestWindow window(TestWindow::Toolkit::QtWidgets);
        check(window.open(environment(), u"one"_s, QString(20'000, u'é')));
        QTRY_VERIFY_WITH_TIMEOUT(front(), kPatienceMs);
        QCOMPARE(title(), QString(8192, u'é'));
    }

    void thousandsOfTitlesEndWithTheLast()
    {
        switchOn();
        watch();
        TestWindow window(TestWindow::Toolkit::Gtk);
        check(window.open(environment(), u"one"_s, u"Before"_s));
        QTRY_COMPARE_WITH_TIMEOUT(title(), u"Before"_s, kPatienceMs);
        const std::clock_t before = std::clock();
        check(window.changeTitles(u"Title"_s, 2000, std::chrono::seconds(2)));
        const double used = double(std::clock() - before) / CLOCKS_PER_SEC;
        qInfo("2000 titles within 2 s: %.0f ms of processor time", used * 1000);
        QTRY_COMPARE_WITH_TIMEOUT(title(), u"Title 2000"_s, kPatienceMs);
    }

    void aProgramWithoutAccessibilityIsNotInFront()
    {
        switchOn();
        watch();
        TestWindow seen(TestWindow::Toolkit::QtWidgets);
        TestWindow unseen(TestWindow::Toolkit::Qt);
        check(seen.open(environment(), u"qt-one"_s, u"Seen"_s));
        QTRY_COMPARE_WITH_TIMEOUT(title(), u"Seen"_s, kPatienceMs);
        check(unseen.open(environment(), u"qt-two"_s, u"Unseen"_s));
        focus(u"Unseen"_s);
        QTRY_VERIFY_WITH_TIMEOUT(!front(), kPatienceMs);
        unseen.close();
        QTRY_COMPARE_WITH_TIMEOUT(title(), u"Seen"_s, kPatienceMs);
    }

    void aProgramThatHangsIsNotInFrontAndDelaysNobody()
    {
        switchOn();
        watch();
        TestWindow hangs(TestWindow::Toolkit::Gtk);
        // Qt tells nothing of a window that gets the focus back within 400 ms, and the program that
        // hangs cannot tell that it has lost it.
        TestWindow other(TestWindow::Toolkit::Gtk);
        check(other.open(environment(), u"gtk-two"_s, u"Other"_s));
        check(hangs.open(environment(), u"gtk-one"_s, u"Hangs"_s));
        QTRY_COMPARE_WITH_TIMEOUT(title(), u"Hangs"_s, kPatienceMs);
        support::Heartbeat heartbeat;
        ::kill(static_cast<pid_t>(hangs.pid()), SIGSTOP);
        QTRY_VERIFY_WITH_TIMEOUT(!front(), kPatienceMs);
        QVERIFY2(heartbeat.longestGap() < 100, qPrintable(QString::number(heartbeat.longestGap())));
        focus(u"Other"_s);
        heartbeat.restart();
        QTRY_COMPARE_WITH_TIMEOUT(title(), u"Other"_s, kPatienceMs);
        // Somebody who begins to look now is not held up either.
        AccessibleFrontWindow late(*m_bus);
        QTRY_VERIFY_WITH_TIMEOUT((late.update(), late.frontWindow()), kPatienceMs);
        QCOMPARE(late.frontWindow()->title, std::optional(u"Other"_s));
        QVERIFY2(heartbeat.longestGap() < 100, qPrintable(QString::number(heartbeat.longestGap())));
        ::kill(static_cast<pid_t>(hangs.pid()), SIGCONT);
        focus(u"Hangs"_s);
        QTRY_COMPARE_WITH_TIMEOUT(title(), u"Hangs"_s, kPatienceMs);
    }

    void aProgramThatDiesIsNotInFront()
    {
        switchOn();
        watch();
        TestWindow window(TestWindow::Toolkit::Gtk);
        check(window.open(environment(), u"one"_s, u"Dies"_s));
        QTRY_COMPARE_WITH_TIMEOUT(title(), u"Dies"_s, kPatienceMs);
        ::kill(static_cast<pid_t>(window.pid()), SIGKILL);
        QTRY_VERIFY_WITH_TIMEOUT(!front(), kPatienceMs);
    }

    void switchingOffAndOnIsFollowed()
    {
        switchOn();
        watch();
        TestWindow window(TestWindow::Toolkit::Gtk);
        check(window.open(environment(), u"one"_s, u"Window"_s));
        QTRY_COMPARE_WITH_TIMEOUT(title(), u"Window"_s, kPatienceMs);
        QSignalSpy changes(m_source.get(), &AccessibleFrontWindow::presenceChanged);
        check(m_accessibility->switchOff());
        QTRY_COMPARE_WITH_TIMEOUT(m_source->presence(), Presence::Absent, kPatienceMs);
        QVERIFY(!front());
        check(m_accessibility->switchOn());
        QTRY_COMPARE_WITH_TIMEOUT(title(), u"Window"_s, kPatienceMs);
        QCOMPARE(m_source->presence(), Presence::Here);
        QVERIFY(changes.size() >= 2);
    }

    void aServiceThatComesLaterIsUsed()
    {
        watch();
        QTRY_COMPARE_WITH_TIMEOUT(m_source->presence(), Presence::Absent, kPatienceMs);
        switchOn();
        QTRY_COMPARE_WITH_TIMEOUT(m_source->presence(), Presence::Here, kPatienceMs);
    }

    void aBusThatIsKilledAndComesBackIsUsedAgain()
    {
        switchOn();
        watch();
        QTRY_COMPARE_WITH_TIMEOUT(m_source->presence(), Presence::Here, kPatienceMs);
        check(m_accessibility->killAccessibilityBus());
        QTRY_COMPARE_WITH_TIMEOUT(m_source->presence(), Presence::Absent, kPatienceMs);
        m_accessibility->killService();
        switchOn();
        QTRY_COMPARE_WITH_TIMEOUT(m_source->presence(), Presence::Here, kPatienceMs);
        TestWindow window(TestWindow::Toolkit::Gtk);
        check(window.open(environment(), u"one"_s, u"Window"_s));
        QTRY_COMPARE_WITH_TIMEOUT(title(), u"Window"_s, kPatienceMs);
    }

private:
    static void check(const platform::Outcome& outcome)
    {
        QVERIFY2(outcome, outcome ? "" : qPrintable(outcome.error().text));
    }

    void switchOn()
    {
        check(m_accessibility->startService());
        check(m_accessibility->switchOn());
    }

    void watch()
    {
        m_bus = std::make_unique<AccessibilityBus>(m_accessibility->connection());
        m_source = std::make_unique<AccessibleFrontWindow>(*m_bus);
    }

    QProcessEnvironment environment() const { return m_accessibility->environment(); }

    /// As a tick sees it.
    std::optional<platform::desktop::FrontWindow> front()
    {
        m_source->update();
        return m_source->frontWindow();
    }

    QString title()
    {
        const auto window = front();
        return window ? window->title.value_or(u"(no title)"_s) : u"(none)"_s;
    }

    void focus(const QString& name)
    {
        QVERIFY(xdotool(
            *m_desktop,
            {u"search"_s, u"--name"_s, u'^' + name + u'$', u"windowactivate"_s, u"--sync"_s}));
    }

    std::unique_ptr<HeadlessX11> m_desktop;
    std::unique_ptr<Accessibility> m_accessibility;
    std::unique_ptr<AccessibilityBus> m_bus;
    std::unique_ptr<AccessibleFrontWindow> m_source;
};

QUILLSTEP_TEST(TestAtspiWindows)
#include "tst_atspi_windows.moc"
