// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// A pause of the executable, made and looked at through its real menu: nothing is recorded until
// the user ends it.
#include "tests/support/agent.h"
#include "tests/support/assistive_reader.h"
#include "tests/support/passing_time.h"
#include "tests/support/required_programs.h"
#include "tests/support/service_process.h"
#include "tests/support/signed_in_desktop.h"
#include "tests/support/status_item_client.h"
#include "tests/support/status_notifier_watcher.h"
#include "tests/support/test_program.h"
#include "tests/support/x11_test_window.h"
#include "tests/system/window_requests.h"
#include "tests/system/xdotool.h"

#include <QTest>

#include <chrono>
#include <memory>

using namespace Qt::StringLiterals;
using support::Account;
using support::Agent;
using support::AssistiveReader;
using support::SignedInDesktop;

namespace {

constexpr int kPatienceMs = 20000;
constexpr int kSomeTicksMs = 2500;
const QString kEmail = QStringLiteral("ada@example.org");
const QString kPassword = QStringLiteral("correct horse");
const QString kPause = QStringLiteral("Pause Tracking");
const QString kResume = QStringLiteral("Resume Tracking");
const QString kPaused = QStringLiteral(u"- \u23F8 Tracking Paused");
const QString kActive = QStringLiteral(u"- \u2713 Tracking Active");

} // namespace

class TestPause final : public QObject
{
    Q_OBJECT

    support::ServiceProcess m_service;
    std::unique_ptr<SignedInDesktop> m_desktop;
    std::unique_ptr<support::StatusNotifierWatcher> m_watcher;
    std::unique_ptr<AssistiveReader> m_reader;
    std::unique_ptr<Agent> m_agent;
    std::unique_ptr<support::StatusItemClient> m_panel;
    std::unique_ptr<support::X11TestWindow> m_window;

    /// It records what is in a window of another program.
    void startRecording()
    {
        m_desktop = std::make_unique<SignedInDesktop>();
        verify(m_desktop->start(Account::SignedIn));
        const QString bus =
            m_desktop->environment().value(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"));
        m_watcher = std::make_unique<support::StatusNotifierWatcher>(bus, true);
        m_reader = std::make_unique<AssistiveReader>();
        verify(m_reader->start(m_desktop->environment()));
        m_agent =
            std::make_unique<Agent>(AssistiveReader::programEnvironment(m_desktop->environment()));
        verify(m_desktop->startTracking(*m_agent));
        const QString item = m_watcher->waitForItem();
        QVERIFY(!item.isEmpty());
        m_panel = std::make_unique<support::StatusItemClient>(bus, item);
        m_window = std::make_unique<support::X11TestWindow>(m_desktop->x11().display());
        m_window->setTitle(QStringLiteral("notes"));
        QVERIFY(m_window->showAndFocus());
        records();
    }

    static void verify(const platform::Outcome& outcome)
    {
        QVERIFY2(bool(outcome), outcome ? "" : qPrintable(outcome.error().text));
    }

    [[nodiscard]] qsizetype ticks() { return m_agent->lines().filter(u"Tick:"_s).size(); }

    void records()
    {
        if (QTest::currentTestFailed())
            return;
        const qsizetype before = ticks();
        QTRY_VERIFY_WITH_TIMEOUT(ticks() >= before + 2, kPatienceMs);
    }

    void doesNotRecord()
    {
        if (QTest::currentTestFailed())
            return;
        QVERIFY(requests::hasAnswered(*m_agent, m_desktop->environment()));
        const qsizetype before = ticks();
        QVERIFY(support::staysSo(std::chrono::milliseconds(kSomeTicksMs),
                                 [&] { return ticks() == before; }));
    }

    /// The user opens the menu and reads it, several times.
    void theMenuSays(const QString& row)
    {
        for (int i = 0; i < 3; ++i) {
            if (QTest::currentTestFailed())
                return;
            QVERIFY(m_panel->open());
            QVERIFY(requests::hasAnswered(*m_agent, m_desktop->environment()));
            const QStringList rows = m_panel->described();
            QVERIFY2(rows.contains(row), qPrintable(rows.join(u'\n')));
        }
    }

    /// As a user does it: the menu is opened first.
    void choose(const QString& row)
    {
        if (QTest::currentTestFailed())
            return;
        QVERIFY(m_panel->open());
        QVERIFY(m_panel->click(row));
    }

    /// By the pointer.
    void click(const QString& window, const QString& name)
    {
        if (QTest::currentTestFailed())
            return;
        const auto button = requests::findAny(*m_reader, window, {name});
        QVERIFY(button);
        const QPoint middle = m_reader->place(*button).center();
        QVERIFY(xdotool(m_desktop->x11(),
                        {QStringLiteral("mousemove"),
                         QString::number(middle.x()),
                         QString::number(middle.y()),
                         QStringLiteral("click"),
                         QStringLiteral("1")}));
    }

    void openTheDashboard()
    {
        choose(QStringLiteral("Open Dashboard"));
        QTRY_COMPARE_WITH_TIMEOUT(
            m_desktop->focusedTitle(), QStringLiteral("Dashboard"), kPatienceMs);
    }

    void closeTheDashboard() { verify(m_desktop->closeWindow(QStringLiteral("Dashboard"))); }

private Q_SLOTS:

    void initTestCase()
    {
        REQUIRE_PROGRAMS(SignedInDesktop::programs() + AssistiveReader::programs() +
                         requests::programs());
        verify(m_service.start(m_service.folder() + QStringLiteral("/service.sqlite"),
                               {QStringLiteral("--port"), QStringLiteral("8787")}));
        QVERIFY(bool(m_service.addUser(kEmail, QStringLiteral("Ada"), kPassword)));
    }

    void cleanup()
    {
        m_window.reset();
        m_panel.reset();
        m_agent.reset();
        m_reader.reset();
        m_watcher.reset();
        m_desktop.reset();
    }

    void aPauseByTheMenuLastsUntilItIsEndedThere()
    {
        startRecording();
        choose(kPause);
        theMenuSays(kPaused);
        doesNotRecord();
        choose(kResume);
        theMenuSays(kActive);
        records();
    }

    void aPauseByTheDashboardLastsWhateverIsOpened()
    {
        startRecording();
        openTheDashboard();
        click(QStringLiteral("Dashboard"), QStringLiteral("Pause"));
        theMenuSays(kPaused);
        // Its window, and another one, come and go.
        choose(QStringLiteral("Settings"));
        QTRY_COMPARE_WITH_TIMEOUT(
            m_desktop->focusedTitle(), QStringLiteral("Settings"), kPatienceMs);
        verify(m_desktop->closeWindow(QStringLiteral("Settings")));
        closeTheDashboard();
        openTheDashboard();
        theMenuSays(kPaused);
        doesNotRecord();
        click(QStringLiteral("Dashboard"), QStringLiteral("Resume"));
        theMenuSays(kActive);
        closeTheDashboard();
        records();
    }

    void aFurtherStartWithoutAWindowEndsIt()
    {
        startRecording();
        choose(kPause);
        theMenuSays(kPaused);
        QVERIFY(requests::ask(m_desktop->environment(), {}, requests::Way::SecondStart));
        theMenuSays(kActive);
        records();
    }

    void aFurtherStartWithAWindowDoesNot()
    {
        startRecording();
        openTheDashboard();
        choose(kPause);
        QVERIFY(requests::ask(m_desktop->environment(), {}, requests::Way::SecondStart));
        theMenuSays(kPaused);
        doesNotRecord();
    }

    void signingInAnewEndsIt()
    {
        startRecording();
        openTheDashboard();
        choose(kPause);
        theMenuSays(kPaused);
        click(QStringLiteral("Dashboard"), QStringLiteral("Logout"));
        click(QStringLiteral("Dashboard"), QStringLiteral("Login"));
        QTRY_COMPARE_WITH_TIMEOUT(m_desktop->focusedTitle(), QStringLiteral("Login"), kPatienceMs);
        QVERIFY(xdotool(m_desktop->x11(), {QStringLiteral("type"), kEmail}));
        QVERIFY(xdotool(m_desktop->x11(), {QStringLiteral("key"), QStringLiteral("Return")}));
        QVERIFY(xdotool(m_desktop->x11(), {QStringLiteral("type"), kPassword}));
        QVERIFY(xdotool(m_desktop->x11(), {QStringLiteral("key"), QStringLiteral("Return")}));
        QTRY_COMPARE_WITH_TIMEOUT(
            m_desktop->focusedTitle(), QStringLiteral("Dashboard"), kPatienceMs);
        records();
        theMenuSays(kActive);
    }

    void aNewStartEndsIt()
    {
        startRecording();
        choose(kPause);
        theMenuSays(kPaused);
        QCOMPARE(m_agent->end(), std::optional(0));
        verify(m_desktop->startTracking(*m_agent));
        records();
    }
};

QUILLSTEP_TEST(TestPause)
#include "tst_pause.moc"
