// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// The executable's windows, its single instance and its ways to the front, on a private desktop.
#include "tests/support/agent.h"
#include "tests/support/child_process.h"
#include "tests/support/passing_time.h"
#include "tests/support/required_programs.h"
#include "tests/support/signed_in_desktop.h"
#include "tests/support/test_program.h"
#include "tests/support/x11_test_window.h"
#include "tests/system/xdotool.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QTest>

#include <algorithm>
#include <chrono>
#include <memory>

using support::Account;
using support::Agent;
using support::SignedInDesktop;

namespace {

constexpr int kPatienceMs = 20000;
const QString kDashboard = QStringLiteral("Dashboard");
const QString kLogin = QStringLiteral("Login");
const QString kSettings = QStringLiteral("Settings");

} // namespace

class TestShell final : public QObject
{
    Q_OBJECT

    std::unique_ptr<SignedInDesktop> m_desktop;
    std::unique_ptr<Agent> m_agent;

    void prepare(Account account)
    {
        m_desktop = std::make_unique<SignedInDesktop>();
        const platform::Outcome started = m_desktop->start(account);
        QVERIFY2(bool(started), started ? "" : qPrintable(started.error().text));
        m_agent = std::make_unique<Agent>(m_desktop->environment());
    }

    [[nodiscard]] qsizetype count(const QString& title) const
    {
        return m_desktop->windowsTitled(title).size();
    }

    /// Runs a further start of the program to its end: its exit code, -1 when it does not end.
    int startAgain(const QStringList& arguments = {})
    {
        Agent second(m_desktop->environment());
        return second.start(arguments) ? second.waitForEnd().value_or(-1) : -1;
    }

    QString outputOf(const QString& program, const QStringList& arguments)
    {
        support::ChildProcess child;
        if (!child.start(program, arguments, m_desktop->environment()) ||
            !child.process().waitForFinished(kPatienceMs))
            return QStringLiteral("(failed)");
        return QString::fromUtf8(child.process().readAllStandardOutput()).trimmed();
    }

    QString ask(const QString& method, const QStringList& arguments)
    {
        return outputOf(
            QStringLiteral("gdbus"),
            QStringList{QStringLiteral("call"),
                        QStringLiteral("--session"),
                        QStringLiteral("--dest=com.velomira.UsageMonitor"),
                        QStringLiteral("--object-path=/com/velomira/UsageMonitor"),
                        QStringLiteral("--method=org.freedesktop.Application.") + method} +
                arguments);
    }

    /// Whether an instance has the name on the bus.
    [[nodiscard]] bool runs()
    {
        return outputOf(QStringLiteral("gdbus"),
                        {QStringLiteral("call"),
                         QStringLiteral("--session"),
                         QStringLiteral("--dest=org.freedesktop.DBus"),
                         QStringLiteral("--object-path=/org/freedesktop/DBus"),
                         QStringLiteral("--method=org.freedesktop.DBus.NameHasOwner"),
                         QStringLiteral("com.velomira.UsageMonitor")}) ==
               QLatin1StringView("(true,)");
    }

    [[nodiscard]] bool skipsTaskbar(const QString& title)
    {
        const QString window = m_desktop->windowsTitled(title).value(0);
        return outputOf(QStringLiteral("xprop"),
                        {QStringLiteral("-id"), window, QStringLiteral("_NET_WM_STATE")})
            .contains(QStringLiteral("_NET_WM_STATE_SKIP_TASKBAR"));
    }

    void close(const QString& title)
    {
        const platform::Outcome closed = m_desktop->closeWindow(title);
        QVERIFY2(bool(closed), closed ? "" : qPrintable(closed.error().text));
    }

private Q_SLOTS:

    void initTestCase()
    {
        REQUIRE_PROGRAMS(SignedInDesktop::programs()
                         << QStringLiteral("gdbus") << QStringLiteral("xprop"));
    }

    void cleanup()
    {
        if (m_desktop)
            m_desktop->keyring().resume(); // else one that a failed test has paused never ends
        m_agent.reset();
        m_desktop.reset();
    }

    void signedOutTheLoginWindowOpensAndNothingIsRecorded()
    {
        prepare(Account::SignedOut);
        QVERIFY(bool(m_agent->start()));
        QTRY_COMPARE_WITH_TIMEOUT(count(kLogin), 1, kPatienceMs);
        QTRY_COMPARE_WITH_TIMEOUT(m_desktop->focusedTitle(), kLogin, kPatienceMs);
        QTRY_VERIFY(!skipsTaskbar(kLogin));
        const auto isAlone = [this] {
            return m_agent->lines().isEmpty() && count(kLogin) == 1 && count(kDashboard) == 0;
        };
        QVERIFY(support::staysSo(std::chrono::milliseconds(2500), isAlone));
        QCOMPARE(m_agent->end(), std::optional(0));
        QCOMPARE(m_agent->complaints(), QString());
    }

    void aKeyringThatIsSlowToAnswerShowsNoLoginWindow()
    {
        prepare(Account::SignedIn);
        m_desktop->keyring().pause();
        QVERIFY(bool(m_agent->start()));
        QTRY_VERIFY_WITH_TIMEOUT(runs(), kPatienceMs); // or the next start would be the first one
        QElapsedTimer sinceStart;
        sinceStart.start();
        QCOMPARE(startAgain(), 0); // opened again meanwhile
        // The first window would come after half a second; the keyring may take three.
        const auto left = static_cast<int>(std::max<qint64>(0, 1000 - sinceStart.elapsed()));
        const bool isShown = QTest::qWaitFor([this] { return count(kLogin) > 0; }, left);
        m_desktop->keyring().resume();
        QVERIFY(!isShown);
        QTRY_COMPARE_WITH_TIMEOUT(count(kDashboard), 1, kPatienceMs);
        QCOMPARE(count(kLogin), 0);
        QVERIFY(m_agent->nextLine());
    }

    void aKeyringUnlockedLaterReplacesOnlyALoginWindowThatIsNotInUse_data()
    {
        QTest::addColumn<bool>("isInUse");
        QTest::newRow("untouched") << false;
        QTest::newRow("in use") << true;
    }

    void aKeyringUnlockedLaterReplacesOnlyALoginWindowThatIsNotInUse()
    {
        QFETCH(const bool, isInUse);
        prepare(Account::SignedIn);
        QVERIFY(bool(m_desktop->keyring().lock()));
        QVERIFY(bool(m_agent->start()));
        QTRY_COMPARE_WITH_TIMEOUT(count(kLogin), 1, kPatienceMs);
        QTRY_COMPARE_WITH_TIMEOUT(m_desktop->focusedTitle(), kLogin, kPatienceMs);
        if (isInUse)
            QVERIFY(xdotool(m_desktop->x11(), {QStringLiteral("type"), QStringLiteral("a")}));
        QVERIFY(bool(m_desktop->keyring().unlock()));
        QVERIFY(m_agent->nextLine()); // it records
        QTRY_COMPARE_WITH_TIMEOUT(count(kDashboard), isInUse ? 0 : 1, kPatienceMs);
        QCOMPARE(count(kLogin), isInUse ? 1 : 0);
    }

    void signedInTheDashboardOpensAndTrackingRuns()
    {
        prepare(Account::SignedIn);
        QVERIFY(bool(m_agent->start()));
        QTRY_COMPARE_WITH_TIMEOUT(count(kDashboard), 1, kPatienceMs);
        QTRY_COMPARE_WITH_TIMEOUT(m_desktop->focusedTitle(), kDashboard, kPatienceMs);
        const QString window = m_desktop->windowsTitled(kDashboard).value(0);
        QVERIFY(outputOf(QStringLiteral("xdotool"), {QStringLiteral("getwindowgeometry"), window})
                    .contains(QStringLiteral("Geometry: 800x600")));
        QTRY_VERIFY(skipsTaskbar(kDashboard));
        QVERIFY(m_agent->nextLine());
        QCOMPARE(count(kLogin), 0);
        QCOMPARE(m_agent->end(), std::optional(0));
        QCOMPARE(m_agent->complaints(), QString());
    }

    void theTaskbarShowsOurWindowsWhileTheLoginWindowIsOpen()
    {
        prepare(Account::SignedIn);
        QVERIFY(bool(m_agent->start()));
        QTRY_COMPARE_WITH_TIMEOUT(count(kDashboard), 1, kPatienceMs);
        QTRY_VERIFY(skipsTaskbar(kDashboard));
        QCOMPARE(startAgain({QStringLiteral("velomira://login")}), 0);
        QTRY_COMPARE_WITH_TIMEOUT(count(kLogin), 1, kPatienceMs);
        QTRY_VERIFY(!skipsTaskbar(kLogin) && !skipsTaskbar(kDashboard));
        close(kLogin);
        QTRY_VERIFY(skipsTaskbar(kDashboard));
    }

    void aSecondStartBringsTheFirstForwardAndEnds()
    {
        prepare(Account::SignedIn);
        QVERIFY(bool(m_agent->start()));
        QTRY_COMPARE_WITH_TIMEOUT(m_desktop->focusedTitle(), kDashboard, kPatienceMs);
        support::X11TestWindow other(m_desktop->x11().display());
        other.setTitle(QStringLiteral("another"));
        QVERIFY(other.showAndFocus());
        QCOMPARE(startAgain(), 0);
        QTRY_COMPARE_WITH_TIMEOUT(m_desktop->focusedTitle(), kDashboard, kPatienceMs);
        QCOMPARE(count(kDashboard), 1);
        QCOMPARE(count(kLogin), 0);
    }

    void openedAgainWithoutWindowsTheFirstWindowComesAtOnce()
    {
        prepare(Account::SignedIn);
        QVERIFY(bool(m_desktop->startTracking(*m_agent)));
        QCOMPARE(ask(QStringLiteral("Activate"), {QStringLiteral("{}")}), QStringLiteral("()"));
        QTRY_COMPARE_WITH_TIMEOUT(count(kDashboard), 1, kPatienceMs);
        QVERIFY(m_agent->process().isRunning());
    }

    void addressesOpenOneWindowEachAndForeignOnesNone()
    {
        prepare(Account::SignedOut);
        QVERIFY(bool(m_agent->start({QStringLiteral("velomira://dashboard")})));
        QTRY_COMPARE_WITH_TIMEOUT(count(kDashboard), 1, kPatienceMs);
        QTRY_COMPARE_WITH_TIMEOUT(count(kLogin), 1, kPatienceMs);
        for (int i = 0; i < 50; ++i)
            QCOMPARE(ask(QStringLiteral("Open"),
                         {QStringLiteral("['velomira://login', 'https://example.org/dashboard']"),
                          QStringLiteral("{}")}),
                     QStringLiteral("()"));
        QTRY_COMPARE_WITH_TIMEOUT(m_desktop->focusedTitle(), kLogin, kPatienceMs);
        QCOMPARE(count(kLogin), 1);
        QCOMPARE(count(kDashboard), 1);
        QTRY_COMPARE(m_agent->complaints().count(
                         QStringLiteral("ignored the address \"https://example.org/dashboard\"")),
                     50);
    }

    void launcherActions()
    {
        prepare(Account::SignedOut);
        QVERIFY(bool(m_agent->start()));
        QTRY_COMPARE_WITH_TIMEOUT(count(kLogin), 1, kPatienceMs);
        for (const char* name : {"settings", "dashboard", "nonsense"})
            QCOMPARE(ask(QStringLiteral("ActivateAction"),
                         {QString::fromLatin1(name), QStringLiteral("[]"), QStringLiteral("{}")}),
                     QStringLiteral("()"));
        QTRY_COMPARE_WITH_TIMEOUT(count(kSettings), 1, kPatienceMs);
        QTRY_COMPARE_WITH_TIMEOUT(count(kDashboard), 1, kPatienceMs);
        QCOMPARE(ask(QStringLiteral("ActivateAction"),
                     {QStringLiteral("quit"), QStringLiteral("[]"), QStringLiteral("{}")}),
                 QStringLiteral("()"));
        QCOMPARE(m_agent->waitForEnd(), std::optional(0));
        QVERIFY(m_agent->complaints().contains(QStringLiteral("\"nonsense\"")));
    }

    void theMenusShortcutsWorkInTheWindows()
    {
        prepare(Account::SignedIn);
        QVERIFY(bool(m_agent->start()));
        QTRY_COMPARE_WITH_TIMEOUT(m_desktop->focusedTitle(), kDashboard, kPatienceMs);
        QVERIFY(xdotool(m_desktop->x11(), {QStringLiteral("key"), QStringLiteral("ctrl+comma")}));
        QTRY_COMPARE_WITH_TIMEOUT(m_desktop->focusedTitle(), kSettings, kPatienceMs);
        close(kDashboard);
        QTRY_COMPARE_WITH_TIMEOUT(m_desktop->focusedTitle(), kSettings, kPatienceMs);
        QVERIFY(xdotool(m_desktop->x11(), {QStringLiteral("key"), QStringLiteral("ctrl+d")}));
        QTRY_COMPARE_WITH_TIMEOUT(m_desktop->focusedTitle(), kDashboard, kPatienceMs);
        QVERIFY(xdotool(m_desktop->x11(), {QStringLiteral("key"), QStringLiteral("ctrl+q")}));
        QCOMPARE(m_agent->waitForEnd(), std::optional(0));
    }

    void withoutItsLastWindowItGoesOn()
    {
        prepare(Account::SignedIn);
        QVERIFY(bool(m_desktop->startTracking(*m_agent)));
        support::X11TestWindow other(m_desktop->x11().display());
        other.setTitle(QStringLiteral("another"));
        QVERIFY(other.showAndFocus());
        QVERIFY(m_agent->nextLine());
        QVERIFY(m_agent->nextLine());
    }

    void anotherBusDoesNotLetASecondOneRecordIntoTheSameFile()
    {
        prepare(Account::SignedIn);
        QVERIFY(bool(m_desktop->startTracking(*m_agent)));
        QProcessEnvironment elsewhere = m_desktop->environment();
        elsewhere.remove(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"));
        elsewhere.insert(QStringLiteral("HOME"),
                         m_desktop->x11().home() + QStringLiteral("/cache"));
        Agent second(elsewhere);
        QVERIFY(bool(second.start()));
        QCOMPARE(second.waitForEnd(), std::optional(1));
        QVERIFY2(second.complaints().contains(QStringLiteral("already records into this folder")),
                 qPrintable(second.complaints()));
        QVERIFY(m_agent->process().isRunning());
    }

    void withoutFileLocksItRecordsAndSaysWhatThatMeans()
    {
        prepare(Account::SignedIn);
        m_agent->setLauncher(QStringLiteral(WITHOUT_LOCKS_EXECUTABLE));
        QVERIFY(bool(m_desktop->startTracking(*m_agent)));
        support::X11TestWindow window(m_desktop->x11().display());
        window.setTitle(QStringLiteral("notes"));
        QVERIFY(window.showAndFocus());
        QVERIFY(m_agent->nextLine());
        const QString lock = QFileInfo(m_agent->dataFile()).path() + QStringLiteral("/.lock");
        QCOMPARE(m_agent->complaints(),
                 QStringLiteral("Quillstep: cannot lock %1: No locks available; nothing keeps a "
                                "second session from recording into this folder, and the two would "
                                "replace each other's records\n")
                     .arg(lock));
        QCOMPARE(m_agent->end(), std::optional(0));
    }

    void whenTheBusGoesAwayTrackingGoesOnAndItStartsAnewWithTheNextBus()
    {
        prepare(Account::SignedIn);
        QVERIFY(bool(m_desktop->startTracking(*m_agent)));
        support::X11TestWindow window(m_desktop->x11().display());
        window.setTitle(QStringLiteral("notes"));
        window.setClass("editor", "Editor");
        QVERIFY(window.showAndFocus());
        QVERIFY(m_agent->nextLine());
        const qint64 pid = m_agent->process().pid();
        m_desktop->keyring().killBus();
        QTRY_VERIFY_WITH_TIMEOUT(
            m_agent->complaints().contains(QStringLiteral("the session bus went away")), 20000);
        QVERIFY(m_agent->nextLine());
        QVERIFY(m_agent->nextLine());

        m_desktop->keyring().kill();
        QVERIFY(bool(m_desktop->keyring().startBus()));
        QVERIFY(bool(m_desktop->keyring().startUnlocked()));
        // The same process, the same session, and it can be reached again.
        QTRY_COMPARE_WITH_TIMEOUT(count(kDashboard), 1, 60000);
        QCOMPARE(m_agent->process().pid(), pid);
        close(kDashboard);
        QVERIFY(m_agent->nextLine());
        QVERIFY2(startAgain() == 0, qPrintable(m_agent->complaints()));
        QTRY_COMPARE_WITH_TIMEOUT(count(kDashboard), 1, kPatienceMs);
        QCOMPARE(m_agent->end(), std::optional(0));
    }
};

QUILLSTEP_TEST(TestShell)
#include "tst_shell.moc"
