// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// What operators watch of the real executable: health, figures, the log, and what the system's
// service manager is told.
#include "service/database/database_address.h"
#include "service/database/database_session.h"
#include "tests/service/notified_manager.h"
#include "tests/service/service_requests.h"
#include "tests/support/postgres_server.h"
#include "tests/support/required_programs.h"
#include "tests/support/service_process.h"
#include "tests/support/test_program.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTest>

#include <memory>
#include <vector>

using requests::rows;
using requests::statusOf;
using requests::uploadBody;

namespace {

std::optional<support::RawAnswer>
get(int port, const QByteArray& path, const QByteArray& host = "localhost")
{
    support::RawHttpClient client(port);
    static_cast<void>(client.send("GET " + path + " HTTP/1.1\r\nHost: " + host + "\r\n\r\n"));
    return client.answer();
}

/// The value of a line of the figures; nothing when there is no such line.
std::optional<double> figure(const QByteArray& text, const QByteArray& name)
{
    for (const QByteArray& line : text.split('\n')) {
        if (line.startsWith(name + ' '))
            return line.mid(name.size() + 1).toDouble();
    }
    return std::nullopt;
}

} // namespace

class TestMonitoring : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void healthIsTheProcessAndReadinessTheDatabase()
    {
        REQUIRE_POSTGRES();
        support::PostgresServer postgres;
        const auto running = postgres.start();
        QVERIFY2(running, running ? "" : qPrintable(running.error().text));
        const auto database = postgres.newDatabase();
        QVERIFY(database);
        support::ServiceProcess service;
        QVERIFY(service.start(database.value()));
        // Whoever asks from outside does so under any name.
        QCOMPARE(statusOf(get(service.port(), "/healthz", "usage.example.org")), 200);
        const auto ready = get(service.port(), "/readyz", "10.0.0.1:8787");
        QCOMPARE(statusOf(ready), 200);
        QCOMPARE(ready->body, QByteArray("{\"status\":\"ready\"}"));
        postgres.stop();
        const auto unready = get(service.port(), "/readyz");
        QCOMPARE(statusOf(unready), 503);
        QCOMPARE(unready->body,
                 QByteArray("{\"message\":\"The database cannot be used at the moment\"}"));
        QCOMPARE(statusOf(get(service.port(), "/healthz")), 200);
        QVERIFY(postgres.resume());
        QTRY_COMPARE_WITH_TIMEOUT(statusOf(get(service.port(), "/readyz")), 200, 30'000);
    }

    void readinessIsThatRowsCanBeWritten()
    {
        REQUIRE_POSTGRES();
        support::PostgresServer postgres;
        QVERIFY(postgres.start());
        const auto database = postgres.newDatabase();
        QVERIFY(database);
        support::ServiceProcess service;
        QVERIFY(service.start(database.value()));
        const auto setReadOnly = [&](const char* value) {
            const auto address = service::parseDatabaseAddress(database.value());
            const auto opened = service::DatabaseSession::open(address.value());
            return opened &&
                   opened.value()->run(QStringLiteral("set default_transaction_read_only = off")) &&
                   opened.value()->run(
                       QStringLiteral("alter database %1 set default_transaction_read_only = %2")
                           .arg(address.value().name, QLatin1String(value)));
        };
        QCOMPARE(statusOf(get(service.port(), "/readyz")), 200);
        QVERIFY(setReadOnly("on"));
        QVERIFY(postgres.restart());
        const auto takesNoChanges = [&] { // and not: is away
            return statusOf(get(service.port(), "/readyz")) == 503 &&
                   service.log().contains(QLatin1String(" failed: the database takes no changes"));
        };
        QTRY_VERIFY_WITH_TIMEOUT(takesNoChanges(), 30'000);
        QVERIFY(setReadOnly("off"));
        QTRY_COMPARE_WITH_TIMEOUT(statusOf(get(service.port(), "/readyz")), 200, 30'000);
    }

    void readinessDoesNotWaitForUploads()
    {
        REQUIRE_POSTGRES();
        support::PostgresServer postgres;
        QVERIFY(postgres.start());
        const auto database = postgres.newDatabase();
        QVERIFY(database);
        support::ServiceProcess service;
        service.setDatabase(database.value());
        QVERIFY(service.addUser(QString::fromUtf8(requests::kEmail),
                                QStringLiteral("Some One"),
                                QString::fromUtf8(requests::kPassword)));
        QVERIFY(service.start(database.value(),
                              {QStringLiteral("--metrics"), QStringLiteral("127.0.0.1:0")}));
        const QByteArray token = requests::newToken(service.port());
        const auto address = service::parseDatabaseAddress(database.value());
        const auto opened = service::DatabaseSession::open(address.value());
        QVERIFY(opened);
        QVERIFY(opened.value()->run(QStringLiteral("begin")));
        QVERIFY(opened.value()->run(QStringLiteral("lock table devices in exclusive mode")));
        const QByteArray body = uploadBody(rows("a", 1, 3));
        std::vector<std::unique_ptr<support::RawHttpClient>> clients;
        for (int i = 0; i < 40; ++i) { // more than there are threads for them
            clients.push_back(std::make_unique<support::RawHttpClient>(service.port()));
            QVERIFY(clients.back()->send(
                "POST /api/activity-log HTTP/1.1\r\n" + requests::bearer(token) +
                "\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n\r\n" + body));
        }
        const auto waiting = [&] {
            return figure(figures(service), "velomira_database_waiting{lane=\"writing\"}");
        };
        QTRY_VERIFY_WITH_TIMEOUT(waiting().value_or(0) >= 28, 30'000);
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(statusOf(get(service.port(), "/readyz")), 200);
        QVERIFY(timer.elapsed() < 5000);
        QVERIFY(opened.value()->run(QStringLiteral("rollback")));
        for (const auto& client : clients)
            QCOMPARE(statusOf(client->answer()), 201);
    }

    void figuresAreGivenOnAListenerOfTheirOwn()
    {
        support::ServiceProcess service;
        QVERIFY(
            startWithUser(service, {QStringLiteral("--metrics"), QStringLiteral("127.0.0.1:0")}));
        QVERIFY(service.metricsPort() > 0);
        QCOMPARE(statusOf(get(service.port(), "/metrics")), 404);
        QCOMPARE(statusOf(get(service.metricsPort(), "/healthz")), 404);
        QCOMPARE(statusOf(requests::signIn(service.port(), requests::kEmail, "wrong")), 401);
        const QByteArray token = requests::newToken(service.port());
        QCOMPARE(statusOf(requests::upload(service.port(), token, uploadBody(rows("a", 1, 30)))),
                 201);
        const auto wanted = [&](const QByteArray& name, double value) {
            // A request is counted after its answer.
            return QTest::qWaitFor([&] { return figure(figures(service), name) == value; }, 10'000);
        };
        QVERIFY(wanted("velomira_http_requests_total{route=\"/api/activity-log\",method=\"POST\","
                       "status=\"201\"}",
                       1));
        QVERIFY(wanted(
            "velomira_http_requests_total{route=\"none\",method=\"none\",status=\"404\"}", 1));
        QVERIFY(wanted("velomira_http_request_seconds_count{route=\"/api/activity-log\","
                       "method=\"POST\",status=\"201\"}",
                       1));
        QVERIFY(wanted("velomira_sign_ins_total{result=\"succeeded\"}", 1));
        QVERIFY(wanted("velomira_sign_ins_total{result=\"wrong_password\"}", 1));
        QVERIFY(wanted("velomira_rows_stored_total", 30));
        QVERIFY(wanted("velomira_users", 1));
        QVERIFY(wanted("velomira_devices{state=\"reporting\"}", 1));
        QVERIFY(wanted("velomira_devices{state=\"silent\"}", 0));
        QVERIFY(wanted("velomira_database_up", 1));
        QVERIFY(wanted("velomira_database_waiting{lane=\"writing\"}", 0));
        const auto answer = get(service.metricsPort(), "/metrics");
        QCOMPARE(statusOf(answer), 200);
        QCOMPARE(answer->field("Content-Type"),
                 QByteArray("text/plain; version=0.0.4; charset=utf-8"));
        QVERIFY(figure(answer->body, "process_resident_memory_bytes").value_or(0) > 1e6);
        QVERIFY(figure(answer->body, "velomira_database_jobs_total{lane=\"writing\"}").value_or(0) >
                0);
        // The jobs have been noted by now, or will be soon.
        QVERIFY(QTest::qWaitFor(
            [&] {
                return figure(figures(service), "velomira_job_running{name=\"pack\"}").has_value();
            },
            10'000));
        for (const QByteArray& personal :
             {requests::kEmail, QByteArray("a device"), QByteArray("a title")})
            QVERIFY2(!figures(service).contains(personal), personal.constData());
    }

    void figuresAreForNamesOfThisMachineAndNobodyTakesThemAll()
    {
        support::ServiceProcess service;
        QVERIFY(
            startWithUser(service, {QStringLiteral("--metrics"), QStringLiteral("127.0.0.1:0")}));
        // A web page could have its own name lead here.
        QCOMPARE(statusOf(get(service.metricsPort(), "/metrics", "pages.example.org")), 421);
        QCOMPARE(statusOf(get(service.metricsPort(), "/metrics", "127.0.0.1:9187")), 200);
        std::vector<std::unique_ptr<support::RawHttpClient>> clients;
        for (int i = 0; i < 8; ++i) {
            clients.push_back(std::make_unique<support::RawHttpClient>(service.metricsPort()));
            // Those before have ended for the service, too, when these are served.
            QVERIFY(QTest::qWaitFor(
                [&] {
                    static_cast<void>(clients.back()->send("GET /x HTTP/1.1\r\n\r\n"));
                    if (statusOf(clients.back()->answer()) == 404)
                        return true;
                    clients.back() =
                        std::make_unique<support::RawHttpClient>(service.metricsPort());
                    return false;
                },
                10'000));
        }
        QCOMPARE(statusOf(get(service.metricsPort(), "/metrics")), 503);
    }

    void figuresComeFromTheReportDatabase()
    {
        REQUIRE_POSTGRES();
        support::PostgresServer postgres;
        QVERIFY(postgres.start());
        const auto database = postgres.newDatabase();
        const auto reports = postgres.newDatabase();
        QVERIFY(database && reports);
        support::ServiceProcess service;
        service.setDatabase(reports.value());
        for (const char* email : {"a@example.org", "b@example.org", "c@example.org"})
            QVERIFY(service.addUser(QString::fromLatin1(email),
                                    QStringLiteral("Name"),
                                    QString::fromUtf8(requests::kPassword)));
        QVERIFY(service.start(database.value(),
                              {QStringLiteral("--metrics"),
                               QStringLiteral("127.0.0.1:0"),
                               QStringLiteral("--report-database"),
                               reports.value()}));
        const auto address = service::parseDatabaseAddress(reports.value());
        const auto opened = service::DatabaseSession::open(address.value());
        QVERIFY(opened);
        QTRY_VERIFY_WITH_TIMEOUT(figure(figures(service), "velomira_users") == 3, 30'000);
        QByteArray text = figures(service);
        QVERIFY(figure(text, "velomira_report_database_up") == 1);
        // One that does not answer is seen as such, and the figures stay.
        QVERIFY(opened.value()->run(QStringLiteral("begin")));
        QVERIFY(opened.value()->run(QStringLiteral("lock table users in access exclusive mode")));
        const auto isDown = [&] {
            text = figures(service);
            return figure(text, "velomira_report_database_up") == 0;
        };
        QTRY_VERIFY_WITH_TIMEOUT(isDown(), 30'000);
        QVERIFY(figure(text, "velomira_database_up") == 1);
        QVERIFY(figure(text, "velomira_users") == 3);
        QCOMPARE(statusOf(get(service.port(), "/readyz")), 200);
        QVERIFY(opened.value()->run(QStringLiteral("rollback")));
        QTRY_VERIFY_WITH_TIMEOUT(figure(figures(service), "velomira_report_database_up") == 1,
                                 30'000);
    }

    void figuresAreGivenWhileTheDatabaseHangs()
    {
        REQUIRE_POSTGRES();
        support::PostgresServer postgres;
        QVERIFY(postgres.start());
        const auto database = postgres.newDatabase();
        QVERIFY(database);
        support::ServiceProcess service;
        QVERIFY(service.start(database.value(),
                              {QStringLiteral("--metrics"), QStringLiteral("127.0.0.1:0")}));
        QTRY_VERIFY_WITH_TIMEOUT(figure(figures(service), "velomira_users") == 0, 30'000);
        QVERIFY(figure(figures(service), "velomira_database_up") == 1);
        const auto address = service::parseDatabaseAddress(database.value());
        const auto opened = service::DatabaseSession::open(address.value());
        QVERIFY(opened);
        QVERIFY(opened.value()->run(QStringLiteral("begin")));
        QVERIFY(opened.value()->run(
            QStringLiteral("lock table schema_version, users in access exclusive mode")));
        const auto isDown = [&] {
            QElapsedTimer timer;
            timer.start();
            const QByteArray text = figures(service);
            return timer.elapsed() < 2500 && figure(text, "velomira_database_up") == 0 &&
                   figure(text, "velomira_users") == 0;
        };
        QTRY_VERIFY_WITH_TIMEOUT(isDown(), 30'000);
        QVERIFY(opened.value()->run(QStringLiteral("rollback")));
        QTRY_VERIFY_WITH_TIMEOUT(figure(figures(service), "velomira_database_up") == 1, 30'000);
    }

    void whoCannotListenForFiguresDoesNotServe()
    {
        support::ServiceProcess first;
        QVERIFY(startWithUser(first, {QStringLiteral("--metrics"), QStringLiteral("127.0.0.1:0")}));
        const auto second = first.run({QStringLiteral("--database"),
                                       first.database(),
                                       QStringLiteral("--port"),
                                       QStringLiteral("0"),
                                       QStringLiteral("--metrics"),
                                       QStringLiteral("127.0.0.1:%1").arg(first.metricsPort())});
        QCOMPARE(second.code, 1);
        QVERIFY2(second.complaint.contains(QLatin1String("cannot listen on 127.0.0.1 port")),
                 qPrintable(second.complaint));
    }

    void aWrongDatabaseForReportsIsSaidAtTheStart()
    {
        support::ServiceProcess service;
        QVERIFY(startWithUser(service, {}));
        QCOMPARE(service.stop(), std::optional(0));
        const QString database = service.database();
        const QString missing = service.folder() + QStringLiteral("/mistyped.db");
        const QString empty = service.folder() + QStringLiteral("/empty.db");
        QFile file(empty);
        QVERIFY(file.open(QIODevice::WriteOnly));
        for (const QString& reports : {missing, empty, database}) {
            const qsizetype before = service.log().size();
            QVERIFY(service.start(database, {QStringLiteral("--report-database"), reports}));
            // What it is for goes on.
            QVERIFY(!requests::newToken(service.port()).isEmpty());
            QCOMPARE(service.stop(), std::optional(0));
            const bool isSaid = service.log().mid(before).contains(
                QLatin1String("velomira-service: no reports and figures of what is stored: "));
            QVERIFY2(isSaid == (reports != database), qPrintable(service.log()));
            QVERIFY(!QFile::exists(missing));
        }
    }

    void theServiceManagerIsToldHowItIs()
    {
        support::ServiceProcess service;
        NotifiedManager manager(service.folder() + QStringLiteral("/notify"));
        QVERIFY(manager.listens());
        const auto started = service.start(
            service.folder() + QStringLiteral("/service.db"), {}, manager.environment(200'000));
        QVERIFY2(started, started ? "" : qPrintable(started.error().text));
        QTRY_VERIFY(manager.told().contains(QStringLiteral("READY=1")));
        QTRY_VERIFY(manager.told().count(QStringLiteral("WATCHDOG=1")) >= 5);
        QVERIFY(!manager.told().contains(QStringLiteral("STOPPING=1")));
        QCOMPARE(service.stop(), std::optional(0));
        QVERIFY(manager.told().contains(QStringLiteral("STOPPING=1")));
    }

    void theLogMayBeJson()
    {
        support::ServiceProcess service;
        QVERIFY(startWithUser(service, {QStringLiteral("--log"), QStringLiteral("json")}));
        QCOMPARE(statusOf(requests::signIn(service.port(), requests::kEmail, "wrong")), 401);
        QTRY_COMPARE(service.log().count(QLatin1Char('\n')), 1);
        const QJsonObject line = QJsonDocument::fromJson(service.log().toUtf8()).object();
        QCOMPARE(line[QStringLiteral("level")].toString(), QStringLiteral("info"));
        QCOMPARE(line[QStringLiteral("path")].toString(), QStringLiteral("/api/token"));
        QCOMPARE(line[QStringLiteral("status")].toInt(), 401);
        QCOMPARE(line[QStringLiteral("user")].toInt(), 1);
        QVERIFY(!line[QStringLiteral("request")].toString().isEmpty());
        QVERIFY(line[QStringLiteral("time")].toString().endsWith(QLatin1Char('Z')));
    }

    void aFailedSignInNamesTheAccountByItsNumber()
    {
        support::ServiceProcess service;
        QVERIFY(startWithUser(service, {}));
        QCOMPARE(statusOf(requests::signIn(service.port(), requests::kEmail, "wrong")), 401);
        QCOMPARE(statusOf(requests::signIn(service.port(), "nobody@example.org", "wrong")), 401);
        QTRY_COMPARE(service.log().count(QLatin1Char('\n')), 2);
        const QStringList lines = service.log().split(QLatin1Char('\n'));
        QVERIFY2(lines[0].contains(QLatin1String(" 401 ")) &&
                     lines[0].contains(QLatin1String(" user=1 ")),
                 qPrintable(lines[0]));
        QVERIFY2(lines[1].contains(QLatin1String(" user=- ")), qPrintable(lines[1]));
        QVERIFY(!service.log().contains(QLatin1String("example.org")));
    }

private:
    static bool startWithUser(support::ServiceProcess& service, const QStringList& arguments)
    {
        return service.start(service.folder() + QStringLiteral("/service.db"), arguments) &&
               service.addUser(QString::fromUtf8(requests::kEmail),
                               QStringLiteral("Some One"),
                               QString::fromUtf8(requests::kPassword));
    }

    static QByteArray figures(const support::ServiceProcess& service)
    {
        const auto answer = get(service.metricsPort(), "/metrics");
        return answer ? answer->body : QByteArray();
    }
};

QUILLSTEP_TEST(TestMonitoring)
#include "tst_monitoring.moc"
