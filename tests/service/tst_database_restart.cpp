// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/service/service_requests.h"
#include "tests/support/postgres_server.h"
#include "tests/support/required_programs.h"
#include "tests/support/service_process.h"
#include "tests/support/test_program.h"

#include <QTest>

using requests::rows;
using requests::statusOf;
using requests::uploadBody;

class TestDatabaseRestart final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void aDatabaseServerThatRestartsCostsOneRequest()
    {
        REQUIRE_POSTGRES();
        support::PostgresServer postgres;
        QVERIFY(postgres.start());
        const auto database = postgres.newDatabase();
        QVERIFY(database);
        support::ServiceProcess service;
        service.setDatabase(database.value());
        QVERIFY(service.addUser(QString::fromUtf8(requests::kEmail),
                                QStringLiteral("Someone"),
                                QString::fromUtf8(requests::kPassword)));
        QVERIFY(service.start(database.value()));
        const int port = service.port();
        const QByteArray token = requests::newToken(port);
        for (int i = 0; i < 8; ++i)
            QCOMPARE(statusOf(requests::upload(port, token, uploadBody(rows("a", 1, 9)))), 201);
        postgres.stop();
        const auto answer = requests::upload(port, token, uploadBody(rows("a", 1, 9)));
        QCOMPARE(statusOf(answer), 503);
        QVERIFY(answer->body.contains("message"));
        QVERIFY(!answer->field("Retry-After").isEmpty());
        // The log says why, of which request.
        const QString why = QStringLiteral("velomira-service: request %1 failed: ")
                                .arg(QString::fromLatin1(answer->field("X-Request-Id")));
        QTRY_VERIFY2(service.log().contains(why), qPrintable(service.log()));
        QCOMPARE(statusOf(requests::signIn(port)), 503);
        QVERIFY(postgres.resume());
        // One on each of the two kinds of connection, for reading and for writing, may still fail.
        QCOMPARE(statusOf(requests::upload(port, token, uploadBody(rows("b", 1, 9)))), 503);
        QCOMPARE(statusOf(requests::upload(port, token, uploadBody(rows("b", 1, 9)))), 201);
        QCOMPARE(service.summary(),
                 QStringLiteral("user 1: 18 rows, 18 seconds, 1 devices, 1 tokens\n"));
    }

    void aDatabaseThatComesLater()
    {
        REQUIRE_POSTGRES();
        support::PostgresServer postgres;
        QVERIFY(postgres.start());
        const auto database = postgres.newDatabase();
        QVERIFY(database);
        postgres.stop();
        // Who cannot look at the tables does not serve; whoever started it does so again.
        support::ServiceProcess service;
        const auto early = service.run({QStringLiteral("--database"),
                                        database.value(),
                                        QStringLiteral("--port"),
                                        QStringLiteral("0")});
        QCOMPARE(early.code, std::optional(1));
        QCOMPARE(early.output, QString());
        QVERIFY2(early.complaint.startsWith(
                     QLatin1String("velomira-service: cannot open the database: ")),
                 qPrintable(early.complaint));
        QVERIFY(postgres.resume());
        QVERIFY(service.start(database.value()));
        QCOMPARE(statusOf(requests::signIn(service.port())), 401);
    }
};

QUILLSTEP_TEST(TestDatabaseRestart)
#include "tst_database_restart.moc"
