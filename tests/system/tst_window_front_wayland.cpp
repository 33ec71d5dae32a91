// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// As tst_window_front.cpp, on a Wayland compositor that lets those come forward who have the right
// to: a token of the program where the user acted, or one of our own window that has the keyboard.
#include "tests/support/agent.h"
#include "tests/support/assistive_reader.h"
#include "tests/support/headless_sway.h"
#include "tests/support/keyring.h"
#include "tests/support/required_programs.h"
#include "tests/support/status_item_client.h"
#include "tests/support/status_notifier_watcher.h"
#include "tests/support/test_program.h"
#include "tests/support/test_window.h"
#include "tests/system/window_requests.h"

#include <QTest>

#include <memory>

using requests::Way;
using support::Agent;
using support::AssistiveReader;
using support::HeadlessSway;

namespace {

constexpr int kPatienceMs = 20000;
const QString kDashboard = QStringLiteral("Dashboard");
const QString kLogin = QStringLiteral("Login");
const QString kSettings = QStringLiteral("Settings");
const QString kOther = QStringLiteral("another program");
#ifdef ACTIVATION_TOKEN_EXECUTABLE
const QString kTokenProgram = QStringLiteral(ACTIVATION_TOKEN_EXECUTABLE);
#else
const QString kTokenProgram;
#endif

} // namespace

class TestWindowFrontWayland final : public QObject
{
    Q_OBJECT

    std::unique_ptr<HeadlessSway> m_sway;
    std::unique_ptr<support::Keyring> m_keyring;
    std::unique_ptr<support::StatusNotifierWatcher> m_watcher;
    std::unique_ptr<AssistiveReader> m_reader;
    std::unique_ptr<support::ChildProcess> m_launcher; // whose token is in use
    std::unique_ptr<support::TestWindow> m_other;
    std::unique_ptr<Agent> m_agent;
    std::unique_ptr<support::StatusItemClient> m_panel;
    std::optional<bool> m_isSignedIn;

    /// The program with its first window; that of the test before where it will do.
    void prepare(bool isSignedIn)
    {
        if (m_isSignedIn == isSignedIn && m_agent->process().isRunning())
            return;
        tearDown();
        m_sway = std::make_unique<HeadlessSway>();
        verify(m_sway->start());
        verify(m_sway->command(
            {QStringLiteral("focus_on_window_activation"), QStringLiteral("focus")}));
        const QProcessEnvironment environment = m_sway->environment();
        m_keyring = std::make_unique<support::Keyring>();
        if (isSignedIn)
            verify(m_keyring->startSignedIn(environment));
        const QString bus = environment.value(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"));
        m_watcher = std::make_unique<support::StatusNotifierWatcher>(bus, true);
        m_reader = std::make_unique<AssistiveReader>();
        verify(m_reader->start(environment));
        m_other = std::make_unique<support::TestWindow>();
        verify(m_other->open(environment, QStringLiteral("other"), kOther));
        m_agent = std::make_unique<Agent>(AssistiveReader::programEnvironment(environment));
        verify(m_agent->start());
        const QString item = m_watcher->waitForItem();
        QVERIFY(!item.isEmpty());
        m_panel = std::make_unique<support::StatusItemClient>(bus, item);
        QTRY_COMPARE_WITH_TIMEOUT(
            m_sway->focusedTitle(), isSignedIn ? kDashboard : kLogin, kPatienceMs);
        m_isSignedIn = isSignedIn;
    }

    void tearDown()
    {
        m_isSignedIn.reset();
        m_panel.reset();
        m_agent.reset();
        m_other.reset();
        m_launcher.reset();
        m_reader.reset();
        m_watcher.reset();
        m_keyring.reset();
        m_sway.reset();
    }

    static void verify(const platform::Outcome& outcome)
    {
        QVERIFY2(bool(outcome), outcome ? "" : qPrintable(outcome.error().text));
    }

    /// The right to come to the front, as another program hands it over; empty when there is none.
    [[nodiscard]] QString token()
    {
        m_launcher = std::make_unique<support::ChildProcess>();
        if (!m_launcher->start(kTokenProgram,
                               {},
                               m_sway->environment(),
                               m_sway->logFile(QStringLiteral("activation_token"))))
            return {};
        QProcess& process = m_launcher->process();
        static_cast<void>(
            QTest::qWaitFor([&process] { return process.canReadLine(); }, kPatienceMs));
        return QString::fromLatin1(process.readLine()).trimmed();
    }

    /// Exactly these windows of ours are open afterwards.
    void haveOpen(const QStringList& titles)
    {
        for (const QString& title : {kDashboard, kLogin, kSettings}) {
            const bool isOpen = m_sway->windowsTitled(title) > 0;
            if (isOpen && !titles.contains(title))
                verify(m_sway->command(
                    {QStringLiteral("[title=\"^%1$\"]").arg(title), QStringLiteral("kill")}));
            if (!isOpen && titles.contains(title))
                QVERIFY(requests::ask(m_sway->environment(), title.toLower(), Way::Action));
            const int wanted = titles.contains(title) ? 1 : 0;
            QTRY_COMPARE_WITH_TIMEOUT(m_sway->windowsTitled(title), wanted, kPatienceMs);
        }
        QVERIFY(isCalm());
    }

    void turnTo(const QString& title)
    {
        if (QTest::currentTestFailed())
            return;
        verify(m_sway->focusTitled(title));
        // Only a window that somebody uses may hand the front to another one.
        QVERIFY(type({QStringLiteral("-k"), QStringLiteral("Shift_L")}));
        QVERIFY(isCalm());
    }

    /// True once the program has done what it was asked before.
    [[nodiscard]] bool isCalm()
    {
        for (int i = 0; i < 3; ++i) {
            if (!requests::hasAnswered(*m_agent, m_sway->environment()))
                return false;
        }
        return true;
    }

    [[nodiscard]] bool askFor(const QString& title, Way way)
    {
        switch (way) {
        case Way::Shortcut:
            return type(
                QStringList{QStringLiteral("-M"), QStringLiteral("ctrl")} +
                QStringList{title == kDashboard ? QStringLiteral("d") : QStringLiteral(",")} +
                QStringList{QStringLiteral("-m"), QStringLiteral("ctrl")});
        case Way::Button: {
            const auto button =
                requests::findAny(*m_reader, m_sway->focusedTitle(), requests::buttonFor(title));
            return button && m_reader->perform(*button, QStringLiteral("Press"));
        }
        case Way::Menu:
            return m_panel->open() && m_panel->click(requests::menuRowFor(title));
        default:
            return requests::ask(m_sway->environment(), title.toLower(), way, token());
        }
    }

    [[nodiscard]] bool type(const QStringList& keys)
    {
        support::ChildProcess wtype;
        return wtype.start(QStringLiteral("wtype"), keys, m_sway->environment()) &&
               wtype.process().waitForFinished(kPatienceMs) && wtype.process().exitCode() == 0;
    }

    /// It comes to the front, and is there still when everything has been done.
    void comesForward(const QString& title)
    {
        if (QTest::currentTestFailed())
            return;
        QTRY_COMPARE_WITH_TIMEOUT(m_sway->focusedTitle(), title, kPatienceMs);
        QVERIFY(isCalm());
        QCOMPARE(m_sway->focusedTitle(), title);
    }

private Q_SLOTS:

    void initTestCase()
    {
        REQUIRE_PROGRAMS(HeadlessSway().programs() + support::Keyring::programs() +
                         AssistiveReader::programs() + requests::programs());
        QVERIFY2(!kTokenProgram.isEmpty(),
                 "built without wayland-protocols: scripts/setup.sh test");
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
        prepare(isSignedIn);
        haveOpen({asked, other});
        turnTo(other);
        if (QTest::currentTestFailed())
            return;
        QVERIFY(askFor(asked, way));
        comesForward(asked);
        // A panel that hands over no token gives no right to come before other programs.
        if (requests::leadsThroughAWindow(way) || way == Way::Menu)
            return;
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
        prepare(true);
        haveOpen({asked, other});
        QVERIFY(askFor(asked, Way::Action));
        comesForward(asked);
        turnTo(other);
        turnTo(kOther);
        if (QTest::currentTestFailed())
            return;
        QVERIFY(requests::ask(m_sway->environment(), {}, Way::SecondStart, token()));
        comesForward(other);
    }
};

QUILLSTEP_TEST(TestWindowFrontWayland)
#include "tst_window_front_wayland.moc"
