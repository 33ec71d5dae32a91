// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// Of several windows the one that was asked for comes to the front and stays there, whichever way
// it is asked for. On X11; tst_window_front_wayland.cpp does the same on Wayland.
#include "tests/support/agent.h"
#include "tests/support/assistive_reader.h"
#include "tests/support/required_programs.h"
#include "tests/support/signed_in_desktop.h"
#include "tests/support/status_item_client.h"
#include "tests/support/status_notifier_watcher.h"
#include "tests/support/test_program.h"
#include "tests/support/x11_client.h"
#include "tests/support/x11_test_window.h"
#include "tests/system/window_requests.h"
#include "tests/system/xdotool.h"

#include <QTest>

#include <memory>

using requests::Way;
using support::Account;
using support::Agent;
using support::AssistiveReader;
using support::SignedInDesktop;

namespace {

constexpr int kPatienceMs = 20000;
const QString kDashboard = QStringLiteral("Dashboard");
const QString kLogin = QStringLiteral("Login");
const QString kSettings = QStringLiteral("Settings");
const QString kOther = QStringLiteral("another program");

/// Which windows the window manager says to be active, one after the other.
class FocusWatch final
{
public:
    explicit FocusWatch(const QProcessEnvironment& environment)
    {
        // Its first line is the state of now.
        m_isRunning =
            m_xprop.start(QStringLiteral("xprop"),
                          {QStringLiteral("-root"),
                           QStringLiteral("-spy"),
                           QStringLiteral("_NET_ACTIVE_WINDOW")},
                          environment) &&
            QTest::qWaitFor([this] { return m_xprop.process().canReadLine(); }, kPatienceMs);
        m_xprop.process().readLine();
    }

    [[nodiscard]] bool isRunning() const { return m_isRunning; }

    /// Those since the beginning, as xdotool names them, once `last` is the last.
    [[nodiscard]] QStringList windows(const QString& last)
    {
        static_cast<void>(QTest::qWaitFor(
            [this, &last] {
                while (m_xprop.process().canReadLine()) {
                    const QString line = QString::fromLatin1(m_xprop.process().readLine());
                    m_windows += QString::number(
                        line.trimmed().section(QLatin1Char(' '), -1).toUInt(nullptr, 0));
                }
                return !m_windows.isEmpty() && m_windows.last() == last;
            },
            kPatienceMs));
        return m_windows;
    }

private:
    support::ChildProcess m_xprop;
    bool m_isRunning = false;
    QStringList m_windows;
};

} // namespace

class TestWindowFront final : public QObject
{
    Q_OBJECT

    std::unique_ptr<SignedInDesktop> m_desktop;
    std::unique_ptr<support::StatusNotifierWatcher> m_watcher;
    std::unique_ptr<AssistiveReader> m_reader;
    std::unique_ptr<Agent> m_agent;
    std::unique_ptr<support::StatusItemClient> m_panel;
    std::unique_ptr<support::X11TestWindow> m_other;
    std::optional<Account> m_account;

    /// The program with its first window; that of the test before where it will do.
    void prepare(Account account)
    {
        if (m_account == account && m_agent->process().isRunning())
            return;
        tearDown();
        m_desktop = std::make_unique<SignedInDesktop>();
        verify(m_desktop->start(account));
        const QString bus =
            m_desktop->environment().value(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"));
        m_watcher = std::make_unique<support::StatusNotifierWatcher>(bus, true);
        m_reader = std::make_unique<AssistiveReader>();
        verify(m_reader->start(m_desktop->environment()));
        m_agent =
            std::make_unique<Agent>(AssistiveReader::programEnvironment(m_desktop->environment()));
        verify(m_agent->start());
        const QString item = m_watcher->waitForItem();
        QVERIFY(!item.isEmpty());
        m_panel = std::make_unique<support::StatusItemClient>(bus, item);
        const QString first = account == Account::SignedIn ? kDashboard : kLogin;
        QTRY_COMPARE_WITH_TIMEOUT(m_desktop->focusedTitle(), first, kPatienceMs);
        m_other = std::make_unique<support::X11TestWindow>(m_desktop->x11().display());
        m_other->setTitle(kOther);
        QVERIFY(m_other->showAndFocus());
        m_account = account;
    }

    void tearDown()
    {
        m_account.reset();
        m_other.reset();
        m_panel.reset();
        m_agent.reset();
        m_reader.reset();
        m_watcher.reset();
        m_desktop.reset();
    }

    static void verify(const platform::Outcome& outcome)
    {
        QVERIFY2(bool(outcome), outcome ? "" : qPrintable(outcome.error().text));
    }

    /// Exactly these windows of ours are open afterwards.
    void haveOpen(const QStringList& titles)
    {
        for (const QString& title : {kDashboard, kLogin, kSettings}) {
            const bool isOpen = !m_desktop->windowsTitled(title).isEmpty();
            if (isOpen && !titles.contains(title))
                verify(m_desktop->closeWindow(title));
            if (!isOpen && titles.contains(title))
                QVERIFY(askFor(title, Way::Action));
            if (titles.contains(title))
                QTRY_COMPARE_WITH_TIMEOUT(m_desktop->windowsTitled(title).size(), 1, kPatienceMs);
        }
        QVERIFY(isCalm());
    }

    /// The user turns to a window, as a taskbar does it.
    void turnTo(const QString& title)
    {
        if (QTest::currentTestFailed())
            return;
        QVERIFY(xdotool(m_desktop->x11(), {QStringLiteral("windowactivate"), windowOf(title)}));
        QTRY_COMPARE_WITH_TIMEOUT(m_desktop->focusedTitle(), title, kPatienceMs);
        QVERIFY(isCalm());
    }

    /// As xdotool names it.
    [[nodiscard]] QString windowOf(const QString& title) const
    {
        return title == kOther ? QString::number(m_other->id())
                               : m_desktop->windowsTitled(title).value(0);
    }

    /// True once the program has done what it was asked before, and the desktop what the program
    /// asked.
    [[nodiscard]] bool isCalm()
    {
        const support::X11Client client(m_desktop->x11().display());
        for (int i = 0; i < 2; ++i) {
            if (!requests::hasAnswered(*m_agent, m_desktop->environment()) ||
                !client.waitForWindowManager())
                return false;
        }
        return true;
    }

    /// Asks for the window, from the one in front where the way leads through a window.
    [[nodiscard]] bool askFor(const QString& title, Way way)
    {
        switch (way) {
        case Way::Shortcut:
            return xdotool(
                m_desktop->x11(),
                {QStringLiteral("key"),
                 title == kDashboard ? QStringLiteral("ctrl+d") : QStringLiteral("ctrl+comma")});
        case Way::Button:
            return click(m_desktop->focusedTitle(), requests::buttonFor(title));
        case Way::Menu:
            return m_panel->open() && m_panel->click(requests::menuRowFor(title));
        default:
            return requests::ask(m_desktop->environment(), title.toLower(), way);
        }
    }

    /// With the pointer.
    [[nodiscard]] bool click(const QString& window, const QStringList& names)
    {
        const auto element = requests::findAny(*m_reader, window, names);
        if (!element)
            return false;
        const QPoint middle = m_reader->place(*element).center();
        return xdotool(m_desktop->x11(),
                       {QStringLiteral("mousemove"),
                        QString::number(middle.x()),
                        QString::number(middle.y()),
                        QStringLiteral("click"),
                        QStringLiteral("1")});
    }

    /// The window that covers all others.
    [[nodiscard]] QString topmost() const
    {
        support::ChildProcess xprop;
        if (!xprop.start(QStringLiteral("xprop"),
                         {QStringLiteral("-root"), QStringLiteral("_NET_CLIENT_LIST_STACKING")},
                         m_desktop->environment()) ||
            !xprop.process().waitForFinished(kPatienceMs))
            return {};
        const QString last = QString::fromLatin1(xprop.process().readAllStandardOutput())
                                 .trimmed()
                                 .section(QLatin1Char(' '), -1);
        return QString::number(last.toUInt(nullptr, 0));
    }

    /// It comes to the front, and is there still when everything has been done.
    void comesForward(const QString& title)
    {
        if (QTest::currentTestFailed())
            return;
        QTRY_COMPARE_WITH_TIMEOUT(m_desktop->focusedTitle(), title, kPatienceMs);
        QVERIFY(isCalm());
        QCOMPARE(m_desktop->focusedTitle(), title);
        QCOMPARE(topmost(), windowOf(title));
    }

private Q_SLOTS:

    void initTestCase()
    {
        REQUIRE_PROGRAMS(SignedInDesktop::programs() + AssistiveReader::programs() +
                         requests::programs() + QStringList{QStringLiteral("xprop")});
    }

    void cleanup()
    {
        if (QTest::currentTestFailed())
            tearDown();
    }

    void cleanupTestCase() { tearDown(); }

    void theWindowAskedForComesForward_data() { requests::everyPairAndWay(); }

    void theWindowAskedForComesForward()
    {
        QFETCH(bool, isSignedIn);
        QFETCH(QString, asked);
        QFETCH(QString, other);
        QFETCH(Way, way);
        prepare(isSignedIn ? Account::SignedIn : Account::SignedOut);
        haveOpen({asked, other});
        turnTo(other);
        if (QTest::currentTestFailed())
            return;
        QVERIFY(askFor(asked, way));
        comesForward(asked);
        if (requests::leadsThroughAWindow(way))
            return;
        // Over the windows of other programs, too.
        turnTo(other);
        turnTo(kOther);
        if (QTest::currentTestFailed())
            return;
        QVERIFY(askFor(asked, way));
        comesForward(asked);
    }

    void startedAgainTheWindowUsedLastComesForward_data() { requests::everyPair(); }

    void startedAgainTheWindowUsedLastComesForward()
    {
        QFETCH(QString, asked);
        QFETCH(QString, other);
        prepare(Account::SignedIn);
        haveOpen({asked, other});
        // The order in which they were asked for is another one.
        QVERIFY(askFor(asked, Way::Action));
        comesForward(asked);
        turnTo(other);
        turnTo(kOther);
        if (QTest::currentTestFailed())
            return;
        QVERIFY(requests::ask(m_desktop->environment(), {}, Way::SecondStart));
        comesForward(other);
    }

    void aMinimisedWindowComesForwardWhenItIsAskedFor_data() { requests::everyPair(); }

    void aMinimisedWindowComesForwardWhenItIsAskedFor()
    {
        QFETCH(QString, asked);
        QFETCH(QString, other);
        prepare(Account::SignedIn);
        haveOpen({asked, other});
        const QString id = windowOf(asked);
        QVERIFY(xdotool(m_desktop->x11(), {QStringLiteral("windowminimize"), id}));
        QTRY_VERIFY_WITH_TIMEOUT(m_desktop->windowsTitled(asked).isEmpty(), kPatienceMs);
        turnTo(other);
        if (QTest::currentTestFailed())
            return;
        QVERIFY(askFor(asked, Way::Action));
        comesForward(asked);
    }

    /// The form comes on screen a moment after it was asked for, and brings the program forward
    /// then.
    void theLoginFormLeavesTheFrontToTheWindowAskedForAfterIt_data()
    {
        QTest::addColumn<QStringList>("open");
        QTest::newRow("an open one") << QStringList{kDashboard};
        QTest::newRow("a new one") << QStringList{kSettings};
    }

    void theLoginFormLeavesTheFrontToTheWindowAskedForAfterIt()
    {
        QFETCH(QStringList, open);
        prepare(Account::SignedIn);
        for (int i = 0; i < 5; ++i) {
            haveOpen(open);
            turnTo(open.first());
            if (QTest::currentTestFailed())
                return;
            FocusWatch watch(m_desktop->environment());
            QVERIFY(watch.isRunning());
            QVERIFY(requests::openAddresses(
                m_desktop->environment(),
                {QStringLiteral("velomira://login"), QStringLiteral("velomira://dashboard")}));
            QTRY_COMPARE_WITH_TIMEOUT(m_desktop->windowsTitled(kLogin).size(), 1, kPatienceMs);
            comesForward(kDashboard);
            if (QTest::currentTestFailed())
                return;
            // Not even for a moment does it take the front from the other one.
            const QStringList inFront = watch.windows(windowOf(kDashboard));
            const qsizetype dashboard = inFront.indexOf(windowOf(kDashboard));
            QVERIFY(dashboard >= 0);
            QVERIFY2(inFront.indexOf(windowOf(kLogin), dashboard) < 0,
                     qPrintable(inFront.join(QLatin1Char(' '))));
        }
    }

    // The login form

    void theLoginFormComesBackFromTheTaskbarAsItWas()
    {
        typeIntoTheForm();
        const QString window = windowOf(kLogin);
        QVERIFY(xdotool(m_desktop->x11(), {QStringLiteral("windowminimize"), window}));
        QTRY_VERIFY_WITH_TIMEOUT(m_desktop->windowsTitled(kLogin).isEmpty(), kPatienceMs);
        QVERIFY(m_other->focus());
        QVERIFY(xdotool(m_desktop->x11(), {QStringLiteral("windowactivate"), window}));
        comesForward(kLogin);
        thePasswordHasTheKeyboard();
    }

    void theLoginFormComesBackWithItsWorkspaceAsItWas()
    {
        typeIntoTheForm();
        for (int i = 0; i < 3; ++i) {
            showWorkspace(1);
            QTRY_VERIFY_WITH_TIMEOUT(m_desktop->windowsTitled(kLogin).isEmpty(), kPatienceMs);
            QVERIFY(isCalm());
            showWorkspace(0);
            QTRY_COMPARE_WITH_TIMEOUT(m_desktop->windowsTitled(kLogin).size(), 1, kPatienceMs);
            comesForward(kLogin);
        }
        thePasswordHasTheKeyboard();
    }

    void comingBackWithItsWorkspaceTheLoginFormTakesTheFocusFromNobody()
    {
        typeIntoTheForm();
        for (int i = 0; i < 3; ++i) {
            QVERIFY(m_other->focus());
            QVERIFY(isCalm());
            showWorkspace(1);
            QTRY_VERIFY_WITH_TIMEOUT(m_desktop->windowsTitled(kLogin).isEmpty(), kPatienceMs);
            QVERIFY(isCalm());
            showWorkspace(0);
            QTRY_COMPARE_WITH_TIMEOUT(m_desktop->windowsTitled(kLogin).size(), 1, kPatienceMs);
            comesForward(kOther);
        }
        turnTo(kLogin);
        thePasswordHasTheKeyboard();
    }

private:
    void showWorkspace(int number)
    {
        QVERIFY(
            xdotool(m_desktop->x11(), {QStringLiteral("set_num_desktops"), QStringLiteral("2")}));
        QVERIFY(
            xdotool(m_desktop->x11(), {QStringLiteral("set_desktop"), QString::number(number)}));
    }

    [[nodiscard]] QString email() const
    {
        const auto field = m_reader->find(kLogin, QStringLiteral("Email"));
        return field ? m_reader->text(*field) : QString();
    }

    [[nodiscard]] bool canSignIn() const
    {
        const auto button = m_reader->find(kLogin, QStringLiteral("Sign In"));
        return button && button->has(support::kStateEnabled);
    }

    /// Fills the first field of a new form, and goes on to the second.
    void typeIntoTheForm()
    {
        tearDown();
        prepare(Account::SignedOut);
        haveOpen({kLogin});
        turnTo(kLogin);
        QVERIFY(xdotool(m_desktop->x11(), {QStringLiteral("type"), QStringLiteral("ada")}));
        QTRY_COMPARE_WITH_TIMEOUT(email(), QStringLiteral("ada"), kPatienceMs);
        QVERIFY(xdotool(m_desktop->x11(), {QStringLiteral("key"), QStringLiteral("Tab")}));
        QTRY_VERIFY_WITH_TIMEOUT(passwordHasFocus(), kPatienceMs);
        QVERIFY(!canSignIn());
    }

    [[nodiscard]] bool passwordHasFocus() const
    {
        const auto field = m_reader->find(kLogin, QStringLiteral("Password"));
        return field && field->has(support::kStateFocused);
    }

    void thePasswordHasTheKeyboard()
    {
        if (QTest::currentTestFailed())
            return;
        QVERIFY(xdotool(m_desktop->x11(), {QStringLiteral("type"), QStringLiteral("secret")}));
        // One of the two fields gets it.
        QTRY_VERIFY_WITH_TIMEOUT(canSignIn() || email() != QStringLiteral("ada"), kPatienceMs);
        QCOMPARE(email(), QStringLiteral("ada"));
        QVERIFY(canSignIn());
    }
};

QUILLSTEP_TEST(TestWindowFront)
#include "tst_window_front.moc"
