// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/dies_with.h"
#include "tests/support/sync_bench.h"
#include "tests/support/test_program.h"

#include <QSignalSpy>
#include <QTest>

#include <future>
#include <limits>
#include <memory>
#include <utility>

using platform::HttpResponse;
using support::SyncBench;
using namespace std::chrono_literals;

namespace {

const platform::TransferFailure kRefused{
    .text = QStringLiteral("Could not connect to service.example: connection refused"),
    .description = QStringLiteral("TransferFailure(refused, https://service.example): details"),
};

/// More than are folded on the main thread.
constexpr int kManySamples = 5'000;

QStringList attemptLines(const QString& size)
{
    return {QStringLiteral(
                "Velomira Sync: Attempting to sync to https://service.example/api/activity-log"),
            QStringLiteral("Velomira Sync: Using auth token"),
            QStringLiteral("Velomira Sync: Payload size: %1").arg(size)};
}

/// What the uploader tells about its changes, each with its state at that moment.
class Changes final
{
public:
    explicit Changes(SyncBench& bench)
        : m_bench(bench)
    {
        const auto note = [this](const char* what) {
            const auto& service = m_bench.service;
            heard.append(
                QStringLiteral("%1: %2, %3, %4 stored, total %5")
                    .arg(QLatin1StringView(what),
                         service.isSyncing() ? QStringLiteral("syncing") : QStringLiteral("idle"),
                         service.lastSyncError().value_or(QStringLiteral("no error")))
                    .arg(m_bench.stored())
                    .arg(m_bench.fake.userDefaults.integer(QStringLiteral("totalRecordsSynced"))
                             .value_or(0)));
        };
        QObject::connect(&bench.service,
                         &syncing::SyncService::isSyncingChanged,
                         &bench.service,
                         [note] { note("isSyncing"); });
        QObject::connect(&bench.service,
                         &syncing::SyncService::lastSyncErrorChanged,
                         &bench.service,
                         [note] { note("lastSyncError"); });
        QObject::connect(&bench.store,
                         &activity::DataStore::activitiesChanged,
                         &bench.service,
                         [note] { note("activities"); });
    }

    QStringList heard;

private:
    SyncBench& m_bench;
};

/// Holds up whatever an upload does in the background until it is opened.
class Gate final
{
public:
    explicit Gate(SyncBench& bench)
    {
        bench.environment.enterBackground = [opened = m_opened.get_future().share()] {
            opened.wait();
        };
    }

    void open() { m_opened.set_value(); }

private:
    std::promise<void> m_opened;
};

} // namespace

class TestSyncService final : public QObject
{
    Q_OBJECT

    static QMap<QString, QString>& defaults(SyncBench& bench)
    {
        return bench.fake.userDefaults.values;
    }

private Q_SLOTS:

    void constructionStartsNothing()
    {
        const SyncBench bench;
        QVERIFY(bench.service.timer() == nullptr);
        QVERIFY(!bench.service.isSyncing());
        QVERIFY(!bench.service.lastSyncError());
        QVERIFY(!bench.service.lastSyncTime());
        QCOMPARE(bench.fake.repeatingTimers.scheduled, 0);
    }

    void theTimerHasThePeriodOfTheSettings_data()
    {
        QTest::addColumn<QString>("interval");
        QTest::addColumn<int>("minutes");
        QTest::newRow("missing") << QString() << 1;
        QTest::newRow("0") << QStringLiteral("0") << 1;
        QTest::newRow("negative") << QStringLiteral("-5") << 1;
        QTest::newRow("1") << QStringLiteral("1") << 1;
        QTest::newRow("15") << QStringLiteral("15") << 15;
        QTest::newRow("no number") << QStringLiteral("soon") << 1;
    }

    void theTimerHasThePeriodOfTheSettings()
    {
        QFETCH(const QString, interval);
        QFETCH(const int, minutes);
        SyncBench bench;
        if (!interval.isNull())
            defaults(bench)[QStringLiteral("syncInterval")] = interval;
        bench.service.setupTimer();
        QVERIFY(bench.service.timer() != nullptr);
        QCOMPARE(bench.fake.repeatingTimers.interval(), std::chrono::minutes(minutes));
        bench.addSamples(1);
        bench.fake.repeatingTimers.fire();
        QTRY_COMPARE(bench.fake.httpClient.requests.size(), 1);
        QVERIFY(bench.fake.httpClient.requests.first().body.contains(
            QStringLiteral("\"interval_minutes\":%1,").arg(minutes).toUtf8()));
        bench.service.stopTimer();
        QVERIFY(bench.service.timer() == nullptr);
        QCOMPARE(bench.fake.repeatingTimers.running(), 0);
        bench.fake.httpClient.answer(HttpResponse{.status = 200, .body = {}});
        QTRY_VERIFY(!bench.service.isSyncing());
    }

    void aPeriodBeyondReasonIsAWeek()
    {
        SyncBench bench;
        bench.fake.userDefaults.setInteger(QStringLiteral("syncInterval"),
                                           std::numeric_limits<qint64>::max());
        bench.service.setupTimer();
        QCOMPARE(bench.fake.repeatingTimers.interval(), std::chrono::hours(168));
    }

    void aChangedIntervalCountsForTheBodyAtOnceAndForTheTimerLater()
    {
        SyncBench bench;
        bench.service.setupTimer();
        defaults(bench)[QStringLiteral("syncInterval")] = QStringLiteral("30");
        bench.addSamples(1);
        bench.fake.httpClient.answer(HttpResponse{.status = 200, .body = {}});
        bench.sync();
        QVERIFY(bench.fake.httpClient.requests.first().body.contains("\"interval_minutes\":30,"));
        QCOMPARE(bench.fake.repeatingTimers.interval(), 1min);
        bench.service.stopTimer();
        bench.service.setupTimer();
        QCOMPARE(bench.fake.repeatingTimers.interval(), 30min);
    }

    void signedOutNothingIsSent()
    {
        SyncBench bench;
        bench.auth.logout();
        bench.addSamples(3);
        const Changes changes(bench);
        bench.sync();
        QCOMPARE(bench.service.lastSyncError(), QStringLiteral("Not authenticated"));
        QCOMPARE(changes.heard,
                 QStringList{
                     QStringLiteral("lastSyncError: idle, Not authenticated, 3 stored, total 0")});
        QVERIFY(bench.fake.httpClient.requests.isEmpty());
        QCOMPARE(bench.fake.diagnostics.lines(), QStringList());
        QCOMPARE(bench.stored(), 3);
        QVERIFY(!bench.service.lastSyncTime());
    }

    void anEmptyStoreIsASuccessWithoutARequest()
    {
        SyncBench bench;
        bench.fake.clock.time = 800000000.5;
        defaults(bench)[QStringLiteral("totalRecordsSynced")] = QStringLiteral("7");
        defaults(bench)[QStringLiteral("lastSyncRecordCount")] = QStringLiteral("3");
        const Changes changes(bench);
        bench.sync();
        QCOMPARE(changes.heard,
                 QStringList({QStringLiteral("isSyncing: syncing, no error, 0 stored, total 7"),
                              QStringLiteral("isSyncing: idle, no error, 0 stored, total 7")}));
        QVERIFY(bench.fake.httpClient.requests.isEmpty());
        QCOMPARE(bench.service.lastSyncTime(), 800000000.5);
        QCOMPARE(defaults(bench)[QStringLiteral("lastSyncRecordCount")], QStringLiteral("0"));
        QCOMPARE(defaults(bench)[QStringLiteral("totalRecordsSynced")], QStringLiteral("7"));
        QVERIFY(!defaults(bench).contains(QStringLiteral("device_uuid")));
        QCOMPARE(bench.fake.diagnostics.lines(), QStringList());
    }

    void theLargestTotalIsCountedAndOneThatIsNoNumberCountsAsNone()
    {
        SyncBench bench;
        const auto deliver = [&bench] {
            bench.addSamples(1);
            bench.fake.httpClient.answer(HttpResponse{.status = 201, .body = {}});
            bench.sync();
            return defaults(bench)[QStringLiteral("totalRecordsSynced")];
        };
        constexpr qint64 kLargest = std::numeric_limits<qint64>::max();
        defaults(bench)[QStringLiteral("totalRecordsSynced")] = QString::number(kLargest - 1);
        QCOMPARE(deliver(), QString::number(kLargest));
        QVERIFY(support::diesWith("The total of uploaded records is too large", deliver));
        defaults(bench)[QStringLiteral("totalRecordsSynced")] = QStringLiteral("many");
        QCOMPARE(deliver(), QStringLiteral("1"));
    }

    void tenMinutesOfOneWindowAreOneRow()
    {
        SyncBench bench;
        bench.fake.clock.time = 800000000.25;
        defaults(bench)[QStringLiteral("totalRecordsSynced")] = QStringLiteral("41");
        bench.addSamples(600);
        const Changes changes(bench);
        bench.fake.httpClient.answer(HttpResponse{.status = 201, .body = "whatever"});
        bench.sync();

        const QByteArray device = defaults(bench)[QStringLiteral("device_uuid")].toUtf8();
        QCOMPARE(device.size(), 36);
        const platform::HttpRequest& request = bench.fake.httpClient.requests.constFirst();
        QCOMPARE(request.url, QStringLiteral("https://service.example/api/activity-log"));
        QCOMPARE(request.method, platform::HttpMethod::Post);
        QCOMPARE(request.idleLimit, 60s);
        QCOMPARE(request.headers,
                 QList<platform::HttpHeader>({{"Content-Type", "application/json"},
                                              {"Accept", "application/json"},
                                              {"Authorization", "Bearer T"}}));
        QCOMPARE(request.body,
                 "{\"device_id\":\"" + device +
                     "\",\"sync_timestamp\":\"2026-05-09T06:13:20Z\",\"interval_minutes\":1,"
                     "\"activities\":[{\"app_name\":\"Editor\",\"window_title\":\"a title\","
                     "\"duration_seconds\":600,\"start_time\":\"2025-11-16T15:33:20Z\"}]}");

        QCOMPARE(bench.stored(), 0);
        QVERIFY(!bench.service.lastSyncError());
        QCOMPARE(bench.service.lastSyncTime(), 800000000.25);
        QCOMPARE(defaults(bench)[QStringLiteral("lastSyncRecordCount")], QStringLiteral("1"));
        QCOMPARE(defaults(bench)[QStringLiteral("totalRecordsSynced")], QStringLiteral("42"));
        QCOMPARE(
            bench.fake.diagnostics.lines(),
            attemptLines(QStringLiteral("%1 bytes, activities: 1").arg(request.body.size())) +
                QStringList({QStringLiteral("Velomira Sync: Response status code: 201"),
                             QStringLiteral("Velomira Sync Success: Synced 1 activity records.")}));
        QCOMPARE(changes.heard,
                 QStringList({QStringLiteral("isSyncing: syncing, no error, 600 stored, total 41"),
                              QStringLiteral("activities: syncing, no error, 0 stored, total 41"),
                              QStringLiteral("isSyncing: idle, no error, 0 stored, total 42")}));
    }

    void aRefusalKeepsEverything_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("bodyLine"); // null: none
        QTest::newRow("401") << 401 << QByteArray("{\"message\":\"no\"}")
                             << QStringLiteral("{\"message\":\"no\"}");
        QTest::newRow("204") << 204 << QByteArray("") << QStringLiteral("");
        QTest::newRow("302") << 302 << QByteArray("moved") << QStringLiteral("moved");
        QTest::newRow("500") << 500 << QByteArray("ä") << QStringLiteral("ä");
        QTest::newRow("no UTF-8") << 500 << QByteArray("\xFF\xFE") << QString();
        QTest::newRow("cut in a character")
            << 500 << QByteArray(65535, 'x') + "\xC3" << QString(65535, u'x');
    }

    void aRefusalKeepsEverything()
    {
        QFETCH(const int, status);
        QFETCH(const QByteArray, body);
        QFETCH(const QString, bodyLine);
        SyncBench bench;
        bench.addSamples(5);
        const Changes changes(bench);
        bench.fake.httpClient.answer(HttpResponse{.status = status, .body = body});
        bench.sync();
        const QString message = QStringLiteral("Server returned status %1").arg(status);
        QCOMPARE(bench.service.lastSyncError(), message);
        QCOMPARE(bench.stored(), 5);
        QVERIFY(bench.auth.isAuthenticated());
        QVERIFY(!bench.service.lastSyncTime());
        QVERIFY(!defaults(bench).contains(QStringLiteral("totalRecordsSynced")));
        QVERIFY(!defaults(bench).contains(QStringLiteral("lastSyncRecordCount")));
        QStringList lines = bench.fake.diagnostics.lines().mid(3);
        QCOMPARE(lines.takeFirst(),
                 QStringLiteral("Velomira Sync: Response status code: %1").arg(status));
        if (!bodyLine.isNull())
            QCOMPARE(lines.takeFirst(),
                     QStringLiteral("Velomira Sync: Error response body: ") + bodyLine);
        QCOMPARE(lines, QStringList{QStringLiteral("Velomira Sync Failed: ") + message});
        QCOMPARE(changes.heard,
                 QStringList(
                     {QStringLiteral("isSyncing: syncing, no error, 5 stored, total 0"),
                      QStringLiteral("lastSyncError: syncing, %1, 5 stored, total 0").arg(message),
                      QStringLiteral("isSyncing: idle, %1, 5 stored, total 0").arg(message)}));
    }

    void aFailedTransferIsToldInTwoWays()
    {
        SyncBench bench;
        bench.addSamples(2);
        bench.fake.httpClient.answer(kRefused);
        bench.sync();
        QCOMPARE(bench.service.lastSyncError(), kRefused.text);
        QCOMPARE(bench.fake.diagnostics.lines().last(),
                 QStringLiteral("Velomira Sync Failed with error: TransferFailure(refused, "
                                "https://service.example): details"));
        QCOMPARE(bench.fake.diagnostics.lines().size(), 4);
        QCOMPARE(bench.stored(), 2);
    }

    void anAnswerThatIsNotHttpIsSaidWithoutALine()
    {
        SyncBench bench;
        bench.addSamples(2);
        bench.fake.httpClient.answer(platform::NotHttp{});
        bench.sync();
        QCOMPARE(bench.service.lastSyncError(), QStringLiteral("Invalid response type"));
        QCOMPARE(bench.fake.diagnostics.lines().size(), 3);
        QCOMPARE(bench.stored(), 2);
    }

    void anAddressThatDoesNotParseIsSaid()
    {
        SyncBench bench(QStringLiteral("https://[service"));
        bench.addSamples(2);
        bench.sync();
        QCOMPARE(bench.service.lastSyncError(),
                 QStringLiteral("Invalid API URL: https://[service/api/activity-log"));
        QCOMPARE(bench.fake.diagnostics.lines(),
                 QStringList{QStringLiteral(
                     "Velomira Sync: Attempting to sync to https://[service/api/activity-log")});
        QVERIFY(!bench.service.isSyncing());
        QCOMPARE(bench.stored(), 2);
    }

    void theNextAttemptClearsTheError()
    {
        SyncBench bench;
        bench.addSamples(2);
        bench.fake.httpClient.answer(kRefused);
        bench.sync();
        const Changes changes(bench);
        bench.fake.httpClient.answer(HttpResponse{.status = 200, .body = {}});
        bench.sync();
        QCOMPARE(
            changes.heard,
            QStringList({QStringLiteral("isSyncing: syncing, Could not connect to service.example: "
                                        "connection refused, 2 stored, total 0"),
                         QStringLiteral("lastSyncError: syncing, no error, 2 stored, total 0"),
                         QStringLiteral("activities: syncing, no error, 0 stored, total 0"),
                         QStringLiteral("isSyncing: idle, no error, 0 stored, total 1")}));
        QVERIFY(bench.fake.httpClient.requests[0].body == bench.fake.httpClient.requests[1].body);
    }

    void aSecondAttemptAtOnceEndsSilently()
    {
        SyncBench bench;
        bench.addSamples(2);
        const auto first = bench.service.sync();
        QVERIFY(bench.service.isSyncing());
        const Changes changes(bench);
        bench.sync();
        QCOMPARE(changes.heard, QStringList());
        QVERIFY(bench.service.isSyncing());
        bench.fake.httpClient.answer(HttpResponse{.status = 200, .body = {}});
        QTRY_VERIFY(!bench.service.isSyncing());
        QCOMPARE(bench.fake.httpClient.requests.size(), 1);
    }

    void samplesThatComeMeanwhileGoWithTheNextUpload()
    {
        SyncBench bench;
        bench.addSamples(kManySamples, "before");
        Gate gate(bench);
        const auto running = bench.service.sync();
        QVERIFY(bench.fake.httpClient.requests.isEmpty());
        bench.addSamples(2, "during the folding");
        gate.open();
        QTRY_COMPARE(bench.fake.httpClient.requests.size(), 1);
        bench.addSamples(2, "during the transfer");
        bench.fake.httpClient.answer(HttpResponse{.status = 200, .body = {}});
        QTRY_VERIFY(!bench.service.isSyncing());
        QCOMPARE(bench.stored(), 4);
        QVERIFY(!bench.fake.httpClient.requests[0].body.contains("during"));
        bench.fake.httpClient.answer(HttpResponse{.status = 200, .body = {}});
        bench.sync();
        QVERIFY(bench.fake.httpClient.requests[1].body.contains("during the folding"));
        QVERIFY(bench.fake.httpClient.requests[1].body.contains("during the transfer"));
        QVERIFY(!bench.fake.httpClient.requests[1].body.contains("before"));
        QCOMPARE(bench.stored(), 0);
    }

    void whoeverSignsOutDuringAnAttemptStillHasItRecorded()
    {
        SyncBench bench;
        bench.addSamples(2);
        const auto running = bench.service.sync();
        QTRY_COMPARE(bench.fake.httpClient.requests.size(), 1);
        bench.auth.logout();
        bench.fake.httpClient.answer(HttpResponse{.status = 200, .body = {}});
        QTRY_VERIFY(!bench.service.isSyncing());
        QCOMPARE(bench.stored(), 0);
        QVERIFY(!bench.service.lastSyncError());
        bench.sync();
        QCOMPARE(bench.service.lastSyncError(), QStringLiteral("Not authenticated"));
    }

    void theTokenOfTheMomentIsSentAndItsAbsenceIsTold()
    {
        SyncBench bench;
        bench.addSamples(kManySamples);
        Gate gate(bench);
        const auto running = bench.service.sync();
        QVERIFY(bench.fake.httpClient.requests.isEmpty());
        bench.auth.logout(); // while the samples are folded
        gate.open();
        QTRY_COMPARE(bench.fake.httpClient.requests.size(), 1);
        QCOMPARE(bench.fake.diagnostics.lines().at(1),
                 QStringLiteral("Velomira Sync: WARNING - No auth token available"));
        QCOMPARE(bench.fake.httpClient.requests.first().headers.size(), 2);
        bench.fake.httpClient.answer(HttpResponse{.status = 401, .body = {}});
        QTRY_VERIFY(!bench.service.isSyncing());
        QCOMPARE(bench.stored(), kManySamples);
    }

    void aTokenReplacedDuringAnAttemptGoesWithTheNext()
    {
        SyncBench bench;
        bench.addSamples(2);
        const auto running = bench.service.sync();
        QTRY_COMPARE(bench.fake.httpClient.requests.size(), 1);
        auto login = bench.auth.login(QStringLiteral("a"), QStringLiteral("b"));
        bench.fake.httpClient.answer(HttpResponse{.status = 401, .body = {}});
        bench.fake.httpClient.answer(
            HttpResponse{.status = 200, .body = "{\"success\":true,\"token\":\"new\"}"});
        QVERIFY(QCoro::waitFor(std::move(login)));
        QTRY_VERIFY(!bench.service.isSyncing());
        bench.fake.httpClient.answer(HttpResponse{.status = 200, .body = {}});
        bench.sync();
        QCOMPARE(bench.fake.httpClient.requests.last().headers.last().value, "Bearer new");
        QCOMPARE(bench.stored(), 0);
    }

    void aClockThatStepsBackChangesOnlyTheTimesTold()
    {
        SyncBench bench;
        bench.addSamples(2);
        bench.fake.clock.time = 800000000;
        const auto running = bench.service.sync();
        QTRY_COMPARE(bench.fake.httpClient.requests.size(), 1);
        bench.fake.clock.time = 700000000;
        bench.fake.httpClient.answer(HttpResponse{.status = 200, .body = {}});
        QTRY_VERIFY(!bench.service.isSyncing());
        QCOMPARE(bench.service.lastSyncTime(), 700000000.0);
        QCOMPARE(bench.stored(), 0);
    }

    void theDeviceIsAnotherThanThatOfTheSignIn()
    {
        SyncBench bench;
        bench.fake.httpClient.answer(
            HttpResponse{.status = 200, .body = "{\"success\":true,\"token\":\"T\"}"});
        QVERIFY(QCoro::waitFor(bench.auth.login(QStringLiteral("a"), QStringLiteral("b"))));
        for (int i = 0; i < 2; ++i) {
            bench.addSamples(1);
            bench.fake.httpClient.answer(HttpResponse{.status = 200, .body = {}});
            bench.sync();
        }
        const QString device = defaults(bench)[QStringLiteral("device_uuid")];
        QVERIFY(device != defaults(bench)[QStringLiteral("deviceId")]);
        for (const qsizetype i : {1, 2})
            QVERIFY(bench.fake.httpClient.requests[i].body.startsWith("{\"device_id\":\"" +
                                                                      device.toUtf8() + "\""));
    }

    void fewSamplesAreUploadedWithoutAThread()
    {
        SyncBench bench;
        int threads = 0;
        bench.environment.enterBackground = [&threads] {
            ++threads;
        };
        bench.addSamples(60);
        const auto running = bench.service.sync();
        QCOMPARE(bench.fake.httpClient.requests.size(), 1); // at once
        bench.fake.httpClient.answer(HttpResponse{.status = 200, .body = {}});
        QTRY_VERIFY(!bench.service.isSyncing());
        QCOMPARE(bench.stored(), 0);
        QCOMPARE(threads, 0);
    }

    void whileTheServiceIsAwayOnlyNewSamplesAreFolded()
    {
        SyncBench bench;
        int threads = 0;
        bench.environment.enterBackground = [&threads] {
            ++threads;
        };
        bench.addSamples(kManySamples);
        for (int minute = 0; minute < 3; ++minute) {
            bench.addSamples(60, minute % 2 == 0 ? "even" : "odd");
            bench.fake.httpClient.answer(kRefused);
            bench.sync();
            const QByteArray& body = bench.fake.httpClient.requests.last().body;
            QCOMPARE(bench.fake.diagnostics.lines().at((4 * minute) + 2),
                     QStringLiteral("Velomira Sync: Payload size: %1 bytes, activities: %2")
                         .arg(body.size())
                         .arg(minute + 2));
        }
        QCOMPARE(threads, 1); // for the first look
        bench.fake.httpClient.answer(HttpResponse{.status = 200, .body = {}});
        bench.sync();
        QCOMPARE(bench.stored(), 0);
    }

    void whatTookMemoryIsTold()
    {
        SyncBench bench;
        const QSignalSpy told(&bench.service, &syncing::SyncService::memoryUsed);
        bench.addSamples(1);
        bench.fake.httpClient.answer(kRefused);
        bench.sync();
        QCOMPARE(told.count(), 1); // the first
        bench.addSamples(kManySamples);
        bench.fake.httpClient.answer(kRefused);
        bench.sync();
        QCOMPARE(told.count(), 1);
        bench.fake.httpClient.answer(HttpResponse{.status = 200, .body = {}});
        bench.sync();
        QCOMPARE(told.count(), 2);
        bench.addSamples(60);
        bench.fake.httpClient.answer(HttpResponse{.status = 200, .body = {}});
        bench.sync();
        QCOMPARE(told.count(), 2);
    }

    void afterAFailureTheNextAttemptComesAtAnyTimeOfThePeriod()
    {
        SyncBench bench;
        QList<std::chrono::milliseconds> asked;
        syncing::SyncService service(bench.environment,
                                     bench.serviceUrl,
                                     bench.auth,
                                     bench.store,
                                     [&asked](std::chrono::milliseconds longest) {
                                         asked.append(longest);
                                         return longest / 4;
                                     });
        const auto& requests = bench.fake.httpClient.requests;
        auto& timers = bench.fake.repeatingTimers;
        defaults(bench)[QStringLiteral("syncInterval")] = QStringLiteral("2");
        service.setupTimer();
        bench.addSamples(1);
        timers.fire();
        QCOMPARE(requests.size(), 1); // on time
        bench.fake.httpClient.answer(kRefused);
        QTRY_VERIFY(!service.isSyncing());
        timers.fire();
        QCOMPARE(requests.size(), 1);
        QCOMPARE(asked, QList<std::chrono::milliseconds>{2min});
        QCOMPARE(timers.intervals(), std::vector<std::chrono::milliseconds>({2min, 30s}));
        timers.fireLast(); // the half minute is over
        QCOMPARE(requests.size(), 2);
        QCOMPARE(timers.running(), 1);
        bench.fake.httpClient.answer(HttpResponse{.status = 503, .body = {}});
        QTRY_VERIFY(!service.isSyncing());
        timers.fire();
        QCOMPARE(timers.running(), 2);
        const auto now = service.sync(); // that the user asks for does not wait, and counts
        QCOMPARE(requests.size(), 3);
        QCOMPARE(timers.running(), 1);
        bench.fake.httpClient.answer(HttpResponse{.status = 200, .body = {}});
        QTRY_VERIFY(!service.isSyncing());
        bench.addSamples(1);
        timers.fire();
        QCOMPARE(requests.size(), 4); // on time again
        bench.fake.httpClient.answer(kRefused);
        QTRY_VERIFY(!service.isSyncing());
        timers.fire();
        service.stopTimer();
        QCOMPARE(timers.running(), 0);
    }

    void lastSyncTimeIsWhatTheSettingsHold()
    {
        SyncBench bench;
        bench.service.setLastSyncTime(1.5);
        QCOMPARE(bench.service.lastSyncTime(), 1.5);
        defaults(bench)[QStringLiteral("lastSyncTime")] = QStringLiteral("yesterday");
        QVERIFY(!bench.service.lastSyncTime());
        bench.service.setLastSyncTime(std::nullopt);
        QVERIFY(!defaults(bench).contains(QStringLiteral("lastSyncTime")));
    }

    void aServiceThatGoesAwayLeavesItsSamples()
    {
        fakes::FakeEnvironment other;
        SyncBench bench;
        bench.addSamples(kManySamples);
        auto service = std::make_unique<syncing::SyncService>(
            bench.environment, bench.serviceUrl, bench.auth, bench.store);
        Gate gate(bench);
        auto folding = service->sync();
        gate.open();
        service.reset();
        QCoro::waitFor(std::move(folding));
        service = std::make_unique<syncing::SyncService>(
            bench.environment, bench.serviceUrl, bench.auth, bench.store);
        auto sending = service->sync();
        QTRY_COMPARE(bench.fake.httpClient.requests.size(), 1);
        service.reset();
        bench.fake.httpClient.answer(HttpResponse{.status = 200, .body = {}});
        QCoro::waitFor(std::move(sending));
        QCOMPARE(bench.stored(), kManySamples);
    }
};

QUILLSTEP_TEST(TestSyncService)
#include "tst_sync_service.moc"
