// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// The uploader over a real socket: every answer a service can give.
#include "backends/qt/network_http_client.h"
#include "tests/support/scripted_server.h"
#include "tests/support/sync_bench.h"
#include "tests/support/test_program.h"

#include <QTest>

#include <utility>
#include <vector>

using support::ScriptedServer;
using support::SyncBench;

class TestUpload final : public QObject
{
    Q_OBJECT

    platform::qt::NetworkHttpClient m_client;

    static QString total(SyncBench& bench)
    {
        return bench.fake.userDefaults.values.value(QStringLiteral("totalRecordsSynced"));
    }

private Q_SLOTS:

    void anUploadArrivesAsTheServiceExpectsIt()
    {
        ScriptedServer server;
        server.willAnswer(ScriptedServer::reply(201, R"({"success":true})"));
        SyncBench bench(server.url(), &m_client);
        bench.addSamples(600);
        bench.sync();
        QVERIFY(!bench.service.lastSyncError());
        QCOMPARE(server.requests().size(), 1);
        const ScriptedServer::Request& request = server.requests().constFirst();
        QCOMPARE(request.method, "POST");
        QCOMPARE(request.target, "/api/activity-log");
        QCOMPARE(request.headers.value("content-type"), "application/json");
        QCOMPARE(request.headers.value("accept"), "application/json");
        QCOMPARE(request.headers.value("authorization"), "Bearer T");
        QVERIFY(request.body.contains(R"("duration_seconds":600)"));
        const QStringList lines = bench.fake.diagnostics.lines();
        QCOMPARE(
            lines,
            QStringList({QStringLiteral("Velomira Sync: Attempting to sync to %1/api/activity-log")
                             .arg(server.url()),
                         QStringLiteral("Velomira Sync: Using auth token"),
                         QStringLiteral("Velomira Sync: Payload size: %1 bytes, activities: 1")
                             .arg(request.body.size()),
                         QStringLiteral("Velomira Sync: Response status code: 201"),
                         QStringLiteral("Velomira Sync Success: Synced 1 activity records.")}));
        QCOMPARE(bench.stored(), 0);
        QCOMPARE(total(bench), QStringLiteral("1"));
    }

    void onlyTwoStatusesDeliver_data()
    {
        QTest::addColumn<int>("status");
        for (const int status :
             {200, 201, 202, 203, 204, 205, 206, 300, 301, 302, 303, 304, 305, 307,
              308, 400, 401, 403, 404, 408, 413, 422, 429, 500, 502, 503, 504, 599})
            QTest::addRow("%d", status) << status;
    }

    void onlyTwoStatusesDeliver()
    {
        QFETCH(const int, status);
        const bool delivers = status == 200 || status == 201;
        ScriptedServer server;
        server.willAnswer(
            ScriptedServer::reply(status, status == 204 || status == 304 ? "" : "a body"));
        SyncBench bench(server.url(), &m_client);
        bench.addSamples(3);
        bench.sync();
        QCOMPARE(bench.stored(), delivers ? 0 : 3);
        QCOMPARE(bench.service.lastSyncError(),
                 delivers ? std::nullopt
                          : std::optional(QStringLiteral("Server returned status %1").arg(status)));
        QCOMPARE(server.requests().size(), 1);
        QVERIFY(bench.auth.isAuthenticated());
    }

    void aRedirectToAnotherOriginLosesTheTokenAndKeepsTheSamples()
    {
        ScriptedServer other;
        other.willAnswer(ScriptedServer::reply(401, "who are you?"));
        ScriptedServer server;
        server.willAnswer(ScriptedServer::redirect(308, other.url()));
        SyncBench bench(server.url(), &m_client);
        bench.addSamples(3);
        bench.sync();
        QVERIFY(!other.requests().constFirst().headers.contains("authorization"));
        QCOMPARE(bench.service.lastSyncError(), QStringLiteral("Server returned status 401"));
        QCOMPARE(bench.stored(), 3);
    }

    void aSuccessThatBreaksOffDeliversNothing_data()
    {
        QTest::addColumn<QByteArray>("sent");
        QTest::newRow("body cut") << QByteArray(
            "HTTP/1.1 200 OK\r\nContent-Length: 50\r\n\r\n{\"succ");
        QTest::newRow("head cut") << QByteArray("HTTP/1.1 200 OK\r\nContent-Le");
        QTest::newRow("nothing") << QByteArray();
    }

    void aSuccessThatBreaksOffDeliversNothing()
    {
        QFETCH(const QByteArray, sent);
        ScriptedServer server;
        server.willAlwaysAnswer(ScriptedServer::bytes(sent));
        SyncBench bench(server.url(), &m_client);
        bench.addSamples(3);
        bench.sync();
        const QString text =
            QStringLiteral("The connection to 127.0.0.1 was lost before its answer was complete");
        QCOMPARE(bench.service.lastSyncError(), text);
        QCOMPARE(bench.fake.diagnostics.lines().last(),
                 QStringLiteral("Velomira Sync Failed with error: TransferFailure(endedEarly, "
                                "%1/api/activity-log): %2")
                     .arg(server.url(), text));
        QCOMPARE(bench.stored(), 3);
        QCOMPARE(total(bench), QString());
    }

    // The status has said by then that everything is stored. Whether Qt notices the missing rest
    // depends on whether it comes to read before or after the connection has gone.
    void aCreatedWhoseChunksBreakOffDeliversAllOrNothing()
    {
        ScriptedServer server;
        server.willAlwaysAnswer(ScriptedServer::bytes(
            "HTTP/1.1 201 Created\r\nTransfer-Encoding: chunked\r\n\r\n40\r\nabcd"));
        SyncBench bench(server.url(), &m_client);
        bench.addSamples(3);
        bench.sync();
        const bool isDelivered = bench.service.lastSyncError().value_or(QString()).isEmpty();
        QCOMPARE(bench.stored(), isDelivered ? std::size_t{0} : std::size_t{3});
        QVERIFY(isDelivered ||
                bench.fake.diagnostics.lines().last().contains(QStringLiteral("endedEarly")));
    }

    void theAnswerOfAFailureIsLoggedUpToALimit()
    {
        ScriptedServer server;
        server.willAnswer(ScriptedServer::reply(500, QByteArray(200'000, 'x')));
        SyncBench bench(server.url(), &m_client);
        bench.addSamples(1);
        bench.sync();
        const QString prefix = QStringLiteral("Velomira Sync: Error response body: ");
        QCOMPARE(bench.fake.diagnostics.lines().at(4), prefix + QString(65536, u'x'));
        QCOMPARE(bench.service.lastSyncError(), QStringLiteral("Server returned status 500"));
    }

    void aLongAnswerToASuccessDeliversAllTheSame()
    {
        ScriptedServer server;
        server.willAnswer([](QTcpSocket& connection) { // without an end
            connection.write("HTTP/1.1 200 OK\r\n\r\n" + QByteArray(200'000, 'x'));
        });
        SyncBench bench(server.url(), &m_client);
        bench.addSamples(1);
        bench.sync();
        QVERIFY(!bench.service.lastSyncError());
        QCOMPARE(bench.stored(), 0);
    }

    void aServiceThatIsNotThereIsNamed()
    {
        QString url;
        {
            const ScriptedServer server;
            url = server.url();
        }
        SyncBench bench(url, &m_client);
        bench.addSamples(2);
        bench.sync();
        QCOMPARE(bench.service.lastSyncError(),
                 QStringLiteral("Could not connect to 127.0.0.1: connection refused"));
        QCOMPARE(bench.stored(), 2);
        QVERIFY(!bench.service.lastSyncTime());
    }

    void aHundredThousandSamplesGoInOneBody()
    {
        ScriptedServer server;
        server.willAnswer(ScriptedServer::reply(200, ""));
        SyncBench bench(server.url(), &m_client);
        for (int i = 0; i < 100'000; ++i)
            bench.addSamples(1, i % 2 == 0 ? "one" : "two");
        bench.sync();
        QVERIFY(!bench.service.lastSyncError());
        QCOMPARE(server.requests().constFirst().body.count("\"app_name\""), 100'000);
        QCOMPARE(total(bench), QStringLiteral("100000"));
        QCOMPARE(bench.stored(), 0);
    }

    void aBacklogOfManyMegabytesArrivesWholeBeforeItsSamplesGo_data()
    {
        QTest::addColumn<bool>("isRedirected");
        QTest::newRow("to the service") << false;
        QTest::newRow("and on to another") << true;
    }

    void aBacklogOfManyMegabytesArrivesWholeBeforeItsSamplesGo()
    {
        QFETCH(const bool, isRedirected);
        constexpr int kRows = 70'000;
        const QByteArray longText(1000, 'x');
        ScriptedServer other;
        ScriptedServer server;
        SyncBench bench(server.url(), &m_client);
        std::vector<std::size_t> storedAtArrival;
        const auto noteAnd = [&](const ScriptedServer::Answer& answer) {
            return [&storedAtArrival, &bench, answer](QTcpSocket& connection) {
                storedAtArrival.push_back(bench.stored());
                answer(connection);
            };
        };
        if (isRedirected)
            server.willAnswer(noteAnd(ScriptedServer::redirect(307, other.url())));
        ScriptedServer& last = isRedirected ? other : server;
        last.willAnswer(noteAnd(ScriptedServer::reply(201, "")));
        for (int i = 0; i < kRows; ++i)
            bench.addSamples(1, "row " + QByteArray::number(i) + ' ' + longText);

        bench.sync();
        QVERIFY(!bench.service.lastSyncError());
        QCOMPARE(server.requests().size() + other.requests().size(), isRedirected ? 2 : 1);
        QCOMPARE(storedAtArrival,
                 std::vector<std::size_t>(isRedirected ? 2 : 1, std::size_t{kRows}));
        QCOMPARE(bench.stored(), 0);
        for (const ScriptedServer* taker :
             std::initializer_list<const ScriptedServer*>{&server, &last}) {
            const QByteArray& body = taker->requests().constFirst().body;
            QVERIFY(body.size() > 64 * 1024 * 1024);
            QVERIFY(bench.fake.diagnostics.lines().contains(
                QStringLiteral("Velomira Sync: Payload size: %1 bytes, activities: %2")
                    .arg(body.size())
                    .arg(kRows)));
            QVERIFY(body.endsWith("]}"));
            QCOMPARE(body.count("\"app_name\""), kRows);
            qsizetype at = 0;
            for (int i = 0; i < kRows && at >= 0; ++i)
                at = body.indexOf("\"row " + QByteArray::number(i) + ' ' + longText + '"', at);
            QVERIFY(at >= 0);
        }
    }
};

QUILLSTEP_TEST(TestUpload)
#include "tst_upload.moc"
