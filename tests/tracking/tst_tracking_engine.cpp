// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "activity/data_store.h"
#include "tests/fakes/fake_environment.h"
#include "tests/support/dies_with.h"
#include "tests/support/test_program.h"
#include "tracking/tracking_engine.h"

#include <QTest>

#include <cmath>
#include <limits>
#include <memory>
#include <set>

using platform::Application;
using tracking::TrackingEngine;
using namespace std::chrono_literals;

namespace {

Application editor()
{
    return {.localizedName = QStringLiteral("Editor"),
            .bundleIdentifier = QStringLiteral("org.example.Editor"),
            .processIdentifier = 42,
            .window = 7};
}

Application browser(const char* dialect)
{
    return {.localizedName = QStringLiteral("Browser"),
            .bundleIdentifier =
                QStringLiteral("org.example.Browser") + QString::fromLatin1(dialect),
            .processIdentifier = 43,
            .window = 8};
}

/// An engine that tracks on fakes, with an editor in front.
struct Bench
{
    Bench()
    {
        fake.frontmostApplication.application = editor();
        fake.windowTitle.titles = {{7, QStringLiteral("notes.txt")}, {8, QStringLiteral("A page")}};
        engine.start();
    }

    void tick() { fake.repeatingTimers.fire(); }

    [[nodiscard]] const activity::ActivityList& logs() const { return store.activities(); }

    [[nodiscard]] const activity::ActivityLog& last() const { return logs()[logs().size() - 1]; }

    fakes::FakeEnvironment fake;
    activity::DataStore store{{.applicationSupport = QStringLiteral("/data"),
                               .files = fake.atomicFiles,
                               .diagnostics = fake.diagnostics}};
    TrackingEngine engine{fake.facilities, store};
};

} // namespace

class TestTrackingEngine final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void constructionStartsNothing()
    {
        fakes::FakeEnvironment fake;
        activity::DataStore store({.applicationSupport = QStringLiteral("/data"),
                                   .files = fake.atomicFiles,
                                   .diagnostics = fake.diagnostics});
        const TrackingEngine engine(fake.facilities, store);
        QVERIFY(!engine.isTracking());
        QVERIFY(engine.timer() == nullptr);
        QCOMPARE(engine.currentApp(), QString());
        QCOMPARE(engine.currentTitle(), QString());
        QCOMPARE(engine.currentURL(), QString());
        QCOMPARE(engine.idleTime(), 0.0);
        QCOMPARE(fake.repeatingTimers.scheduled, 0);
    }

    void startSamplesNothingAndTicksOnceASecond()
    {
        Bench bench;
        QVERIFY(bench.engine.isTracking());
        QCOMPARE(bench.fake.repeatingTimers.interval(), 1000ms);
        QCOMPARE(bench.fake.idleTime.calls, 0);
        QVERIFY(bench.logs().empty());
        bench.tick();
        QCOMPARE(bench.logs().size(), 1UL);
    }

    void startTwiceLeavesExactlyOneTimer()
    {
        Bench bench;
        const auto* timer = bench.engine.timer();
        bench.engine.start();
        QCOMPARE(bench.engine.timer(), timer);
        QCOMPARE(bench.fake.repeatingTimers.scheduled, 1);
        QCOMPARE(bench.fake.repeatingTimers.running(), 1UL);
    }

    void stopThenStartCreatesAFreshTimer()
    {
        Bench bench;
        bench.engine.stop();
        QVERIFY(!bench.engine.isTracking());
        QVERIFY(bench.engine.timer() == nullptr);
        QCOMPARE(bench.fake.repeatingTimers.running(), 0UL);
        bench.engine.start();
        QCOMPARE(bench.fake.repeatingTimers.scheduled, 2);
        QCOMPARE(bench.fake.repeatingTimers.running(), 1UL);
    }

    void stopWhenStoppedChangesNothing()
    {
        Bench bench;
        bench.engine.stop();
        int changes = 0;
        connect(&bench.engine, &TrackingEngine::isTrackingChanged, [&changes] { ++changes; });
        connect(&bench.engine, &TrackingEngine::timerChanged, [&changes] { ++changes; });
        bench.engine.stop();
        QVERIFY(!bench.engine.isTracking());
        QCOMPARE(changes, 0);
    }

    void itIsPausedOnlyFromAStopToTheNextStart()
    {
        fakes::FakeEnvironment fake;
        activity::DataStore store{{.applicationSupport = QStringLiteral("/data"),
                                   .files = fake.atomicFiles,
                                   .diagnostics = fake.diagnostics}};
        TrackingEngine engine(fake.facilities, store);
        QVERIFY(!engine.isPaused());
        engine.stop();
        QVERIFY(!engine.isPaused());
        engine.start();
        QVERIFY(!engine.isPaused());
        engine.stop();
        QVERIFY(engine.isPaused());
        engine.start();
        QVERIFY(!engine.isPaused());
    }

    void stopKeepsTheLastValuesAndPrintsNothing()
    {
        Bench bench;
        bench.fake.idleTime.seconds = 3;
        bench.tick();
        const auto lines = bench.fake.diagnostics.lines();
        bench.engine.stop();
        QCOMPARE(bench.engine.currentApp(), QStringLiteral("Editor"));
        QCOMPARE(bench.engine.currentTitle(), QStringLiteral("notes.txt"));
        QCOMPARE(bench.engine.idleTime(), 3.0);
        QCOMPARE(bench.fake.diagnostics.lines(), lines);
        QCOMPARE(bench.logs().size(), 1UL);
    }

    void anEngineThatIsGoneNoLongerTicks()
    {
        fakes::FakeEnvironment fake;
        activity::DataStore store({.applicationSupport = QStringLiteral("/data"),
                                   .files = fake.atomicFiles,
                                   .diagnostics = fake.diagnostics});
        auto engine = std::make_unique<TrackingEngine>(fake.facilities, store);
        engine->start();
        engine.reset();
        fake.repeatingTimers.fire();
        QCOMPARE(fake.idleTime.calls, 0);
    }

    void anActiveTickRecordsOneSecondWithAllFields()
    {
        Bench bench;
        bench.fake.clock.time = 812345678.5;
        bench.tick();
        QCOMPARE(bench.logs().size(), 1UL);
        QCOMPARE(bench.last().appName.toString(), QStringLiteral("Editor"));
        QVERIFY(bench.last().windowTitle.has_value());
        QCOMPARE(bench.last().windowTitle->toString(), QStringLiteral("notes.txt"));
        QVERIFY(!bench.last().url);
        QCOMPARE(bench.last().timestamp, 812345678.5);
        QCOMPARE(bench.last().duration, 1.0);
        QCOMPARE(bench.fake.diagnostics.lines(),
                 QStringList(QStringLiteral("Tick: Editor | notes.txt | --")));
    }

    void tenActiveSecondsInOneWindowAreTenRecordsWithTenIds()
    {
        Bench bench;
        std::set<platform::Uuid> ids;
        for (int i = 0; i < 10; ++i)
            bench.tick();
        for (const activity::ActivityLog& log : bench.logs()) {
            ids.insert(log.id);
            QCOMPARE(log.duration, 1.0);
        }
        QCOMPARE(ids.size(), 10UL);
    }

    void anUnchangedSampleSharesItsTextsAndEachChangeIsRecorded()
    {
        Bench bench;
        bench.tick();
        bench.tick();
        QVERIFY(bench.logs()[0].appName.sharesBufferWith(bench.logs()[1].appName));
        QVERIFY(bench.logs()[0].windowTitle->sharesBufferWith(*bench.logs()[1].windowTitle));
        bench.fake.windowTitle.titles[7] = QStringLiteral("other.txt");
        bench.tick();
        bench.fake.frontmostApplication.application->localizedName = QStringLiteral("Writer");
        bench.tick();
        bench.fake.frontmostApplication.application = browser("+Chrome");
        bench.fake.scriptRunner.answer = std::optional<QString>();
        bench.tick();
        bench.fake.scriptRunner.answer = std::optional(QString());
        bench.tick();
        QVERIFY(bench.last().url.has_value());
        bench.fake.scriptRunner.answer = std::optional(QStringLiteral("https://a.example/"));
        bench.tick();
        QCOMPARE(bench.fake.diagnostics.lines(),
                 (QStringList{QStringLiteral("Tick: Editor | notes.txt | --"),
                              QStringLiteral("Tick: Editor | notes.txt | --"),
                              QStringLiteral("Tick: Editor | other.txt | --"),
                              QStringLiteral("Tick: Writer | other.txt | --"),
                              QStringLiteral("Tick: Browser | A page | --"),
                              QStringLiteral("Tick: Browser | A page | "),
                              QStringLiteral("Tick: Browser | A page | https://a.example/")}));
    }

    void idleAtExactlyThresholdStillRecords()
    {
        Bench bench;
        bench.fake.idleTime.seconds = 120.0;
        bench.tick();
        QCOMPARE(bench.logs().size(), 1UL);
    }

    void idleJustAboveThresholdPrintsTheLineAndRecordsNothing()
    {
        Bench bench;
        bench.fake.idleTime.seconds = 120.001;
        bench.tick();
        QVERIFY(bench.logs().empty());
        QCOMPARE(bench.fake.diagnostics.lines(), QStringList(QStringLiteral("Idle: 120s")));
        QCOMPARE(bench.fake.frontmostApplication.calls, 0);
    }

    void whileIdleTheCurrentValuesStayAndIdleTimeRises()
    {
        Bench bench;
        bench.fake.frontmostApplication.application = browser("+Chrome");
        bench.fake.scriptRunner.answer = std::optional(QStringLiteral("https://a.example/"));
        bench.tick();
        bench.fake.frontmostApplication.application = editor();
        for (const double idle : {121.0, 122.0, 123.5}) {
            bench.fake.idleTime.seconds = idle;
            bench.tick();
            QCOMPARE(bench.engine.idleTime(), idle);
            QCOMPARE(bench.engine.currentApp(), QStringLiteral("Browser"));
            QCOMPARE(bench.engine.currentTitle(), QStringLiteral("A page"));
            QCOMPARE(bench.engine.currentURL(), QStringLiteral("https://a.example/"));
        }
        bench.fake.idleTime.seconds = 0;
        bench.tick();
        QCOMPARE(bench.logs().size(), 2UL);
        QCOMPARE(bench.engine.currentApp(), QStringLiteral("Editor"));
        QCOMPARE(bench.engine.currentURL(), QString());
    }

    void unknownIdleTimeCountsAsActivity()
    {
        Bench bench;
        bench.fake.idleTime.seconds = std::numeric_limits<double>::quiet_NaN();
        bench.tick();
        QCOMPARE(bench.logs().size(), 1UL);
        QVERIFY(std::isnan(bench.engine.idleTime()));
    }

    void anIdleTimeThatNoIntegerHoldsIsFatal_data()
    {
        QTest::addColumn<double>("seconds");
        QTest::newRow("infinite") << std::numeric_limits<double>::infinity();
        QTest::newRow("2^63") << 0x1p63;
    }

    void anIdleTimeThatNoIntegerHoldsIsFatal()
    {
        QFETCH(double, seconds);
        QVERIFY(support::diesWith("is not a number of seconds", [seconds] {
            Bench bench;
            bench.fake.idleTime.seconds = seconds;
            bench.tick();
        }));
    }

    void nothingInFrontEndsTheTickSilentlyAfterIdleTime()
    {
        Bench bench;
        bench.tick();
        const auto lines = bench.fake.diagnostics.lines();
        bench.fake.frontmostApplication.application.reset();
        bench.fake.idleTime.seconds = 5;
        bench.tick();
        QCOMPARE(bench.engine.idleTime(), 5.0);
        QCOMPARE(bench.engine.currentApp(), QStringLiteral("Editor"));
        QCOMPARE(bench.logs().size(), 1UL);
        QCOMPARE(bench.fake.diagnostics.lines(), lines);
    }

    void anApplicationWithoutNameIsRecordedByItsIdentifier()
    {
        Bench bench;
        bench.fake.frontmostApplication.application->localizedName.reset();
        bench.tick();
        QCOMPARE(bench.last().appName.toString(), QStringLiteral("org.example.Editor"));
    }

    void anApplicationWithoutNameAndIdentifierIsUnknown()
    {
        Bench bench;
        bench.fake.frontmostApplication.application.emplace();
        bench.tick();
        QCOMPARE(bench.last().appName.toString(), QStringLiteral("Unknown"));
        QCOMPARE(bench.engine.currentApp(), QStringLiteral("Unknown"));
    }

    void anApplicationWithoutFocusedWindowHasTheEmptyTitleNotNone()
    {
        Bench bench;
        bench.fake.windowTitle.titles.clear();
        bench.tick();
        QVERIFY(bench.last().windowTitle.has_value());
        QCOMPARE(bench.last().windowTitle->view(), std::string_view(""));
        QCOMPARE(bench.fake.diagnostics.lines(),
                 QStringList(QStringLiteral("Tick: Editor |  | --")));
    }

    void theTitleIsThatOfTheApplicationInFront()
    {
        Bench bench;
        bench.tick();
        QCOMPARE(bench.fake.windowTitle.askedFor.size(), 1UL);
        QVERIFY(bench.fake.windowTitle.askedFor.front() == editor());
    }

    void aBrowserIsAskedInItsDialectForItsAddress()
    {
        for (const auto& [dialect, word] : {std::pair("+Chrome", "Google Chrome"),
                                            std::pair("+Safari", "Safari"),
                                            std::pair("+SafariChrome", "Google Chrome")}) {
            Bench bench;
            bench.fake.frontmostApplication.application = browser(dialect);
            bench.fake.scriptRunner.answer = std::optional(QStringLiteral("https://a.example/?q"));
            bench.tick();
            QCOMPARE(bench.fake.scriptRunner.sources.size(), 1);
            QVERIFY(bench.fake.scriptRunner.sources.first().contains(QString::fromLatin1(word)));
            QVERIFY(bench.last().url.has_value());
            QCOMPARE(bench.last().url->toString(), QStringLiteral("https://a.example/?q"));
            QCOMPARE(bench.engine.currentURL(), QStringLiteral("https://a.example/?q"));
            QCOMPARE(bench.fake.diagnostics.lines(),
                     QStringList(QStringLiteral("Tick: Browser | A page | https://a.example/?q")));
        }
    }

    void otherApplicationsAreNotAsked()
    {
        Bench bench;
        bench.tick();
        bench.fake.frontmostApplication.application->bundleIdentifier.reset();
        bench.fake.frontmostApplication.application->localizedName = QStringLiteral("Chrome");
        bench.tick();
        QVERIFY(bench.fake.scriptRunner.sources.isEmpty());
    }

    void aFailingScriptGivesARecordWithoutAddress()
    {
        Bench bench;
        bench.fake.frontmostApplication.application = browser("+Safari");
        bench.fake.scriptRunner.answer = platform::Error{QStringLiteral("refused")};
        bench.tick();
        QCOMPARE(bench.last().windowTitle->toString(), QStringLiteral("A page"));
        QVERIFY(!bench.last().url);
        QCOMPARE(bench.engine.currentURL(), QString());
        QCOMPARE(bench.fake.diagnostics.lines(),
                 QStringList(QStringLiteral("Tick: Browser | A page | --")));
    }

    void aScriptWithoutATextAsResultGivesNoAddress()
    {
        Bench bench;
        bench.fake.frontmostApplication.application = browser("+Chrome");
        bench.fake.scriptRunner.answer = std::optional<QString>();
        bench.tick();
        QVERIFY(!bench.last().url);
    }

    void theAddressOfThePageBeforeIsForgotten()
    {
        Bench bench;
        bench.fake.frontmostApplication.application = browser("+Chrome");
        bench.fake.scriptRunner.answer = std::optional(QStringLiteral("https://a.example/"));
        bench.tick();
        bench.fake.scriptRunner.answer = platform::Error{QStringLiteral("gone")};
        bench.tick();
        QVERIFY(!bench.last().url);
        QCOMPARE(bench.engine.currentURL(), QString());
    }

    void aClockThatStepsBackIsWrittenAsItStands()
    {
        Bench bench;
        for (const double time : {1000.0, 5000.0, 10.0, 11.0}) {
            bench.fake.clock.time = time;
            bench.tick();
            QCOMPARE(bench.last().timestamp, time);
        }
        QCOMPARE(bench.logs().size(), 4UL);
    }

    void changesAreToldOnceEachAndOnlyWhenTheValueChanges()
    {
        Bench bench;
        QStringList told;
        const auto watch = [&](auto signal, const char* name) {
            connect(&bench.engine, signal, [&told, name] { told += QString::fromLatin1(name); });
        };
        watch(&TrackingEngine::idleTimeChanged, "idle");
        watch(&TrackingEngine::currentAppChanged, "app");
        watch(&TrackingEngine::currentTitleChanged, "title");
        watch(&TrackingEngine::currentURLChanged, "url");
        watch(&TrackingEngine::isTrackingChanged, "tracking");
        watch(&TrackingEngine::timerChanged, "timer");
        bench.tick();
        QCOMPARE(told, QStringList({QStringLiteral("app"), QStringLiteral("title")}));
        told.clear();
        bench.tick();
        QCOMPARE(told, QStringList());
        bench.fake.idleTime.seconds = 2;
        bench.fake.frontmostApplication.application = browser("+Chrome");
        bench.fake.scriptRunner.answer = std::optional(QStringLiteral("https://a.example/"));
        bench.tick();
        QCOMPARE(told.join(QLatin1Char(' ')), QStringLiteral("idle app title url"));
        told.clear();
        bench.engine.stop();
        QCOMPARE(told.join(QLatin1Char(' ')), QStringLiteral("tracking timer"));
    }

    void theRecordReachesTheFile()
    {
        Bench bench;
        bench.tick();
        QTRY_VERIFY(bench.fake.atomicFiles.content().contains("notes.txt"));
    }
};

QUILLSTEP_TEST(TestTrackingEngine)
#include "tst_tracking_engine.moc"
