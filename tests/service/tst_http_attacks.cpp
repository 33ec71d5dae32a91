// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// Attacks on the real executable over sockets, on both databases: each gets one answer and leaves
// nothing behind, and meanwhile others are served and the memory stays bounded.
#include "tests/service/service_requests.h"
#include "tests/support/postgres_server.h"
#include "tests/support/required_programs.h"
#include "tests/support/service_process.h"
#include "tests/support/test_program.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTest>

#include <algorithm>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

using requests::row;
using requests::statusOf;
using requests::uploadBody;
using support::RawHttpClient;
using namespace std::chrono_literals;

namespace {

/// At its highest, between two looks. More than the sanitizers keep of freed memory, far less than
/// what is sent here.
constexpr qint64 kMostGrowthKb = 150'000;

using Clients = std::vector<std::unique_ptr<RawHttpClient>>;

/// Sends `bytes` again and again until the other end does not take them any more, or so many times.
int flood(RawHttpClient& client, const QByteArray& bytes, int times)
{
    int sent = 0;
    while (sent < times && client.send(bytes))
        ++sent;
    return sent;
}

} // namespace

class TestHttpAttacks : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase_data()
    {
        QTest::addColumn<bool>("postgres");
        QTest::newRow("SQLite") << false;
        QTest::newRow("PostgreSQL") << true;
    }

    void initTestCase()
    {
        // What the sanitizer keeps of freed memory would hide what the service keeps.
        qputenv("ASAN_OPTIONS", qgetenv("ASAN_OPTIONS") + ":quarantine_size_mb=4");
    }

    void init()
    {
        QFETCH_GLOBAL(bool, postgres);
        if (m_service && m_onPostgres == postgres) {
            QVERIFY(forgetPeak());
            return;
        }
        if (m_service)
            QCOMPARE(m_service->stop(), std::optional(0));
        m_service = std::make_unique<support::ServiceProcess>();
        m_onPostgres = postgres;
        QString database = m_service->folder() + QStringLiteral("/service.db");
        if (postgres) {
            REQUIRE_POSTGRES();
            m_postgres = std::make_unique<support::PostgresServer>();
            const auto started = m_postgres->start();
            QVERIFY2(started, started ? "" : qPrintable(started.error().text));
            const auto made = m_postgres->newDatabase();
            QVERIFY(made);
            database = made.value();
        }
        m_service->setDatabase(database);
        QVERIFY(m_service->addUser(QString::fromUtf8(requests::kEmail),
                                   QStringLiteral("Someone"),
                                   QString::fromUtf8(requests::kPassword)));
        const auto started = m_service->start(database);
        QVERIFY2(started, started ? "" : qPrintable(started.error().text));
        m_token = requests::newToken(port());
        QVERIFY(!m_token.isEmpty());
        QCOMPARE(statusOf(upload({row("app", 1)})), 201);
        QVERIFY(forgetPeak());
        m_memory = memoryKb();
        QVERIFY(m_memory > 0);
    }

    /// However a test went on, the service is there, answers, and has not grown.
    void cleanup()
    {
        QCOMPARE(statusOf(upload({row("app", 1)})), 201);
        const qint64 growth = memoryKb() - m_memory;
        qInfo("at most %lld kB more", growth);
        QVERIFY2(growth < kMostGrowthKb, qPrintable(QStringLiteral("%1 kB more").arg(growth)));
    }

    void cleanupTestCase()
    {
        QCOMPARE(m_service->stop(), std::optional(0));
        QVERIFY(!m_service->log().contains(QStringLiteral("Sanitizer")));
        m_service.reset();
    }

    void aMalformedRequestGetsOneAnswerWhateverFollowsIt_data()
    {
        QTest::addColumn<QByteArray>("request");
        QTest::addColumn<int>("status");
        const QByteArray post = "POST /api/token HTTP/1.1\r\nHost: localhost\r\n";
        const auto add = [&](const char* name, const QByteArray& request, int status) {
            QTest::newRow(name) << request << status;
        };
        const QByteArray chunked = post + "Transfer-Encoding: chunked\r\n";
        add("both lengths", chunked + "Content-Length: 5\r\n\r\n0\r\n\r\n", 400);
        add("both lengths, the other way round",
            post + "Content-Length: 5\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n",
            400);
        add("two lengths", post + "Content-Length: 2\r\nContent-Length: 3\r\n\r\n{}", 400);
        add("the same length twice",
            post + "Content-Length: 2\r\nContent-Length: 2\r\n\r\n{}",
            400);
        add("a list of lengths", post + "Content-Length: 2, 2\r\n\r\n{}", 400);
        add("a signed length", post + "Content-Length: +2\r\n\r\n{}", 400);
        add("a negative length", post + "Content-Length: -2\r\n\r\n{}", 400);
        add("a length in hexadecimal", post + "Content-Length: 0x2\r\n\r\n{}", 400);
        add("a length beyond 64 bits",
            post + "Content-Length: 18446744073709551618\r\n\r\n{}",
            400);
        add("an encoded length", post + "Content-Length: %32\r\n\r\n{}", 400);
        add("an encoded coding", post + "Transfer-Encoding: %63hunked\r\n\r\n0\r\n\r\n", 400);
        add("two codings", post + "Transfer-Encoding: gzip, chunked\r\n\r\n0\r\n\r\n", 400);
        add("chunked not last", post + "Transfer-Encoding: chunked, gzip\r\n\r\n0\r\n\r\n", 400);
        add("chunked twice", chunked + "Transfer-Encoding: chunked\r\n\r\n0\r\n\r\n", 400);
        add("another coding", post + "Transfer-Encoding: identity\r\n\r\n", 400);
        add("a coding with a vertical tab", post + "Transfer-Encoding: \vchunked\r\n\r\n", 400);
        add("an empty coding", post + "Transfer-Encoding:\r\n\r\n", 400);
        add("chunks before HTTP/1.1",
            "POST /api/token HTTP/1.0\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n",
            400);
        add("a folded coding", post + "Transfer-Encoding:\r\n chunked\r\n\r\n0\r\n\r\n", 400);
        add("a folded field", post + "X: a\r\n\tb\r\nContent-Length: 2\r\n\r\n{}", 400);
        add("a blank before the colon", post + "Content-Length : 2\r\n\r\n{}", 400);
        add("a field without a name", post + ": 2\r\nContent-Length: 2\r\n\r\n{}", 400);
        add("a line feed alone", post + "Content-Length: 2\n\n{}", 400);
        add("line feeds only", "GET / HTTP/1.1\nHost: localhost\n\n", 400);
        add("a carriage return alone", post + "X: a\rContent-Length: 2\r\n\r\n{}", 400);
        add("a zero in a field", post + QByteArray("X: a\0b\r\n", 8) + "\r\n", 400);
        add("two names", post + "Host: localhost\r\nContent-Length: 2\r\n\r\n{}", 400);
        add("another name", "GET / HTTP/1.1\r\nHost: example.org\r\n\r\n" + QByteArray(), 404);
        add("a name that leads here",
            "POST /api/token HTTP/1.1\r\nHost: example.org\r\nContent-Length: 2\r\n\r\n{}",
            421);
        add("another version", "GET / HTTP/2.0\r\n\r\n", 400);
        add("a later version", "GET / HTTP/1.2\r\n\r\n", 400);
        add("a chunk without its line end", chunked + "\r\n2\r\n{}0\r\n\r\n", 400);
        add("a chunk's line with a line feed alone", chunked + "\r\n2\n{}\r\n0\r\n\r\n", 400);
        add("a chunk of a negative length", chunked + "\r\n-2\r\n{}\r\n0\r\n\r\n", 400);
        add("a chunk beyond 64 bits", chunked + "\r\n10000000000000002\r\n{}\r\n0\r\n\r\n", 400);
        add("a chunk that is too long", chunked + "\r\nfffffffffffffff\r\n{}", 413);
        add("a chunk's length with a blank", chunked + "\r\n 2\r\n{}\r\n0\r\n\r\n", 400);
        add("many fields", "GET / HTTP/1.1\r\n" + QByteArray("A: b\r\n").repeated(100'000), 431);
        add("an endless field", post + "A: " + QByteArray(1'000'000, 'x'), 431);
        add("an endless name", post + QByteArray(1'000'000, 'x'), 431);
        add("an endless address", "GET /" + QByteArray(1'000'000, 'x'), 414);
        add("an endless method", QByteArray(1'000'000, 'x'), 414);
        add("blanks for a request", QByteArray(100, ' '), 400);
        add("line ends for a request", QByteArray("\r\n").repeated(100), 400);
        add("something else to expect", post + "Expect: 200-ok\r\nContent-Length: 2\r\n\r\n", 417);
    }

    void aMalformedRequestGetsOneAnswerWhateverFollowsIt()
    {
        QFETCH(QByteArray, request);
        QFETCH(int, status);
        RawHttpClient client(port());
        // What would be a request of its own if the first one ended elsewhere.
        static_cast<void>(
            client.send(request + "GET /api/token HTTP/1.1\r\nConnection: close\r\n\r\n"));
        client.finishSending();
        const auto answer = client.answer();
        QCOMPARE(statusOf(answer), status);
        QVERIFY(requests::json(*answer).contains(QStringLiteral("message")));
        // Where it is clear where the next one begins it may be answered.
        if (answer->field("Connection") == "close")
            QVERIFY(!client.answer());
        else
            QCOMPARE(status, 404);
    }

    void endlessChunkSizesAndExtensionsFillNothing()
    {
        const std::pair<QByteArray, QByteArray> endless[] = {
            {"", "0"},             // a size
            {"1;", "x"},           // an extension
            {"1;a=\"", "x"},       // its value
            {"1", ";a=b"},         // many
            {"0\r\nA: ", "x"},     // a trailer
            {"0\r\n", "A: b\r\n"}, // many
        };
        constexpr int kFarTooMany = 100'000;
        std::vector<int> sent(std::size(endless), kFarTooMany);
        std::vector<int> closed(std::size(endless));
        {
            std::vector<std::jthread> clients;
            for (std::size_t i = 0; i < std::size(endless); ++i)
                clients.emplace_back([&, i] {
                    // Without a token, at the address where one is needed and where none is.
                    RawHttpClient client(port());
                    const QByteArray target = i % 2 == 0 ? "/api/token" : "/api/activity-log";
                    static_cast<void>(client.send(
                        "POST " + target + " HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n" +
                        endless[i].first));
                    sent[i] = flood(client, endless[i].second.repeated(10'000), kFarTooMany);
                    closed[i] = client.waitForEnd() ? 1 : 0;
                });
        }
        QVERIFY(std::ranges::all_of(sent, [](int times) { return times < kFarTooMany; }));
        QVERIFY(std::ranges::all_of(closed, [](int isClosed) { return isClosed == 1; }));
        RawHttpClient slow(port());
        QVERIFY(slow.send("POST /api/token HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n1;" +
                          QByteArray(70'000, 'x')));
        QCOMPARE(statusOf(slow.answer()), 400);
    }

    void requestsThatComeTogetherAreAnsweredInTurn()
    {
        const QByteArray body = uploadBody({row("app", 1)});
        const QByteArray length = QByteArray::number(body.size());
        const QByteArray upload = "POST /api/activity-log HTTP/1.1\r\n" +
                                  requests::bearer(m_token) + "\r\nContent-Length: " + length +
                                  "\r\n\r\n" + body;
        RawHttpClient client(port());
        QVERIFY(client.send((upload + "GET /x HTTP/1.1\r\n\r\n").repeated(10)));
        client.finishSending();
        for (int i = 0; i < 10; ++i) {
            QCOMPARE(statusOf(client.answer()), 201);
            QCOMPARE(statusOf(client.answer()), 404);
        }
        QVERIFY(!client.answer());
    }

    void clientsThatGoInTheMiddleLeaveNothing()
    {
        const QByteArray head = "POST /api/activity-log HTTP/1.1\r\n" + requests::bearer(m_token) +
                                "\r\nContent-Length: 20000000\r\n\r\n";
        for (int i = 0; i < 20; ++i) {
            RawHttpClient client(port());
            // Of the header, of the body, and so far that it has gone to a file.
            QVERIFY(client.send(i % 3 == 0 ? head.left(50) : head));
            if (i % 3 == 2)
                QVERIFY(client.send(QByteArray(10'000'000, ' ')));
            if (i % 2 == 0)
                client.reset();
        }
    }

    void idleAndDrippingClientsDelayNobody()
    {
        Clients idle;
        Clients slow;
        for (int i = 0; i < 320; ++i)
            idle.push_back(std::make_unique<RawHttpClient>(port()));
        for (int i = 0; i < 64; ++i) {
            slow.push_back(std::make_unique<RawHttpClient>(port()));
            // In the header, in a body of a length, in a chunk's line.
            const QByteArray begin = "POST /api/token HTTP/1.1\r\n";
            QVERIFY(
                slow.back()->send(begin + (i % 3 == 0   ? "X: "
                                           : i % 3 == 1 ? "Content-Length: 60000\r\n\r\n"
                                                        : "Transfer-Encoding: chunked\r\n\r\n1;")));
        }
        const std::jthread dripping([&slow](const std::stop_token& stop) {
            while (!stop.stop_requested()) {
                for (const auto& client : slow)
                    static_cast<void>(client->send("x"));
                std::this_thread::sleep_for(20ms); // the pace of a slow client
            }
        });
        // Those that wait for the next request hold no buffer either.
        for (const auto& client : idle)
            QVERIFY(client->send("GET / HTTP/1.1\r\n\r\n"));
        for (const auto& client : idle)
            QCOMPARE(statusOf(client->answer()), 404);
        QElapsedTimer timer;
        timer.start();
        for (int i = 0; i < 20; ++i)
            QCOMPARE(statusOf(upload({row("app", 1)})), 201);
        // No slow client has used up its time by then, so nobody waited for one.
        QVERIFY2(timer.elapsed() < 9000, qPrintable(QString::number(timer.elapsed())));
    }

    void aBacklogOfAnyLengthArrivesWithinLittleMemory()
    {
        const QString before = m_service->summary();
        constexpr int kRows = 8'000;
        const QByteArray title = ",\"window_title\":\"" + QByteArray(1900, 'x') + '"';
        QByteArrayList all;
        for (int i = 0; i < kRows - 1; ++i)
            all.append(row("backlog " + QByteArray::number(i), 1, title));
        all.append(all.first()); // equal ones are added up, however far from each other
        const QByteArray body = uploadBody(all, "long away");
        QVERIFY(body.size() > 15'000'000);
        for (int i = 0; i < 2; ++i) {
            const auto answer = requests::upload(port(), m_token, body);
            QCOMPARE(statusOf(answer), 201);
            QCOMPARE(answer->body, QByteArray("{\"success\":true,\"stored\":8000}"));
            const QString after = m_service->summary();
            const auto number = [](const QString& text, int word) {
                return text.section(QLatin1Char(' '), word, word).toLongLong();
            };
            QCOMPARE(number(after, 2) - number(before, 2), kRows - 1);
            QCOMPARE(number(after, 4) - number(before, 4), kRows);
        }
    }

    void hundredsOfMegabytesArriveWithinLittleMemory()
    {
        const QString before = m_service->summary();
        constexpr int kRows = 4'000;
        const QByteArray unknown = ",\"more\":\"" + QByteArray(80'000, 'x') + '"';
        const auto numbered = [&](int i) {
            return row("large " + QByteArray::number(10'000 + i), 1, unknown);
        };
        const QByteArray frame = uploadBody({});
        const qsizetype begin = frame.indexOf('[') + 1;
        const qsizetype length = frame.size() + kRows * (numbered(0).size() + 1) - 1;
        QVERIFY(length > 300'000'000);
        RawHttpClient client(port());
        QVERIFY(client.send("POST /api/activity-log HTTP/1.1\r\n" + requests::bearer(m_token) +
                            "\r\nContent-Length: " + QByteArray::number(length) + "\r\n\r\n" +
                            frame.left(begin)));
        for (int i = 0; i < kRows; ++i)
            QVERIFY(client.send(i > 0 ? ',' + numbered(i) : numbered(i)));
        QVERIFY(client.send(frame.mid(begin)));
        // It is read twice, which may take longer than the patience of one call.
        std::optional<support::RawAnswer> answer;
        for (int i = 0; i < 8 && !answer; ++i)
            answer = client.answer();
        QCOMPARE(statusOf(answer), 201);
        QCOMPARE(answer->body, QByteArray("{\"success\":true,\"stored\":4000}"));
        QVERIFY(before != m_service->summary());
    }

    void halfClosedClientsAreAnsweredAndLeaveNothing()
    {
        const QByteArray head =
            "POST /api/activity-log HTTP/1.1\r\n" + requests::bearer(m_token) + "\r\n";
        const QByteArray body = uploadBody({row("half", 1)});
        const QByteArray length = "Content-Length: " + QByteArray::number(body.size()) + "\r\n\r\n";
        RawHttpClient whole(port());
        QVERIFY(whole.send(head + length + body));
        whole.finishSending();
        QCOMPARE(statusOf(whole.answer()), 201);
        QVERIFY(whole.waitForEnd());
        const QString before = m_service->summary();
        const QByteArray other = uploadBody({row("other half", 1)});
        const QByteArray beginnings[] = {
            head,
            head + "Content-Length: 20000000\r\n\r\n" + other,
            head + "Content-Length: 20000000\r\n\r\n" + other + QByteArray(10'000'000, ' '),
            head + "Transfer-Encoding: chunked\r\n\r\n" + QByteArray::number(other.size(), 16) +
                "\r\n" + other + "\r\n"};
        Clients waiting;
        for (int i = 0; i < 64; ++i) {
            const QByteArray& beginning = beginnings[i % 4];
            if (i >= 8 && beginning.size() > 10'000'000)
                continue;
            waiting.push_back(std::make_unique<RawHttpClient>(port()));
            QVERIFY(waiting.back()->send(beginning));
            waiting.back()->finishSending();
        }
        QCOMPARE(statusOf(upload({row("app", 1)})), 201);
        for (const auto& client : waiting) {
            QCOMPARE(statusOf(client->answer()), 400);
            QVERIFY(client->waitForEnd());
        }
        QCOMPARE(m_service->summary(), before);
    }

    void answersThatAreTakenSlowlyDelayNobody()
    {
        constexpr int kRequests = 5000;
        constexpr int kWindow = 4096;
        Clients slow;
        for (int i = 0; i < 16; ++i) {
            slow.push_back(std::make_unique<RawHttpClient>(port(), kWindow));
            // Their answers are more than the system keeps for a connection.
            QVERIFY(slow.back()->send(QByteArray("GET / HTTP/1.1\r\n\r\n").repeated(kRequests)));
        }
        {
            const std::jthread dripping([&slow](const std::stop_token& stop) {
                while (!stop.stop_requested()) {
                    for (const auto& client : slow)
                        client->take(1);
                    std::this_thread::sleep_for(20ms); // the pace of a slow client
                }
            });
            QElapsedTimer timer;
            timer.start();
            for (int i = 0; i < 20; ++i)
                QCOMPARE(statusOf(upload({row("app", 1)})), 201);
            // Nobody was given up by then, so nobody waited for one.
            QVERIFY2(timer.elapsed() < 9000, qPrintable(QString::number(timer.elapsed())));
        }
        for (int i = 0; i < kRequests; ++i)
            QCOMPARE(statusOf(slow.front()->answer()), 404);
    }

private:
    [[nodiscard]] int port() const { return m_service->port(); }

    [[nodiscard]] std::optional<support::RawAnswer> upload(const QByteArrayList& rows) const
    {
        return requests::upload(port(), m_token, uploadBody(rows));
    }

    /// From now on memoryKb() is the highest from here on.
    [[nodiscard]] bool forgetPeak() const
    {
        QFile peak(QStringLiteral("/proc/%1/clear_refs").arg(m_service->process().pid()));
        return peak.open(QIODevice::WriteOnly | QIODevice::Unbuffered) && peak.write("5") == 1;
    }

    [[nodiscard]] qint64 memoryKb() const
    {
        QFile status(QStringLiteral("/proc/%1/status").arg(m_service->process().pid()));
        if (!status.open(QIODevice::ReadOnly))
            return 0;
        for (const QByteArray& line : status.readAll().split('\n')) {
            if (line.startsWith("VmHWM:"))
                return line.mid(6).trimmed().split(' ').first().toLongLong();
        }
        return 0;
    }

    std::unique_ptr<support::PostgresServer> m_postgres;
    std::unique_ptr<support::ServiceProcess> m_service;
    bool m_onPostgres = false;
    QByteArray m_token;
    qint64 m_memory = 0;
};

QUILLSTEP_TEST(TestHttpAttacks)
#include "tst_http_attacks.moc"
