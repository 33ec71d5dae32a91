// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/operator/commands.h"
#include "service/operator/exposition.h"
#include "service/operator/metrics.h"
#include "service/operator/service_manager.h"
#include "tests/service/notified_manager.h"
#include "tests/support/passing_time.h"
#include "tests/support/test_program.h"

#include <QFile>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <cstdint>
#include <limits>

using namespace service;
using namespace std::chrono_literals;

class TestOperator : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void aDeviceIsSilentAfterThreeOfItsIntervals()
    {
        Device device{.id = 2,
                      .deviceId = "x",
                      .name = "a\tlap\u202Etop\u009B",
                      .firstSeen = 0,
                      .lastSeen = 1'000'000,
                      .intervalMinutes = 5,
                      .clockSkewSeconds = -2};
        QCOMPARE(
            deviceLine(device, 1'000'000 + 15 * 60),
            std::string("2\ta lap top \t1970-01-01T00:00:00Z\t1970-01-12T13:46:40Z\tevery 5 min"
                        "\tclock -2 s\treporting\n"));
        QVERIFY(deviceLine(device, 1'000'000 + 15 * 60 + 1).ends_with("\tsilent\n"));
        device.intervalMinutes = std::numeric_limits<std::int64_t>::max();
        QVERIFY(deviceLine(device, 2'000'000'000).ends_with("\treporting\n"));
        device.firstSeen = device.lastSeen = std::nullopt;
        QCOMPARE(deviceLine(device, 0), std::string("2\ta lap top \tnever\tnever\t-\t-\tsilent\n"));
    }

    void anExportedRowIsALineOfJson()
    {
        Device laptop;
        laptop.id = 3;
        laptop.name = "lap\"top";
        const std::vector<Device> devices = {laptop};
        const StoredRun run{.key = {.day = 20'778, .second = 34'200, .digest = 1},
                            .durationSeconds = 31,
                            .device = 3,
                            .appName = "a\nb",
                            .windowTitle = "",
                            .url = std::nullopt};
        const std::string line =
            "{\"start\":\"2026-11-21T09:30:00Z\",\"seconds\":31,\"device\":3,"
            "\"device_name\":\"lap\\\"top\",\"app\":\"a\\nb\",\"title\":\"\",\"url\":null}\n";
        QCOMPARE(exportLine(run, devices), line);
    }

    void settingsAreDescribedWithTheirPlaces()
    {
        CommandLine line;
        line.given = {{.name = "port", .value = "1", .source = "f\x1b:2"},
                      {.name = "log", .value = "json", .source = "command line"}};
        QCOMPARE(describeSettings(line),
                 std::string("port = 1 (f :2)\nlog = json (command line)\n"));
    }

    void figuresAreWrittenWithTheirLabels()
    {
        Exposition out;
        out.family("a_total", "counter", "What\nit \\ \"is\".");
        out.sample(std::uint64_t{3});
        out.sample(0.25, {{"le", "x\"y\\z\n"}, {"job", "b"}}, "_bucket");
        QCOMPARE(out.takeText(),
                 std::string("# HELP a_total What\\nit \\\\ \"is\".\n"
                             "# TYPE a_total counter\n"
                             "a_total 3\n"
                             "a_total_bucket{le=\"x\\\"y\\\\z\\n\",job=\"b\"} 0.25\n"));
    }

    void requestsAreCountedByRouteMethodAndStatus()
    {
        RequestFigures requests;
        const auto note = [&](const char* route, const char* method, int status, double seconds) {
            requests.note({.pattern = route,
                           .method = method,
                           .status = status,
                           .seconds = std::chrono::duration<double>(seconds),
                           .id = "x"});
        };
        note("/api/token", "POST", 200, 0.25);
        note("/api/token", "POST", 200, 0.5);
        note("/api/token", "POST", 429, 0.001);
        note("/api/token", "POST", 503, 100);
        note("", "", 404, 0);
        const QString text = QString::fromStdString(textOf(requests));
        for (const char* line :
             {"velomira_http_requests_total{route=\"/api/token\",method=\"POST\",status=\"200\"} 2",
              "velomira_http_requests_total{route=\"none\",method=\"none\",status=\"404\"} 1",
              "velomira_http_request_seconds_bucket{route=\"/api/token\",method=\"POST\","
              "status=\"200\",le=\"0.1\"} 0",
              "velomira_http_request_seconds_bucket{route=\"/api/token\",method=\"POST\","
              "status=\"200\",le=\"0.25\"} 1",
              "velomira_http_request_seconds_bucket{route=\"/api/token\",method=\"POST\","
              "status=\"200\",le=\"60\"} 2",
              "velomira_http_request_seconds_bucket{route=\"/api/token\",method=\"POST\","
              "status=\"503\",le=\"60\"} 0",
              "velomira_http_request_seconds_bucket{route=\"/api/token\",method=\"POST\","
              "status=\"503\",le=\"+Inf\"} 1",
              "velomira_http_request_seconds_sum{route=\"/api/token\",method=\"POST\","
              "status=\"200\"} 0.75",
              "velomira_sign_ins_total{result=\"succeeded\"} 2",
              "velomira_sign_ins_total{result=\"held_off\"} 1",
              "velomira_sign_ins_total{result=\"failed\"} 1",
              "velomira_sign_ins_total{result=\"wrong_password\"} 0"})
            QVERIFY2(text.split(QLatin1Char('\n')).contains(QLatin1String(line)), qPrintable(text));
    }

    void withoutADatabaseThereAreStillFigures()
    {
        const RequestFigures requests;
        Database::Figures lanes;
        lanes.writing = {.waiting = 2, .jobs = 5, .failures = 1, .waited = 500ms, .worked = 1500ms};
        lanes.rowsStored = 7;
        const ProcessFigures process = processFigures();
        QVERIFY(process.residentBytes > 1'000'000);
        QVERIFY(process.openFiles > 0);
        const QString text = QString::fromStdString(metricsText(requests, lanes, {}, process));
        for (const char* line : {"velomira_database_up 0",
                                 "velomira_report_database_up 0",
                                 "velomira_database_waiting{lane=\"writing\"} 2",
                                 "velomira_database_failures_total{lane=\"writing\"} 1",
                                 "velomira_database_waited_seconds_total{lane=\"writing\"} 0.5",
                                 "velomira_database_worked_seconds_total{lane=\"writing\"} 1.5",
                                 "velomira_rows_stored_total 7"})
            QVERIFY2(text.split(QLatin1Char('\n')).contains(QLatin1String(line)), qPrintable(text));
        QVERIFY(!text.contains(QLatin1String("velomira_devices")));
    }

    void whatIsStoredIsAmongTheFiguresAlsoWhenItCannotBeReadAnyMore()
    {
        const StoredFigures stored{.counts = {.users = 1,
                                              .sessions = 2,
                                              .devicesReporting = 3,
                                              .devicesSilent = 4,
                                              .daysWithoutPack = 5},
                                   .jobs = {{.name = "pack",
                                             .due = 100,
                                             .isRunning = true,
                                             .finished = std::nullopt,
                                             .failures = 6,
                                             .result = "all days have a pack"}},
                                   .read = 1'795'253'400};
        const QString text =
            QString::fromStdString(metricsText(RequestFigures(),
                                               {},
                                               {.isUp = true, .canReport = false, .stored = stored},
                                               ProcessFigures()));
        for (const char* line : {"velomira_database_up 1",
                                 "velomira_report_database_up 0",
                                 "velomira_stored_read_timestamp_seconds 1795253400",
                                 "velomira_job_failures{name=\"pack\"} 6",
                                 "velomira_devices{state=\"reporting\"} 3",
                                 "velomira_devices{state=\"silent\"} 4",
                                 "velomira_days_without_pack 5",
                                 "velomira_job_running{name=\"pack\"} 1",
                                 "velomira_job_due_timestamp_seconds{name=\"pack\"} 100"})
            QVERIFY2(text.split(QLatin1Char('\n')).contains(QLatin1String(line)), qPrintable(text));
        QVERIFY(!text.contains(QLatin1String("_finished_timestamp_seconds{")));
    }

    void everyFigureOfTheDashboardIsGiven()
    {
        QFile file(QStringLiteral(DASHBOARD));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray content = file.readAll();
        QVERIFY(QJsonDocument::fromJson(content).isObject());
        const QRegularExpression name(QStringLiteral("\\b(velomira|process)_[a-z_]+"));
        RequestFigures requests;
        requests.note({.pattern = "/a", .method = "GET", .status = 200, .id = {}});
        const StoredFigures stored{.counts = {},
                                   .jobs = {{.name = "pack", .finished = 1, .result = {}}}};
        const QString given = QString::fromStdString(metricsText(
            requests, {}, {.isUp = true, .canReport = true, .stored = stored}, ProcessFigures()));
        int found = 0;
        for (auto each = name.globalMatch(QString::fromUtf8(content)); each.hasNext(); ++found) {
            const QString figure = each.next().captured();
            QVERIFY2(given.contains(QLatin1Char('\n') + figure + QLatin1Char('{')) ||
                         given.contains(QLatin1Char('\n') + figure + QLatin1Char(' ')),
                     qPrintable(figure));
        }
        QVERIFY2(found > 15, "the dashboard shows next to nothing");
    }

    void theManagerIsToldThatTheServiceLivesOnlyWhileItDoes()
    {
        const QTemporaryDir folder;
        NotifiedManager notified(folder.filePath(QStringLiteral("notify")));
        QVERIFY(notified.listens());
        const ServiceManager manager(notified.environment(20'000));
        QVERIFY(manager.watchdog() == std::optional(20'000us));
        manager.tell("READY=1");
        QCOMPARE(notified.told(), QStringList(QStringLiteral("READY=1")));
        std::atomic<bool> hangs = false;
        std::atomic<int> asked = 0;
        const Watchdog watchdog(manager, [&](const std::function<void()>& work) {
            ++asked;
            if (!hangs)
                work();
        });
        QTRY_VERIFY(notified.told().count(QStringLiteral("WATCHDOG=1")) >= 3);
        hangs = true;
        const int then = asked;
        QTRY_VERIFY(asked > then); // what was on its way has been told
        const qsizetype before = notified.told().size();
        QTRY_VERIFY(asked > then + 3);
        QCOMPARE(notified.told().size(), before);
    }

    void whoeverWasNotStartedByAManagerTellsNobody()
    {
        QProcessEnvironment environment;
        const ServiceManager nobody(environment);
        nobody.tell("READY=1");
        QVERIFY(!nobody.watchdog());
        environment.insert(QStringLiteral("NOTIFY_SOCKET"), QStringLiteral("/there/is/none"));
        environment.insert(QStringLiteral("WATCHDOG_USEC"), QStringLiteral("1000"));
        environment.insert(QStringLiteral("WATCHDOG_PID"), QStringLiteral("1"));
        const ServiceManager another(environment); // that is meant for another process
        another.tell("READY=1");
        QVERIFY(!another.watchdog());
    }

private:
    static std::string textOf(const RequestFigures& requests)
    {
        return metricsText(requests, {}, {}, ProcessFigures());
    }
};

QUILLSTEP_TEST(TestOperator)
#include "tst_operator.moc"
