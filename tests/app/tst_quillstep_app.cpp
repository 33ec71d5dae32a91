// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "app/quillstep_app.h"
#include "platform/application_requests.h"
#include "shell/app_menu.h"
#include "tests/support/shell_bench.h"
#include "tests/support/test_program.h"

#include <QSignalSpy>
#include <QTest>

using namespace std::chrono_literals;
using platform::MenuRow;
using shell::MenuCommand;
using support::Session;
using support::ShellBench;

namespace {

/// The texts of the menu, "---" for a separator.
QStringList texts(const std::vector<MenuRow>& rows)
{
    QStringList all;
    for (const MenuRow& row : rows)
        all.append(row.kind == MenuRow::Kind::Separator ? QStringLiteral("---") : row.text);
    return all;
}

MenuRow rowOf(const std::vector<MenuRow>& rows, MenuCommand command)
{
    const auto found = std::ranges::find_if(rows, [command](const MenuRow& row) {
        return row.kind == MenuRow::Kind::Command && row.command == static_cast<int>(command);
    });
    return found == rows.end() ? MenuRow{} : *found;
}

/// The application with its menu shown, and ways to use it.
struct MenuBench : ShellBench
{
    explicit MenuBench(Session session = Session::SignedIn)
        : ShellBench(session)
    {
    }

    void choose(MenuCommand command) { Q_EMIT item.chosen(static_cast<int>(command)); }
};

/// Another start of the program that has tasks done.
class Tasks final
{
public:
    explicit Tasks(ShellBench& bench) { bench.app.answer(m_requests); }

    void ask(QLatin1StringView task)
    {
        Q_EMIT m_requests.taskRequested(task, [this](const platform::Outcome& outcome) {
            answers.append(outcome ? QStringLiteral("done") : outcome.error().text);
        });
    }

    QStringList answers; ///< "done", or what went wrong

private:
    platform::ApplicationRequests m_requests;
};

} // namespace

class TestQuillstepApp final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    // The launch

    void signedOutALoginWindowOpensAfterHalfASecond()
    {
        ShellBench bench;
        bench.app.launch();
        bench.mainQueue.advance(499ms);
        QVERIFY(bench.urlOpener.opened.isEmpty());
        bench.mainQueue.advance(1ms);
        QCOMPARE(bench.urlOpener.opened, QStringList{QStringLiteral("velomira://login")});
        QCOMPARE(bench.activation.calls, QStringList{QStringLiteral("activate")});
        bench.deliverUrls();
        QCOMPARE(bench.windows.open(), QStringList{QStringLiteral("login")});
        QVERIFY(!bench.engine.isTracking());
        QVERIFY(!bench.sync.timer());
        QCOMPARE(bench.fake.repeatingTimers.scheduled, 0);
    }

    void signedInTheDashboardOpensAndTheServicesRun()
    {
        ShellBench bench(Session::SignedIn);
        bench.app.launch();
        QVERIFY(!bench.engine.isTracking());
        bench.mainQueue.advance(500ms);
        QVERIFY(bench.engine.isTracking());
        QVERIFY(bench.sync.timer());
        QCOMPARE(bench.fake.repeatingTimers.running(), 2U);
        bench.deliverUrls();
        QCOMPARE(bench.windows.open(), QStringList{QStringLiteral("dashboard")});
        QCOMPARE(bench.activation.calls.last(), QStringLiteral("activate"));
    }

    void theFirstWindowWaitsForTheKeyringsFirstAnswer()
    {
        ShellBench bench(Session::KeyringIsSlow);
        bench.app.launch();
        bench.mainQueue.advance(2s);
        QVERIFY(bench.urlOpener.opened.isEmpty());
        bench.fake.secretStore.answerReads();
        QTRY_COMPARE(bench.urlOpener.opened, QStringList{QStringLiteral("velomira://dashboard")});
        QVERIFY(bench.engine.isTracking());
        QCOMPARE(bench.fake.repeatingTimers.scheduled, 2);
    }

    void aKeyringThatGivesNothingInTimeOpensTheLoginWindow()
    {
        ShellBench bench(Session::KeyringIsSlow);
        bench.fake.secretStore.works = false;
        bench.app.launch();
        bench.mainQueue.advance(3s);
        QVERIFY(bench.urlOpener.opened.isEmpty());
        bench.fake.secretStore.answerReads();
        QTRY_COMPARE(bench.urlOpener.opened, QStringList{QStringLiteral("velomira://login")});
    }

    void openedAgainWhileTheKeyringIsAwaitedNoSecondWindowOpens()
    {
        ShellBench bench(Session::KeyringIsSlow);
        platform::ApplicationRequests requests;
        bench.app.answer(requests);
        bench.app.launch();
        bench.mainQueue.advance(1s);
        Q_EMIT requests.activated({});
        QVERIFY(bench.urlOpener.opened.isEmpty());
        bench.fake.secretStore.answerReads();
        QTRY_COMPARE(bench.urlOpener.opened.size(), 1);
        bench.deliverUrls();
        QCOMPARE(bench.windows.open(), QStringList{QStringLiteral("dashboard")});
        bench.windows.close(QStringLiteral("dashboard"));
        Q_EMIT requests.activated({}); // it is launched now
        QCOMPARE(bench.urlOpener.opened, QStringList{QStringLiteral("velomira://dashboard")});
    }

    void aKeyringThatIsUnlockedLaterReplacesAnUntouchedLoginWindow()
    {
        ShellBench bench;
        bench.app.launch();
        bench.mainQueue.advance(500ms);
        bench.deliverUrls();
        QCOMPARE(bench.windows.open(), QStringList{QStringLiteral("login")});
        bench.unlockKeyring();
        QCOMPARE(bench.windows.open(), QStringList{QStringLiteral("dashboard")});
        QVERIFY(bench.engine.isTracking());
        QVERIFY(bench.sync.timer());
    }

    void aLoginWindowInUseStaysWhenTheKeyringIsUnlocked()
    {
        ShellBench bench;
        bench.app.launch();
        bench.mainQueue.advance(500ms);
        bench.deliverUrls();
        bench.windows.use(QStringLiteral("login"));
        bench.unlockKeyring();
        QCOMPARE(bench.windows.open(), QStringList{QStringLiteral("login")});
        QVERIFY(bench.engine.isTracking());
        QVERIFY(bench.sync.timer());
    }

    void aLateSessionOpensNoWindowWhenTheLoginWindowWasClosed()
    {
        ShellBench bench;
        bench.app.launch();
        bench.mainQueue.advance(500ms);
        bench.deliverUrls();
        bench.windows.close(QStringLiteral("login"));
        bench.unlockKeyring();
        QVERIFY(bench.windows.open().isEmpty());
        QVERIFY(bench.engine.isTracking());
    }

    void aSessionBeforeTheFirstWindowStartsNothingByItself()
    {
        ShellBench bench(Session::KeyringIsSlow);
        bench.app.launch();
        bench.mainQueue.advance(499ms);
        bench.fake.secretStore.answerReads();
        QVERIFY(!bench.engine.isTracking());
        bench.mainQueue.advance(1ms);
        QVERIFY(bench.engine.isTracking());
        QCOMPARE(bench.fake.repeatingTimers.scheduled, 2);
    }

    void activatedByTheBusThatStartsItOnlyTheDashboardOpens()
    {
        ShellBench bench(Session::KeyringIsSlow);
        platform::ApplicationRequests requests;
        bench.app.answer(requests);
        bench.app.launch();
        Q_EMIT requests.activated({});
        bench.deliverUrls();
        bench.fake.secretStore.answerReads();
        bench.mainQueue.advance(500ms);
        bench.deliverUrls();
        QCOMPARE(bench.windows.open(), QStringList{QStringLiteral("dashboard")});
    }

    void activatedByTheBusThatStartsItTheLoginWindowOpensOnce()
    {
        ShellBench bench;
        platform::ApplicationRequests requests;
        bench.app.answer(requests);
        bench.app.launch();
        Q_EMIT requests.activated({});
        bench.mainQueue.advance(500ms);
        QCOMPARE(bench.urlOpener.opened, QStringList{QStringLiteral("velomira://login")});
    }

    void theApplicationsOwnEngineNeverRuns()
    {
        // Only the engine that was given ticks: one timer for it, one for the uploads.
        ShellBench bench(Session::SignedIn);
        bench.fake.frontmostApplication.application = platform::Application{};
        bench.app.launch();
        bench.mainQueue.advance(1s);
        bench.fake.repeatingTimers.fire();
        QCOMPARE(bench.store.activities().size(), 1U);
    }

    // Opened again

    void reopenedWithoutWindowsTheFirstWindowOpensAtOnce()
    {
        ShellBench bench;
        platform::ApplicationRequests requests;
        bench.app.answer(requests);
        Q_EMIT requests.activated({});
        QCOMPARE(bench.urlOpener.opened, QStringList{QStringLiteral("velomira://login")});
        bench.deliverUrls();
        bench.windows.close(QStringLiteral("login"));
        Q_EMIT requests.activated({});
        bench.deliverUrls();
        QCOMPARE(bench.windows.open(), QStringList{QStringLiteral("login")});
    }

    void reopenedWithAVisibleWindowItOnlyComesForward()
    {
        ShellBench bench(Session::SignedIn);
        platform::ApplicationRequests requests;
        bench.app.answer(requests);
        bench.app.openUrl(QStringLiteral("velomira://login"));
        bench.windows.events.clear();
        Q_EMIT requests.activated({.value = QStringLiteral("t")});
        QVERIFY(bench.urlOpener.opened.isEmpty());
        // Which one that is, if there are several, is known to the activation.
        QVERIFY(bench.windows.events.isEmpty());
        QCOMPARE(bench.activation.calls.last(), QStringLiteral("activate by t"));
        QVERIFY(!bench.engine.isTracking());
    }

    void reopenedWithOnlyAMinimisedWindowTheFirstWindowOpens()
    {
        ShellBench bench(Session::SignedIn);
        platform::ApplicationRequests requests;
        bench.app.answer(requests);
        bench.app.openUrl(QStringLiteral("velomira://dashboard"));
        bench.windows.minimise(QStringLiteral("dashboard"));
        Q_EMIT requests.activated({});
        bench.deliverUrls();
        QCOMPARE(bench.windows.open(), QStringList{QStringLiteral("dashboard")});
        QVERIFY(bench.app.windows().hasVisibleWindows());
    }

    void theDelegateAlwaysHandlesAReopen()
    {
        ShellBench bench;
        app::AppDelegate delegate(bench.services, bench.desktop);
        QVERIFY(delegate.applicationShouldHandleReopen(true));
        QVERIFY(bench.urlOpener.opened.isEmpty());
        QVERIFY(bench.activation.calls.isEmpty());
        QVERIFY(delegate.applicationShouldHandleReopen(false));
        QCOMPARE(bench.urlOpener.opened.size(), 1);
    }

    // Addresses and actions

    void theDashboardsAddressOpensItAlsoSignedOut()
    {
        ShellBench bench;
        platform::ApplicationRequests requests;
        bench.app.answer(requests);
        Q_EMIT requests.urlOpened(QStringLiteral("velomira://dashboard"),
                                  {.value = QStringLiteral("t")});
        QCOMPARE(
            bench.windows.events,
            (QStringList{QStringLiteral("create dashboard"), QStringLiteral("present dashboard")}));
        QCOMPARE(bench.activation.calls, QStringList{QStringLiteral("activate by t")});
    }

    void theSameAddressTwiceLeavesOneWindow()
    {
        ShellBench bench;
        bench.app.openUrl(QStringLiteral("velomira://login"));
        bench.app.openUrl(QStringLiteral("velomira://login"));
        QCOMPARE(bench.windows.open(), QStringList{QStringLiteral("login")});
        QCOMPARE(bench.windows.events.last(), QStringLiteral("present login"));
    }

    void foreignAddressesAreIgnored()
    {
        ShellBench bench;
        bench.app.openUrl(QStringLiteral("https://example.org/login"));
        bench.app.openUrl(QStringLiteral("velomira://elsewhere"));
        QVERIFY(bench.windows.open().isEmpty());
    }

    void launcherActionsOpenTheirWindows()
    {
        ShellBench bench;
        platform::ApplicationRequests requests;
        bench.app.answer(requests);
        QSignalSpy quit(&bench.app, &app::QuillstepApp::quitRequested);
        for (const char* name : {"dashboard", "login", "settings", "nothing", ""})
            Q_EMIT requests.actionRequested(QString::fromLatin1(name), {});
        QCOMPARE(bench.windows.open(),
                 (QStringList{QStringLiteral("dashboard"),
                              QStringLiteral("login"),
                              QStringLiteral("settings")}));
        QCOMPARE(quit.size(), 0);
        Q_EMIT requests.actionRequested(QStringLiteral("quit"), {});
        QCOMPARE(quit.size(), 1);
    }

    // What other starts of the program wait for

    void askedToSignOutItAnswersWhenTheKeyringHasFollowed()
    {
        ShellBench bench(Session::SignedIn);
        bench.fake.secretStore.holdsChanges = true;
        Tasks tasks(bench);
        tasks.ask(platform::tasks::kSignOut);
        QVERIFY(!bench.auth.isAuthenticated());
        QVERIFY(tasks.answers.isEmpty());
        bench.fake.secretStore.answerChanges();
        QTRY_COMPARE(tasks.answers, QStringList{QStringLiteral("done")});
        QVERIFY(!bench.auth.owesRemoval());
    }

    void askedToSignOutWithALockedKeyringItAnswersThatItIsRemembered()
    {
        ShellBench bench(Session::SignedIn);
        bench.fake.secretStore.holdsChanges = true; // a prompt that nobody answers
        Tasks tasks(bench);
        tasks.ask(platform::tasks::kSignOut);
        bench.mainQueue.advance(3s);
        QCOMPARE(tasks.answers, QStringList{QStringLiteral("done")});
        QVERIFY(bench.auth.owesRemoval());
        bench.fake.secretStore.answerChanges();
    }

    void aSignOutThatCannotBeRememberedIsNotDone()
    {
        ShellBench bench(Session::SignedIn);
        bench.settingsReachTheDisk = false;
        Tasks tasks(bench);
        tasks.ask(platform::tasks::kSignOut);
        QVERIFY2(tasks.answers.value(0).contains(QStringLiteral("settings cannot be written")),
                 qPrintable(tasks.answers.value(0)));
    }

    void aSessionThatAnotherStartHasSavedGoesOnWithItsServices()
    {
        ShellBench bench;
        Tasks tasks(bench);
        tasks.ask(platform::tasks::kSignInBegins);
        bench.storeSession("new");
        tasks.ask(platform::tasks::kSignInSaved);
        QTRY_COMPARE(tasks.answers, (QStringList{QStringLiteral("done"), QStringLiteral("done")}));
        QCOMPARE(bench.auth.token(), QStringLiteral("new"));
        QVERIFY(bench.engine.isTracking());
        QVERIFY(bench.sync.timer());
    }

    void aSessionThatIsNotInTheKeyringIsNotTakenOver()
    {
        ShellBench bench;
        Tasks tasks(bench);
        tasks.ask(platform::tasks::kSignInBegins);
        tasks.ask(platform::tasks::kSignInSaved);
        QTRY_COMPARE(tasks.answers.value(1), QStringLiteral("the keyring gives it no session"));
        QVERIFY(!bench.engine.isTracking());
    }

    void aSignInBeginsOnlyWhenTheKeyringHasAnswered()
    {
        ShellBench bench(Session::SignedIn);
        bench.fake.secretStore.holdsChanges = true;
        bench.auth.logout();
        Tasks tasks(bench);
        tasks.ask(platform::tasks::kSignInBegins);
        QVERIFY(tasks.answers.value(0).contains(QStringLiteral("prompt")));
        bench.fake.secretStore.answerChanges();
        tasks.ask(platform::tasks::kSignInBegins);
        QCOMPARE(tasks.answers.value(1), QStringLiteral("done"));
        tasks.ask(platform::tasks::kSignInFailed);
        QCOMPARE(tasks.answers.value(2), QStringLiteral("done"));
        QVERIFY(!bench.auth.isAuthenticated());
    }

    // The menu

    void theMenuFollowsTheServices()
    {
        MenuBench bench(Session::SignedOut);
        QVERIFY(texts(bench.item.rows).contains(QStringLiteral("Log In")));
        bench.engine.start();
        QVERIFY(!texts(bench.item.rows).contains(QStringLiteral("Pause Tracking")));
        bench.signIn(R"({"id":1,"name":"Ada","email":"a@b.example"})");
        QCOMPARE(texts(bench.item.rows).value(3), QString::fromUtf8("\xF0\x9F\x91\xA4 Ada"));
        QCOMPARE(texts(bench.item.rows).value(4),
                 QString::fromUtf8("\xE2\x9C\x93 Tracking Active"));
        bench.engine.stop();
        QCOMPARE(texts(bench.item.rows).value(4),
                 QString::fromUtf8("\xE2\x8F\xB8 Tracking Paused"));
        bench.auth.logout();
        QVERIFY(texts(bench.item.rows).contains(QStringLiteral("Log In")));
    }

    void theUserLineFallsThroughOnlyWhatIsAbsent_data()
    {
        QTest::addColumn<QByteArray>("user");
        QTest::addColumn<QString>("shown");
        QTest::newRow("name") << QByteArray(R"({"id":1,"name":"Ada","email":"a@b.example"})")
                              << "Ada";
        QTest::newRow("e-mail only")
            << QByteArray(R"({"id":1,"email":"a@b.example"})") << "a@b.example";
        QTest::newRow("neither") << QByteArray(R"({"id":1})") << "User";
        QTest::newRow("empty name")
            << QByteArray(R"({"id":1,"name":"","email":"a@b.example"})") << "";
    }

    void theUserLineFallsThroughOnlyWhatIsAbsent()
    {
        QFETCH(QByteArray, user);
        QFETCH(QString, shown);
        MenuBench bench(Session::SignedOut);
        bench.signIn(user);
        QCOMPARE(texts(bench.item.rows).value(3), QString::fromUtf8("\xF0\x9F\x91\xA4 ") + shown);
    }

    void pauseAndResumeDriveTheEngine()
    {
        MenuBench bench;
        bench.choose(MenuCommand::ToggleTracking);
        QVERIFY(bench.engine.isTracking());
        QCOMPARE(rowOf(bench.item.rows, MenuCommand::ToggleTracking).text,
                 QStringLiteral("Pause Tracking"));
        bench.choose(MenuCommand::ToggleTracking);
        QVERIFY(!bench.engine.isTracking());
        QCOMPARE(rowOf(bench.item.rows, MenuCommand::ToggleTracking).text,
                 QStringLiteral("Resume Tracking"));
    }

    void syncNowIsDisabledWhileASyncRuns()
    {
        MenuBench bench;
        bench.store.addLog(samples::log("Editor", "title", 785000000.0));
        bench.choose(MenuCommand::SyncNow);
        QVERIFY(!bench.sync.isSyncing());
        bench.mainQueue.advance();
        QVERIFY(bench.sync.isSyncing());
        QVERIFY(!rowOf(bench.item.rows, MenuCommand::SyncNow).isEnabled);
        bench.choose(MenuCommand::SyncNow);
        bench.mainQueue.advance();
        QTRY_COMPARE(bench.fake.httpClient.waiting(), 1U);
        bench.fake.httpClient.answer(
            platform::TransferFailure{.text = QStringLiteral("no"), .description = {}});
        QTRY_VERIFY(rowOf(bench.item.rows, MenuCommand::SyncNow).isEnabled);
        QCOMPARE(bench.fake.httpClient.requests.size(), 1);
    }

    void windowsOpenFromTheMenuAndComeForward()
    {
        MenuBench bench;
        bench.choose(MenuCommand::OpenDashboard);
        QCOMPARE(bench.windows.open(), QStringList{QStringLiteral("dashboard")});
        QCOMPARE(bench.activation.calls.size(), 1);
        bench.choose(MenuCommand::OpenSettings);
        QCOMPARE(bench.windows.open().size(), 2);
        QCOMPARE(bench.activation.calls.size(), 1); // on the next turn only
        bench.mainQueue.advance();
        QCOMPARE(bench.activation.calls.size(), 2);
        bench.auth.logout();
        bench.choose(MenuCommand::LogIn);
        QCOMPARE(bench.windows.open().last(), QStringLiteral("login"));
        QVERIFY(!bench.app.isShowingLogin());
    }

    void aRowThatIsNotThereCannotBeChosen()
    {
        MenuBench bench(Session::SignedOut);
        bench.choose(MenuCommand::OpenDashboard);
        bench.choose(MenuCommand::ToggleTracking);
        Q_EMIT bench.item.chosen(4711);
        QVERIFY(bench.windows.open().isEmpty());
        QVERIFY(!bench.engine.isTracking());
    }

    void shortcutsAreThoseOfTheRowsThatAreThere()
    {
        MenuBench bench(Session::SignedOut);
        QVERIFY(!bench.app.menu().chooseByShortcut(QStringLiteral("Ctrl+D")));
        QVERIFY(!bench.app.menu().chooseByShortcut(QString()));
        QVERIFY(bench.app.menu().chooseByShortcut(QStringLiteral("Ctrl+,")));
        QCOMPARE(bench.windows.open(), QStringList{QStringLiteral("settings")});
        QSignalSpy quit(&bench.app, &app::QuillstepApp::quitRequested);
        QVERIFY(bench.app.menu().chooseByShortcut(QStringLiteral("Ctrl+Q")));
        QCOMPARE(quit.size(), 1);
        bench.signIn(R"({"id":1})");
        QVERIFY(bench.app.menu().chooseByShortcut(QStringLiteral("Ctrl+D")));
        QCOMPARE(bench.windows.open().last(), QStringLiteral("dashboard"));
    }

    void shownWhileSignedInTheUploadsBeginAnewAndTrackingStarts()
    {
        MenuBench bench;
        Q_EMIT bench.item.aboutToShow();
        QVERIFY(bench.engine.isTracking());
        const auto* const first = bench.sync.timer();
        QVERIFY(first);
        QSignalSpy timers(&bench.sync, &syncing::SyncService::timerChanged);
        QSignalSpy tracking(&bench.engine, &tracking::TrackingEngine::timerChanged);
        Q_EMIT bench.item.aboutToShow();
        QCOMPARE(timers.size(), 2); // none, then a new one
        QCOMPARE(tracking.size(), 0);
        QCOMPARE(bench.fake.repeatingTimers.running(), 2U);
        QCOMPARE(bench.fake.repeatingTimers.scheduled, 3);
    }

    void shownDuringAPauseOnlyTheUploadsBeginAnew_data()
    {
        QTest::addColumn<bool>("byTheMenu");
        QTest::newRow("paused by the menu") << true;
        QTest::newRow("paused elsewhere") << false;
    }

    void shownDuringAPauseOnlyTheUploadsBeginAnew()
    {
        QFETCH(bool, byTheMenu);
        MenuBench bench;
        bench.choose(MenuCommand::ToggleTracking);
        if (byTheMenu)
            bench.choose(MenuCommand::ToggleTracking);
        else
            bench.engine.stop();
        QSignalSpy timers(&bench.sync, &syncing::SyncService::timerChanged);
        for (int i = 0; i < 2; ++i)
            Q_EMIT bench.item.aboutToShow();
        QVERIFY(!bench.engine.isTracking());
        QVERIFY(texts(bench.item.rows).contains(QString::fromUtf8("\xE2\x8F\xB8 Tracking Paused")));
        QVERIFY(bench.sync.timer());
        QCOMPARE(timers.size(), 4); // each time none, then a new one
        bench.choose(MenuCommand::ToggleTracking);
        QVERIFY(bench.engine.isTracking());
        Q_EMIT bench.item.aboutToShow();
        QVERIFY(bench.engine.isTracking());
    }

    void startedAgainWithoutAWindowItEndsAPause()
    {
        MenuBench bench;
        platform::ApplicationRequests requests;
        bench.app.answer(requests);
        bench.engine.start();
        bench.engine.stop();
        Q_EMIT requests.activated({});
        QVERIFY(bench.engine.isTracking());
    }

    void shownWhileSignedOutNothingStarts()
    {
        MenuBench bench(Session::SignedOut);
        Q_EMIT bench.item.aboutToShow();
        QVERIFY(!bench.engine.isTracking());
        QVERIFY(!bench.sync.timer());
    }
};

QUILLSTEP_TEST(TestQuillstepApp)
#include "tst_quillstep_app.moc"
