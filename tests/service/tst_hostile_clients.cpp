// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// What clients may send that no honest one does, to the real executable.
#include "tests/service/service_requests.h"
#include "tests/support/service_process.h"
#include "tests/support/test_program.h"

#include <QDir>
#include <QFile>
#include <QTest>

using requests::statusOf;
using support::RawHttpClient;

class TestHostileClients : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        const QString database = m_service.folder() + QStringLiteral("/service.db");
        m_service.setDatabase(database);
        QVERIFY(m_service.addUser(QString::fromUtf8(requests::kEmail),
                                  QStringLiteral("Someone"),
                                  QString::fromUtf8(requests::kPassword)));
        const auto started =
            m_service.start(database, {QStringLiteral("--largest-upload"), QStringLiteral("64")});
        QVERIFY2(started, started ? "" : qPrintable(started.error().text));
        m_token = requests::newToken(m_service.port());
        QVERIFY(!m_token.isEmpty());
    }

    void cleanupTestCase()
    {
        QCOMPARE(m_service.stop(), std::optional(0));
        const QString log = m_service.log();
        for (const QByteArray& secret : {m_token, requests::kEmail, requests::kPassword})
            QVERIFY(!log.contains(QString::fromUtf8(secret)));
        QVERIFY(!log.contains(QStringLiteral("a title")));
        QVERIFY(!log.contains(QStringLiteral("Sanitizer")));
        const QDir folder(m_service.folder());
        for (const QString& name : folder.entryList({QStringLiteral("service.db*")})) {
            QFile file(folder.filePath(name));
            QVERIFY(file.open(QIODevice::ReadOnly));
            const QByteArray content = file.readAll();
            QVERIFY(!content.contains(m_token) && !content.contains(requests::kPassword));
            QCOMPARE(file.permissions() & ~(QFile::ReadUser | QFile::WriteUser),
                     QFile::ReadOwner | QFile::WriteOwner);
        }
    }

    /// However a test went on, the service still answers.
    void cleanup()
    {
        QCOMPARE(statusOf(requests::upload(
                     port(), m_token, requests::uploadBody({requests::row("app", 1)}))),
                 201);
    }

    void badRequestsAreAnsweredOrClosed_data()
    {
        QTest::addColumn<QByteArray>("request");
        QTest::addColumn<int>("status"); // 0: closed without an answer
        const QByteArray post = "POST /api/token HTTP/1.1\r\nHost: localhost\r\n";
        QTest::newRow("nothing") << QByteArray() << 0;
        QTest::newRow("noise") << QByteArray("\x16\x03\x01\x02\0\x01\xfc\r\n\r\n", 11) << 400;
        QTest::newRow("no version") << QByteArray("POST /api/token\r\n\r\n") << 400;
        QTest::newRow("unknown method") << QByteArray("BREW / HTTP/1.1\r\n\r\n") << 400;
        QTest::newRow("get") << QByteArray("GET /api/token HTTP/1.1\r\n\r\n") << 405;
        QTest::newRow("put") << QByteArray("PUT /api/activity-log HTTP/1.1\r\n\r\n") << 405;
        QTest::newRow("elsewhere") << QByteArray("GET / HTTP/1.1\r\n\r\n") << 404;
        QTest::newRow("climbing") << QByteArray("GET /api/../../etc/passwd HTTP/1.1\r\n\r\n")
                                  << 404;
        QTest::newRow("long address") << "GET /" + QByteArray(9000, 'x') + " HTTP/1.1\r\n\r\n"
                                      << 414;
        QTest::newRow("endless address") << "GET /" + QByteArray(200'000, 'x') << 414;
        QTest::newRow("long field") << post + "A: " + QByteArray(100'000, 'x') + "\r\n\r\n" << 431;
        QTest::newRow("many fields") << post + QByteArray("A: b\r\n").repeated(20'000) << 431;
        QTest::newRow("no body") << post + "\r\n" << 411;
        QTest::newRow("two lengths")
            << post + "Content-Length: 2\r\nContent-Length: 3\r\n\r\n{}" << 400;
        QTest::newRow("both framings")
            << post + "Content-Length: 2\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n"
            << 400;
        QTest::newRow("huge length") << post + "Content-Length: 999999999999\r\n\r\n{}" << 413;
        QTest::newRow("cut body") << post + "Content-Length: 100\r\n\r\n{}" << 400;
        QTest::newRow("bad chunks")
            << post + "Transfer-Encoding: chunked\r\n\r\nzz\r\n{}\r\n0\r\n\r\n"
            << 400;
        QTest::newRow("cut chunk") << post + "Transfer-Encoding: chunked\r\n\r\nff\r\n{}" << 400;
        QTest::newRow("compressed")
            << post + "Content-Encoding: gzip\r\nContent-Length: 2\r\n\r\n{}" << 415;
        QTest::newRow("form")
            << post + "Content-Type: multipart/form-data; boundary=x\r\nContent-Length: 2\r\n\r\n{}"
            << 415;
        QTest::newRow("not JSON") << post + "Content-Length: 3\r\n\r\nabc" << 400;
        QTest::newRow("deep") << post + "Content-Length: 50000\r\n\r\n" + QByteArray(50'000, '[')
                              << 400;
        QTest::newRow("invalid UTF-8")
            << post + "Content-Length: 14\r\n\r\n{\"email\":\"\xff\xfe\"}" << 400;
    }

    void badRequestsAreAnsweredOrClosed()
    {
        QFETCH(QByteArray, request);
        QFETCH(int, status);
        RawHttpClient client(port());
        static_cast<void>(client.send(request));
        client.finishSending();
        const auto answer = client.answer();
        QCOMPARE(statusOf(answer), status);
        if (answer)
            QVERIFY(requests::json(*answer).contains(QStringLiteral("message")));
        QVERIFY(client.waitForEnd());
    }

    void bodiesThatAreTooLongAreRefusedAndTheAnswerArrives()
    {
        const QByteArray long1(64 * 1024 + 1, ' ');
        QCOMPARE(statusOf(RawHttpClient(port()).post("/api/token", long1)), 413);
        const QByteArray long2(64 * 1024 * 1024 + 1, ' ');
        QCOMPARE(statusOf(requests::upload(port(), m_token, long2)), 413);
        QCOMPARE(statusOf(requests::upload(port(), "unknown", long2.left(30'000'000))), 401);
        RawHttpClient chunked(port());
        static_cast<void>(chunked.send("POST /api/token HTTP/1.1\r\nTransfer-Encoding: chunked\r\n"
                                       "\r\n10001\r\n" +
                                       long1 + "\r\n0\r\n\r\n"));
        QCOMPARE(statusOf(chunked.answer()), 413);
    }

    void aBodyMayComeInChunksAndAfterAsking()
    {
        RawHttpClient client(port());
        const QByteArray head = "POST /api/activity-log HTTP/1.1\r\nHost: localhost\r\n" +
                                requests::bearer(m_token) + "\r\n";
        const QByteArray body = requests::uploadBody({requests::row("app", 1)});
        QVERIFY(client.send(head + "Transfer-Encoding: chunked\r\n\r\n"));
        for (const char byte : body)
            QVERIFY(client.send(QByteArray("1;x=y\r\n") + byte + "\r\n"));
        QVERIFY(client.send("0\r\n\r\n"));
        QCOMPARE(statusOf(client.answer()), 201);
        // The same connection, with leave to send first.
        QVERIFY(client.send(head + "Expect: 100-continue\r\nContent-Length: " +
                            QByteArray::number(body.size()) + "\r\n\r\n"));
        QCOMPARE(statusOf(client.answer()), 100);
        QVERIFY(client.send(body));
        QCOMPARE(statusOf(client.answer()), 201);
        QVERIFY(client.send("POST /api/activity-log HTTP/1.1\r\nExpect: 100-continue\r\n"
                            "Content-Length: 5\r\n\r\n"));
        QCOMPARE(statusOf(client.answer()), 401);
    }

    void anUnreadBodyIsNotTakenForARequest()
    {
        RawHttpClient client(port());
        const QByteArray inner = "GET /api/token HTTP/1.1\r\n\r\n";
        QVERIFY(client.send("GET /nothing HTTP/1.1\r\nContent-Length: " +
                            QByteArray::number(inner.size()) + "\r\n\r\n" + inner));
        const auto answer = client.answer();
        QCOMPARE(statusOf(answer), 404);
        QCOMPARE(answer->field("Connection"), QByteArray("close"));
        client.finishSending();
        QVERIFY(!client.answer());
    }

    void requestsMayFollowEachOtherWithoutWaiting()
    {
        RawHttpClient client(port());
        QVERIFY(client.send(QByteArray("GET /api/token HTTP/1.1\r\n\r\n").repeated(20)));
        for (int i = 0; i < 20; ++i)
            QCOMPARE(statusOf(client.answer()), 405);
    }

    void forgedAddressesDoNotCountWithoutAProxy()
    {
        static_cast<void>(requests::signIn(port(), "x@y", "z", {"X-Forwarded-For: 192.0.2.99"}));
        QVERIFY(!m_service.log().contains(QStringLiteral("192.0.2.99")));
    }

    void pathsCannotForgeLinesOfTheLog()
    {
        static_cast<void>(RawHttpClient(port()).post("/x%0a\x1b[2J?secret=hidden", "{}"));
        QTRY_VERIFY(m_service.log().contains(QStringLiteral("/x%0a\\x1b[2J 400")));
        QVERIFY(!m_service.log().contains(QStringLiteral("hidden")));
    }

private:
    [[nodiscard]] int port() const { return m_service.port(); }

    support::ServiceProcess m_service;
    QByteArray m_token;
};

QUILLSTEP_TEST(TestHostileClients)
#include "tst_hostile_clients.moc"
