// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// The limits of the server, made small, over real sockets in this process.
#include "service/database/database_session.h"
#include "service/database/schema.h"
#include "service/http_server.h"
#include "tests/service/service_requests.h"
#include "tests/support/test_program.h"

#include <QTemporaryDir>
#include <QTest>

#include <sys/eventfd.h>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace std::chrono_literals;
using requests::row;
using requests::rows;
using requests::statusOf;
using requests::uploadBody;
using support::RawHttpClient;

namespace {

/// A server in a thread of its own, on an SQLite file with one user.
class Server final
{
public:
    Server(const service::HttpLimits& limits,
           const service::Api::Limits& failures,
           bool trustProxy = false)
        : m_address{.kind = service::DatabaseAddress::Kind::Sqlite,
                    .name = m_folder.filePath(QStringLiteral("service.db")),
                    .host = {},
                    .user = {},
                    .password = {},
                    .options = {}}
        , m_prepared(prepare(m_address, m_hasher))
        , m_database(m_address)
        , m_api(m_database, m_hasher, failures)
        , m_server(m_api, limits, trustProxy)
        , m_port(m_server.listen("127.0.0.1", 0).value())
        , m_stop(::eventfd(0, EFD_CLOEXEC))
        , m_thread([this] { m_ended = m_server.serve(m_stop); })
    {
    }

    ~Server()
    {
        ::eventfd_write(m_stop, 1);
        m_thread.join();
        ::close(m_stop);
    }

    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    [[nodiscard]] int port() const { return m_port; }

private:
    static bool prepare(const service::DatabaseAddress& address,
                        const service::PasswordHasher& hasher)
    {
        auto session = service::DatabaseSession::open(address);
        const auto hash = hasher.hash(requests::kPassword.toStdString());
        return session && hash && service::prepareSchema(*session.value()) &&
               service::addUser(*session.value(), requests::kEmail.toStdString(), "Name", *hash);
    }

    QTemporaryDir m_folder;
    service::DatabaseAddress m_address;
    service::PasswordHasher m_hasher;
    bool m_prepared;
    service::Database m_database;
    service::Api m_api;
    service::HttpServer m_server;
    int m_port;
    int m_stop;
    bool m_ended = false;
    std::jthread m_thread;
};

} // namespace

class TestHttpServer : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void aHeaderThatDoesNotEndIsGivenUp()
    {
        const Server server({.headerTime = 200ms}, {});
        RawHttpClient client(server.port());
        QVERIFY(client.send("POST /api/token HTTP/1.1\r\n"));
        // A byte now and then does not prolong it.
        std::jthread drops([&](const std::stop_token& stop) {
            while (!stop.stop_requested() && client.send("A: b\r\n"))
                std::this_thread::sleep_for(20ms); // the pace of a slow client
        });
        QCOMPARE(statusOf(client.answer()), 408);
    }

    void slowClientsInEveryThreadDelayOthersOnlyForTheirTime()
    {
        const Server server({.headerTime = 300ms, .threads = 4}, {});
        std::vector<std::unique_ptr<RawHttpClient>> slow;
        for (int i = 0; i < 12; ++i) {
            slow.push_back(std::make_unique<RawHttpClient>(server.port()));
            QVERIFY(slow.back()->send("POST /api/token HTTP/1.1\r\nX: "));
        }
        QCOMPARE(statusOf(requests::signIn(server.port())), 200);
    }

    void aBodyThatComesTooSlowlyIsGivenUp()
    {
        const Server server({.bodyTime = 200ms, .lingerTime = 200ms}, {});
        RawHttpClient client(server.port());
        QVERIFY(client.send("POST /api/token HTTP/1.1\r\nContent-Length: 100\r\n\r\n{"));
        QCOMPARE(statusOf(client.answer()), 408);
        QVERIFY(client.waitForEnd());
    }

    void whoSendsTooMuchOverASlowLineIsToldSo()
    {
        const Server server({.lingerTime = 200ms, .lingerBytesPerSecond = 100}, {});
        RawHttpClient client(server.port());
        QVERIFY(client.send("POST /api/token HTTP/1.1\r\nContent-Length: 100000\r\n\r\n"));
        // The answer is there by now, and is read when everything has been sent.
        for (int i = 0; i < 20; ++i) {
            QVERIFY(client.send(QByteArray(1000, 'x')));
            std::this_thread::sleep_for(20ms); // the pace of a slow line
        }
        client.finishSending();
        QCOMPARE(statusOf(client.answer()), 413);
    }

    void whoGoesOnWithDropsAfterTheAnswerIsGivenUp()
    {
        const Server server({.lingerTime = 200ms, .lingerBytesPerSecond = 1'000'000}, {});
        RawHttpClient client(server.port());
        QVERIFY(client.send("POST /api/token HTTP/1.1\r\nContent-Length: 100000\r\n\r\n"));
        QTRY_VERIFY(!client.send("x"));
    }

    void aSilentConnectionIsClosed()
    {
        const Server server({.idleTime = 100ms}, {});
        RawHttpClient silent(server.port());
        QVERIFY(silent.waitForEnd());
        RawHttpClient used(server.port());
        QVERIFY(used.send("GET / HTTP/1.1\r\n\r\n"));
        QCOMPARE(statusOf(used.answer()), 404);
        QVERIFY(used.waitForEnd());
    }

    void moreConnectionsThanMayWaitAreSentAway()
    {
        const Server server({.headerTime = 2s, .threads = 2, .waitingConnections = 2}, {});
        std::vector<std::unique_ptr<RawHttpClient>> clients;
        for (int i = 0; i < 8; ++i) {
            clients.push_back(std::make_unique<RawHttpClient>(server.port()));
            QVERIFY(clients.back()->send("G"));
        }
        int refused = 0;
        for (auto client = clients.rbegin(); client != clients.rend() && refused < 4; ++client)
            refused += statusOf((*client)->answer()) == 503;
        QVERIFY(refused >= 4);
        // The others used up their time, and then there is room again.
        QTRY_COMPARE(statusOf(requests::signIn(server.port())), 200);
    }

    void aConnectionIsNotKeptWhileOthersWaitForItsThread()
    {
        const Server server({.idleTime = 60s, .threads = 1}, {});
        RawHttpClient first(server.port());
        QVERIFY(first.send("GET / HTTP/1.1\r\n\r\n"));
        QCOMPARE(statusOf(first.answer()), 404);
        // The client itself gives up after half that time.
        RawHttpClient second(server.port());
        QVERIFY(second.send("GET / HTTP/1.1\r\n\r\n"));
        QCOMPARE(statusOf(second.answer()), 404);
        QVERIFY(first.waitForEnd());
    }

    void aBodyForWhichThereIsNoMemoryIsPutOffAndGivesBackItsShare()
    {
        const Server server({.allBodiesBytes = 50'000}, {});
        const QByteArray token = requests::newToken(server.port());
        const QByteArray title = ",\"url\":\"" + QByteArray(90'000, 'x') + '"';
        for (int i = 0; i < 3; ++i) {
            const auto put =
                requests::upload(server.port(), token, uploadBody({row("a", 1, title)}));
            QCOMPARE(statusOf(put), 503);
            QCOMPARE(put->field("Retry-After"), QByteArray("10"));
        }
        const QByteArrayList small = {row("a", 1, title.left(40'000) + '"')};
        for (int i = 0; i < 3; ++i)
            QCOMPARE(statusOf(requests::upload(server.port(), token, uploadBody(small))), 201);
    }

    void behindAProxyTheForwardedAddressIsHeldOff()
    {
        const service::Api::Limits limits = {.account = {.failures = 100}, .peer = {.failures = 2}};
        const Server server({}, limits, true);
        const auto from = [&](const QByteArray& address, const QByteArray& password) {
            return statusOf(requests::signIn(server.port(),
                                             requests::kEmail,
                                             password,
                                             {"X-Forwarded-For: 10.0.0.1, " + address}));
        };
        QCOMPARE(from("192.0.2.1", "wrong"), 401);
        QCOMPARE(from("192.0.2.1", "wrong"), 401);
        QCOMPARE(from("192.0.2.1", requests::kPassword), 429);
        QCOMPARE(from("192.0.2.2", requests::kPassword), 200);
    }

    void withoutAProxyTheForwardedAddressIsNotBelieved()
    {
        const service::Api::Limits limits = {.account = {.failures = 100}, .peer = {.failures = 2}};
        const Server server({}, limits, false);
        for (const int expected : {401, 401, 429})
            QCOMPARE(statusOf(requests::signIn(
                         server.port(),
                         requests::kEmail,
                         "wrong",
                         {"X-Forwarded-For: 192.0.2." + QByteArray::number(expected)})),
                     expected);
    }

    void attemptsAtTheSameTimeDoNotSlipThroughTheLimit()
    {
        const Server server({}, {.account = {.failures = 3}});
        std::vector<int> statuses(12);
        {
            std::vector<std::jthread> clients;
            for (int& status : statuses)
                clients.emplace_back([&] {
                    status = statusOf(requests::signIn(server.port(), requests::kEmail, "wrong"));
                });
        }
        const auto failed = std::count(statuses.begin(), statuses.end(), 401);
        QVERIFY2(failed >= 3 && failed <= 4, qPrintable(QString::number(failed)));
        QCOMPARE(std::count(statuses.begin(), statuses.end(), 429), 12 - failed);
    }

    void manyUploadsAtOnceAreAllStored()
    {
        const Server server({}, {});
        const QByteArray token = requests::newToken(server.port());
        std::atomic<int> stored = 0;
        {
            std::vector<std::jthread> clients;
            for (int i = 0; i < 8; ++i)
                clients.emplace_back([&, i] {
                    RawHttpClient client(server.port());
                    for (int n = 0; n < 5; ++n)
                        stored +=
                            statusOf(client.post("/api/activity-log",
                                                 uploadBody(rows(QByteArray::number(i), n, n + 20)),
                                                 {requests::bearer(token)})) == 201;
                });
        }
        QCOMPARE(stored, 40);
    }
};

QUILLSTEP_TEST(TestHttpServer)
#include "tst_http_server.moc"
