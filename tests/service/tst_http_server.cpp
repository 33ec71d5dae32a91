// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// The limits of the server, made small, over real sockets in this process.
#include "service/api/routes.h"
#include "service/database/database_session.h"
#include "service/database/schema.h"
#include "tests/service/running_server.h"
#include "tests/service/service_requests.h"
#include "tests/support/allocated_memory.h"
#include "tests/support/test_program.h"

#include <QDir>
#include <QScopeGuard>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <cerrno>
#include <memory>
#include <mutex>
#include <semaphore>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <vector>
#include <zlib.h>

using namespace std::chrono_literals;
using requests::row;
using requests::rows;
using requests::statusOf;
using requests::uploadBody;
using support::RawHttpClient;

namespace {

/// The two endpoints on an SQLite file with one user.
class Service final
{
public:
    Service(const service::HttpLimits& limits,
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
        , m_server(service::apiRoutes(m_api, 16UL << 20U),
                   {.limits = limits,
                    .trustProxy = trustProxy,
                    .bodyFolder = m_folder.path().toStdString(),
                    .authenticate = [this](const service::Request& request) {
                        return m_api.authenticate(request);
                    }})
    {
    }

    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;
    ~Service() = default;

    [[nodiscard]] int port() const { return m_server.port(); }

    [[nodiscard]] service::Api& api() { return m_api; }

    [[nodiscard]] service::PasswordHasher& hasher() { return m_hasher; }

    [[nodiscard]] service::Database& database() { return m_database; }

    [[nodiscard]] const service::DatabaseAddress& address() const { return m_address; }

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
    RunningServer m_server;
};

const std::string kLongAnswer(5000, 'x');

/// Routes without a database behind them.
std::vector<service::Route> plainRoutes()
{
    const auto hello = [](service::Request&) {
        return service::Answer{.status = 200, .body = "{}"};
    };
    const auto echo = [](service::Request& request) {
        std::string all;
        for (auto piece = request.body->piece(0); !piece.empty();
             piece = request.body->piece(all.size()))
            all += piece;
        return service::Answer{.status = 200, .body = all};
    };
    const auto fail = [](service::Request&) -> service::Answer {
        throw std::runtime_error("on purpose");
    };
    const auto failOfDisk = [](service::Request&) -> service::Answer {
        throw std::system_error(ENOSPC, std::generic_category(), "on purpose");
    };
    const auto parts = [](service::Request& request) {
        return service::Answer{.status = 200,
                               .body = request.parameters[0] + '|' + std::string(request.query())};
    };
    const auto longAnswer = [](service::Request&) {
        return service::Answer{.status = 200, .body = kLongAnswer};
    };
    return {{.method = "GET", .pattern = "/hello", .handler = hello},
            {.method = "GET", .pattern = "/health", .handler = hello, .anyHost = true},
            {.method = "POST", .pattern = "/echo", .bodyLimit = 4UL << 20U, .handler = echo},
            {.method = "POST", .pattern = "/hello", .bodyLimit = 10, .handler = hello},
            {.method = "POST", .pattern = "/short", .bodyLimit = 64UL << 10U, .handler = echo},
            {.method = "POST", .pattern = "/fail", .bodyLimit = 10, .handler = fail},
            {.method = "GET", .pattern = "/full", .handler = failOfDisk},
            {.method = "GET", .pattern = "/day/{day}", .handler = parts},
            {.method = "GET", .pattern = "/long", .handler = longAnswer}};
}

QByteArray get(const QByteArray& path, const QByteArray& header = {})
{
    return "GET " + path + " HTTP/1.1\r\n" + header + "\r\n";
}

std::optional<support::RawAnswer> ask(int port, const QByteArray& request)
{
    RawHttpClient client(port);
    static_cast<void>(client.send(request));
    return client.answer();
}

QByteArray unzipped(const QByteArray& bytes)
{
    QByteArray out(100'000, '\0');
    z_stream stream = {};
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.constData()));
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = static_cast<uInt>(out.size());
    inflateInit2(&stream, 31);
    const int done = inflate(&stream, Z_FINISH);
    out.truncate(static_cast<qsizetype>(stream.total_out));
    inflateEnd(&stream);
    return done == Z_STREAM_END ? out : QByteArray();
}

/// Sends a byte of a header line to all of them now and then until it ends.
std::jthread drippingInto(std::vector<std::unique_ptr<RawHttpClient>>& clients)
{
    return std::jthread([&clients](const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            for (const auto& client : clients)
                static_cast<void>(client->send("x"));
            std::this_thread::sleep_for(20ms); // the pace of a slow client
        }
    });
}

} // namespace

class TestHttpServer : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void aHeaderThatDoesNotEndIsGivenUp()
    {
        const Service server({.headerTime = 200ms}, {});
        RawHttpClient client(server.port());
        QVERIFY(client.send("POST /api/token HTTP/1.1\r\n"));
        // A byte now and then does not prolong it.
        std::jthread drops([&](const std::stop_token& stop) {
            while (!stop.stop_requested() && client.send("A: b\r\n"))
                std::this_thread::sleep_for(20ms); // the pace of a slow client
        });
        QCOMPARE(statusOf(client.answer()), 408);
    }

    void slowAndIdleClientsDelayNobodyThoughThereAreFewThreads()
    {
        const Service server({.headerTime = 60s, .threads = 1, .workers = 1}, {});
        std::vector<std::unique_ptr<RawHttpClient>> slow;
        std::vector<std::unique_ptr<RawHttpClient>> idle;
        for (int i = 0; i < 64; ++i) {
            slow.push_back(std::make_unique<RawHttpClient>(server.port()));
            QVERIFY(slow.back()->send("POST /api/token HTTP/1.1\r\nX: "));
        }
        for (int i = 0; i < 320; ++i) {
            idle.push_back(std::make_unique<RawHttpClient>(server.port()));
            if (i % 2 == 0)
                QVERIFY(idle.back()->send(get("/")));
        }
        const std::jthread dripping = drippingInto(slow);
        // Well before the first of them is given up.
        QCOMPARE(statusOf(requests::signIn(server.port())), 200);
        for (int i = 0; i < 320; i += 2)
            QCOMPARE(statusOf(idle[static_cast<std::size_t>(i)]->answer()), 404);
        QVERIFY(idle.front()->send(get("/")));
        QCOMPARE(statusOf(idle.front()->answer()), 404);
    }

    void progressDoesNotProlongTheTimeOfABody()
    {
        const RunningServer server(
            plainRoutes(), {.limits = {.bodyTime = 300ms, .bodyBytesPerSecond = 100'000'000}});
        for (const QByteArray& framing :
             {QByteArray("Content-Length: 8000\r\n\r\n"),
              QByteArray("Transfer-Encoding: chunked\r\n\r\n9000\r\n")}) {
            std::vector<std::unique_ptr<RawHttpClient>> client;
            client.push_back(std::make_unique<RawHttpClient>(server.port()));
            QVERIFY(client.front()->send("POST /echo HTTP/1.1\r\n" + framing));
            const std::jthread dripping = drippingInto(client);
            QCOMPARE(statusOf(client.front()->answer()), 408);
        }
    }

    void aBodyThatComesTooSlowlyIsGivenUp()
    {
        const Service server({.bodyTime = 200ms, .lingerTime = 200ms}, {});
        RawHttpClient client(server.port());
        QVERIFY(client.send("POST /api/token HTTP/1.1\r\nContent-Length: 100\r\n\r\n{"));
        QCOMPARE(statusOf(client.answer()), 408);
        QVERIFY(client.waitForEnd());
    }

    void whoSendsTooMuchOverASlowLineIsToldSo()
    {
        const Service server({.lingerTime = 200ms, .lingerBytesPerSecond = 100}, {});
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
        const Service server({.lingerTime = 200ms, .lingerBytesPerSecond = 1'000'000}, {});
        RawHttpClient client(server.port());
        QVERIFY(client.send("POST /api/token HTTP/1.1\r\nContent-Length: 100000\r\n\r\n"));
        QTRY_VERIFY(!client.send("x"));
    }

    void anEmptyBodyIsNoJsonAndEndsNothing()
    {
        const Service server({}, {});
        const QByteArray token = requests::newToken(server.port());
        for (const QByteArray& header :
             {QByteArray("/api/token HTTP/1.1\r\n"),
              "/api/activity-log HTTP/1.1\r\n" + requests::bearer(token) + "\r\n"}) {
            RawHttpClient client(server.port());
            for (const char* more : {"", "Expect: 100-continue\r\n"}) {
                QVERIFY(client.send("POST " + header + more + "Content-Length: 0\r\n\r\n"));
                QCOMPARE(statusOf(client.answer()), 400);
            }
        }
    }

    void theEndOfTheChunksMayComeInPieces()
    {
        const RunningServer server(plainRoutes(), {.limits = {.threads = 1}});
        RawHttpClient client(server.port());
        RawHttpClient other(server.port());
        QVERIFY(client.send("POST /echo HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n"));
        for (const char* piece : {"0\r\n", "\r", "\n"}) {
            // The one thread has read what came before when it has answered somebody else.
            QVERIFY(other.send(get("/hello")));
            QCOMPARE(statusOf(other.answer()), 200);
            QVERIFY(client.send(piece));
        }
        QCOMPARE(statusOf(client.answer()), 200);
    }

    void whoSendsMuchAndThenDropsIsGivenUp()
    {
        const Service server(
            {.lingerTime = 200ms, .lingerBytesPerSecond = 1, .longestLinger = 400ms}, {});
        RawHttpClient client(server.port());
        QVERIFY(client.send("POST /api/token HTTP/1.1\r\nContent-Length: 100000\r\n\r\n"));
        QVERIFY(client.send(QByteArray(20'000, 'x'))); // without the limit, good for hours
        QTRY_VERIFY(!client.send("x"));
    }

    void aSilentConnectionIsClosed()
    {
        const Service server({.idleTime = 100ms}, {});
        RawHttpClient silent(server.port());
        QVERIFY(silent.waitForEnd());
        RawHttpClient used(server.port());
        QVERIFY(used.send("GET / HTTP/1.1\r\n\r\n"));
        QCOMPARE(statusOf(used.answer()), 404);
        QVERIFY(used.waitForEnd());
    }

    void aConnectionThatWaitsHasNoBuffer()
    {
        const RunningServer server(plainRoutes(), {});
        QCOMPARE(statusOf(ask(server.port(), get("/hello"))), 200);
        const std::size_t before = support::allocatedMemory();
        std::vector<std::unique_ptr<RawHttpClient>> idle;
        for (int i = 0; i < 400; ++i) {
            idle.push_back(std::make_unique<RawHttpClient>(server.port()));
            QVERIFY(idle.back()->send(get("/hello")));
            QCOMPARE(statusOf(idle.back()->answer()), 200);
        }
        // With what the clients have, which are in this process.
        QTRY_VERIFY(support::allocatedMemory() < before + idle.size() * 10'000);
    }

    void aConnectionThatHasSentLittleHasASmallBuffer()
    {
        const RunningServer server(plainRoutes(), {});
        QCOMPARE(statusOf(ask(server.port(), get("/hello"))), 200);
        const std::size_t before = support::allocatedMemory();
        std::vector<std::unique_ptr<RawHttpClient>> busy;
        for (int i = 0; i < 200; ++i) {
            busy.push_back(std::make_unique<RawHttpClient>(server.port()));
            QVERIFY(busy.back()->send("POST /echo HTTP/1.1\r\nExpect: 100-continue\r\n"
                                      "Content-Length: 1000000\r\n\r\n"));
            QCOMPARE(statusOf(busy.back()->answer()), 100);
        }
        // With what the clients have, which are in this process.
        QVERIFY2(support::allocatedMemory() < before + busy.size() * 24'000,
                 qPrintable(QString::number(support::allocatedMemory() - before)));
        QVERIFY(busy.back()->send(QByteArray(1'000'000, 'x')));
        QCOMPARE(busy.back()->answer()->body, QByteArray(1'000'000, 'x'));
    }

    void longHeadersShareTheirMemoryAndBodiesDoWithout()
    {
        // For two buffers of 8 KiB, and what comes of them.
        const RunningServer server(plainRoutes(), {.limits = {.allBuffers = 40'000, .threads = 1}});
        const QByteArray field = "X: " + QByteArray(6'000, 'x') + "\r\n";
        {
            std::vector<std::unique_ptr<RawHttpClient>> clients;
            for (int i = 0; i < 2; ++i) {
                clients.push_back(std::make_unique<RawHttpClient>(server.port()));
                QVERIFY(clients.back()->send("GET /hello HTTP/1.1\r\n" + field));
            }
            // The one thread has read what came before when it has answered somebody else.
            QCOMPARE(statusOf(ask(server.port(), get("/hello"))), 200);
            QCOMPARE(statusOf(ask(server.port(), get("/hello"))), 200);
            QCOMPARE(statusOf(ask(server.port(), get("/hello", field))), 503);
            const QByteArray body(1'000'000, 'x');
            const auto echoed = RawHttpClient(server.port()).post("/echo", body);
            QCOMPARE(statusOf(echoed), 200);
            QCOMPARE(echoed->body, body);
            for (const auto& client : clients) {
                QVERIFY(client->send("\r\n"));
                QCOMPARE(statusOf(client->answer()), 200);
            }
        }
        QTRY_COMPARE(statusOf(ask(server.port(), get("/hello", field))), 200);
    }

    void manyFieldsAreRefused()
    {
        const RunningServer server(plainRoutes(), {.limits = {.headerFields = 5}});
        QCOMPARE(statusOf(ask(server.port(), get("/hello", QByteArray("A: b\r\n").repeated(5)))),
                 200);
        QCOMPARE(statusOf(ask(server.port(), get("/hello", QByteArray("A: b\r\n").repeated(6)))),
                 431);
    }

    /// So that all connections that there may be fit into the memory that the unit may take.
    void aRequestInHandTakesLittleMemory()
    {
        const RunningServer server(plainRoutes(), {});
        QCOMPARE(statusOf(ask(server.port(), get("/hello"))), 200);
        const QByteArray fields =
            QByteArray("Abcdefgh: " + QByteArray(48, 'x') + "\r\n").repeated(62);
        const std::size_t before = support::allocatedMemory();
        std::vector<std::unique_ptr<RawHttpClient>> busy;
        for (int i = 0; i < 200; ++i) {
            busy.push_back(std::make_unique<RawHttpClient>(server.port()));
            QVERIFY(busy.back()->send("POST /echo HTTP/1.1\r\nExpect: 100-continue\r\n" + fields +
                                      "Content-Length: 1000000\r\n\r\n"));
            QCOMPARE(statusOf(busy.back()->answer()), 100);
            QVERIFY(busy.back()->send("{"));
        }
        QCOMPARE(statusOf(ask(server.port(), get("/hello"))), 200);
        // With what the clients have, which are in this process.
        const std::size_t each = (support::allocatedMemory() - before) / busy.size();
        qInfo("%zu bytes", each);
        QVERIFY(each < 34'000);
    }

    void moreConnectionsThanThereMayBeAreSentAway()
    {
        for (const service::HttpLimits& limits :
             {service::HttpLimits{.connections = 4},
              service::HttpLimits{.connectionsOfAnAddress = 4}}) {
            const RunningServer server(plainRoutes(), {.limits = limits});
            std::vector<std::unique_ptr<RawHttpClient>> clients;
            for (int i = 0; i < 4; ++i) {
                clients.push_back(std::make_unique<RawHttpClient>(server.port()));
                QVERIFY(clients.back()->send(get("/hello")));
                QCOMPARE(statusOf(clients.back()->answer()), 200);
            }
            RawHttpClient refused(server.port());
            const auto answer = refused.answer();
            QCOMPARE(statusOf(answer), 503);
            QCOMPARE(answer->field("Retry-After"), QByteArray("10"));
            QVERIFY(refused.waitForEnd());
            clients.pop_back();
            QVERIFY(QTest::qWaitFor(
                [&] { return statusOf(ask(server.port(), get("/hello"))) == 200; }));
        }
    }

    void whatDoesNotBlockIsAnsweredWhenAllThreadsAreInUse()
    {
        std::atomic<bool> isBlocked = false;
        std::atomic<bool> mayGoOn = false;
        const auto block = [&](service::Request&) {
            isBlocked = true;
            mayGoOn.wait(false);
            return service::Answer{.status = 200, .body = "{}"};
        };
        const auto answer = [](service::Request&) {
            return service::Answer{.status = 200, .body = "{}"};
        };
        const RunningServer server({{.method = "GET", .pattern = "/slow", .handler = block},
                                    {.method = "GET",
                                     .pattern = "/quick",
                                     .handler = answer,
                                     .work = service::Work::Instant}},
                                   {.limits = {.workers = 1}});
        RawHttpClient slow(server.port());
        QVERIFY(slow.send(get("/slow")));
        QTRY_VERIFY(isBlocked);
        const int status = statusOf(ask(server.port(), get("/quick")));
        mayGoOn = true;
        mayGoOn.notify_all();
        QCOMPARE(status, 200);
        QCOMPARE(statusOf(slow.answer()), 200);
    }

    void aKeptConnectionNeedsNoThread()
    {
        const RunningServer server(plainRoutes(), {.limits = {.threads = 1, .workers = 1}});
        RawHttpClient first(server.port());
        RawHttpClient second(server.port());
        for (int i = 0; i < 3; ++i) {
            for (RawHttpClient* client : {&first, &second}) {
                QVERIFY(client->send(get("/hello")));
                QCOMPARE(statusOf(client->answer()), 200);
            }
        }
    }

    void aBodyForWhichThereIsNoRoomIsPutOffAndGivesBackItsShare()
    {
        const Service server(
            {.bodyInMemory = 20'000, .allLongBodiesInMemory = 10'000, .allBodiesInFiles = 60'000},
            {});
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

    void shortBodiesForWhichThereIsNoMemoryArePutOff()
    {
        const RunningServer server(plainRoutes(),
                                   {.limits = {.ofEachShortBody = 0, .allBodiesInMemory = 15}});
        RawHttpClient holding(server.port());
        QVERIFY(holding.send("POST /hello HTTP/1.1\r\nExpect: 100-continue\r\n"
                             "Content-Length: 10\r\n\r\n"));
        QCOMPARE(statusOf(holding.answer()), 100);
        QCOMPARE(statusOf(RawHttpClient(server.port()).post("/hello", "0123456789")), 200);
        QVERIFY(holding.send("0123456789"));
        QCOMPARE(statusOf(holding.answer()), 200);
        const RunningServer full(
            plainRoutes(),
            {.limits = {.bodyInMemory = 1000, .ofEachShortBody = 0, .allBodiesInMemory = 9}});
        QCOMPARE(statusOf(RawHttpClient(full.port()).post("/hello", "0123456789")), 503);
        // Nobody else's memory: a long one has its own, and files.
        QCOMPARE(statusOf(RawHttpClient(full.port()).post("/echo", QByteArray(100'000, 'x'))), 200);
    }

    void nobodyUsesUpTheRoomForAShortBody()
    {
        const RunningServer server(plainRoutes(), {.limits = {.allBodiesInMemory = 0}});
        RawHttpClient client(server.port());
        QCOMPARE(statusOf(client.post("/short", QByteArray(4096, 'x'))), 200);
        QCOMPARE(statusOf(client.post("/short", QByteArray(4097, 'x'))), 503);
        // One that is called long has none of it, nor of theirs, also where it has no files.
        const RunningServer other(plainRoutes(), {.limits = {.allLongBodiesInMemory = 1000}});
        QCOMPARE(statusOf(RawHttpClient(other.port()).post("/echo", QByteArray(1001, 'x'))), 503);
        QCOMPARE(statusOf(RawHttpClient(other.port()).post("/echo", QByteArray(1000, 'x'))), 200);
        QCOMPARE(statusOf(RawHttpClient(other.port()).post("/short", QByteArray(60'000, 'x'))),
                 200);
    }

    void aDiskThatFailsIsNotTakenForLoad()
    {
        auto folder = std::make_unique<QTemporaryDir>();
        const std::string path = folder->path().toStdString();
        const RunningServer server(plainRoutes(),
                                   {.limits = {.bodyInMemory = 1000}, .bodyFolder = path});
        folder.reset();
        QCOMPARE(statusOf(RawHttpClient(server.port()).post("/echo", QByteArray(100'000, 'x'))),
                 500);
        QCOMPARE(statusOf(ask(server.port(), get("/full"))), 507);
        service::HttpServer late(plainRoutes(), {.bodyFolder = path});
        const auto port = late.listen("127.0.0.1", 0);
        QVERIFY(!port);
        QVERIFY(port.error().text.starts_with("cannot keep long uploads in " + path + ": "));
    }

    void aLongBodyWaitsInAFileWithoutAName()
    {
        const QTemporaryDir folder;
        const RunningServer server(
            plainRoutes(),
            {.limits = {.bodyInMemory = 1000}, .bodyFolder = folder.path().toStdString()});
        QByteArray body;
        while (body.size() < 3'000'000)
            body += QByteArray::number(body.size()) + ' ';
        RawHttpClient client(server.port());
        for (int i = 0; i < 2; ++i) {
            const auto answer = client.post("/echo", body);
            QCOMPARE(statusOf(answer), 200);
            QVERIFY(answer->body == body);
        }
        QByteArray chunks;
        for (qsizetype at = 0; at < 50'000; at += 7)
            chunks += "7\r\n" + body.mid(at, 7) + "\r\n";
        QVERIFY(client.send("POST /echo HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n" + chunks +
                            "0\r\nX-Trailer: y\r\n\r\n" + get("/hello")));
        const auto whole = client.answer();
        QCOMPARE(statusOf(whole), 200);
        QVERIFY(whole->body == body.left((50'000 + 6) / 7 * 7));
        QCOMPARE(statusOf(client.answer()), 200);
        QVERIFY(QDir(folder.path()).isEmpty());
    }

    void whatIsNoRouteFollowsFromTheTable()
    {
        const RunningServer server(plainRoutes(), {});
        const int port = server.port();
        QCOMPARE(statusOf(ask(port, get("/nothing"))), 404);
        QCOMPARE(statusOf(ask(port, get("/hello/"))), 404);
        QCOMPARE(statusOf(ask(port, get("/day/"))), 404);
        QCOMPARE(statusOf(ask(port, get("/day/%zz"))), 404);
        const auto refused = ask(port, "DELETE /hello HTTP/1.1\r\n\r\n");
        QCOMPARE(statusOf(refused), 405);
        QCOMPARE(refused->field("Allow"), QByteArray("GET, HEAD, POST"));
        QCOMPARE(ask(port, get("/day/2026-11%2F22?x=%20"))->body, QByteArray("2026-11/22|x=%20"));
        QCOMPARE(statusOf(ask(port, "GET /hello HTTP/1.1\r\nContent-Length: 1\r\n\r\nx")), 413);
        QCOMPARE(statusOf(ask(port, "GET /hello HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n")),
                 413);
    }

    void everyAnswerHasTheSafeguardsAndItsNumber()
    {
        const RunningServer server(plainRoutes(), {});
        QSet<QByteArray> numbers;
        for (const QByteArray& request :
             {get("/hello"), get("/nothing"), QByteArray("x\r\n\r\n")}) {
            const auto answer = ask(server.port(), request);
            QVERIFY(answer);
            QCOMPARE(answer->field("X-Content-Type-Options"), QByteArray("nosniff"));
            QCOMPARE(answer->field("Cache-Control"), QByteArray("no-store"));
            QVERIFY(answer->field("Content-Security-Policy").startsWith("default-src 'none'; "));
            QCOMPARE(answer->field("Referrer-Policy"), QByteArray("same-origin"));
            QCOMPARE(answer->field("Cross-Origin-Opener-Policy"), QByteArray("same-origin"));
            numbers.insert(answer->field("X-Request-Id"));
        }
        QCOMPARE(numbers.size(), 3);
    }

    void aHeadIsTheHeaderOfAnAnswer()
    {
        const RunningServer server(plainRoutes(), {});
        const auto answer = ask(server.port(), get("/long"));
        QCOMPARE(answer->field("Content-Length"), QByteArray("5000"));
        RawHttpClient again(server.port());
        QVERIFY(again.send("HEAD /long HTTP/1.1\r\n\r\n" + get("/hello")));
        again.finishSending();
        QVERIFY(again.waitForEnd());
        QVERIFY(again.received().contains("Content-Length: 5000\r\n"));
        QVERIFY(!again.received().contains("xxxxx"));
        QVERIFY(again.received().endsWith("{}"));
    }

    void longAnswersAreCompressedForWhoTakesThat()
    {
        const RunningServer server(plainRoutes(), {});
        const auto zipped = ask(server.port(), get("/long", "Accept-Encoding: br, GZIP;q=0.5\r\n"));
        QCOMPARE(zipped->field("Content-Encoding"), QByteArray("gzip"));
        QVERIFY(zipped->body.size() < 200);
        QCOMPARE(unzipped(zipped->body), QByteArray::fromStdString(kLongAnswer));
        for (const QByteArray& header : {QByteArray(),
                                         QByteArray("Accept-Encoding: gzip;q=0, br\r\n"),
                                         QByteArray("Accept-Encoding: identity\r\n")}) {
            const auto plain = ask(server.port(), get("/long", header));
            QCOMPARE(plain->body, QByteArray::fromStdString(kLongAnswer));
            QVERIFY(plain->field("Content-Encoding").isEmpty());
        }
        const auto small = ask(server.port(), get("/hello", "Accept-Encoding: gzip\r\n"));
        QCOMPARE(small->body, QByteArray("{}"));
    }

    void anExceptionEndsOneRequestAndGivesBackWhatItHeld()
    {
        const RunningServer server(
            plainRoutes(),
            {.limits = {.ofEachShortBody = 0, .allBodiesInMemory = 15, .workers = 1}});
        RawHttpClient client(server.port());
        for (int i = 0; i < 20; ++i) {
            const auto answer = client.post("/fail", "0123456789");
            QCOMPARE(statusOf(answer), 500);
            QVERIFY(!answer->body.contains("purpose"));
        }
        QCOMPARE(statusOf(client.post("/hello", "0123456789")), 200);
    }

    void whatWouldWaitTooLongIsPutOffAndHoldsUpNothingElse()
    {
        std::counting_semaphore<> mayEnd(0);
        std::atomic<int> begun = 0;
        const auto wait = [&](service::Request&) {
            ++begun;
            mayEnd.acquire();
            return service::Answer{.status = 200, .body = "{}"};
        };
        const auto authenticate =
            [&](const service::Request&) -> service::Result<std::int64_t, service::Answer> {
            ++begun;
            mayEnd.acquire();
            return std::int64_t{1};
        };
        std::vector<service::Route> routes = plainRoutes();
        routes.push_back({.method = "GET", .pattern = "/wait", .handler = wait});
        routes.push_back(
            {.method = "GET", .pattern = "/apart", .handler = wait, .work = service::Work::Long});
        routes.push_back({.method = "GET",
                          .pattern = "/gate",
                          .caller = service::Caller::Bearer,
                          .handler = routes.front().handler});
        const RunningServer server(std::move(routes),
                                   {.limits = {.threads = 1,
                                               .workers = 1,
                                               .workersApart = 1,
                                               .gatekeepers = 1,
                                               .waitingForAWorker = 1,
                                               .waitingForAGatekeeper = 1},
                                    .authenticate = authenticate});
        const auto end = qScopeGuard([&mayEnd] { mayEnd.release(1000); });
        for (const char* path : {"/wait", "/apart", "/gate"}) {
            begun = 0;
            RawHttpClient first(server.port());
            RawHttpClient second(server.port());
            RawHttpClient third(server.port());
            QVERIFY(first.send(get(path)));
            QTRY_COMPARE(begun, 1);
            QVERIFY(second.send(get(path)));
            // The one thread has read that when it has answered somebody else.
            for (int i = 0; i < 2; ++i) {
                QVERIFY(third.send(get("/nothing")));
                QCOMPARE(statusOf(third.answer()), 404);
            }
            QVERIFY(third.send(get(path)));
            const auto refused = third.answer();
            QCOMPARE(statusOf(refused), 503);
            QCOMPARE(refused->field("Retry-After"), QByteArray("10"));
            if (path != QByteArray("/wait"))
                QCOMPARE(statusOf(ask(server.port(), get("/hello"))), 200);
            mayEnd.release(2);
            QCOMPARE(statusOf(first.answer()), 200);
            QCOMPARE(statusOf(second.answer()), 200);
            mayEnd.release(1);
            QVERIFY(third.send(get(path)));
            QCOMPARE(statusOf(third.answer()), 200);
        }
    }

    void whoHasWaitedTooLongToSignInIsPutOff()
    {
        Service server({}, {});
        service::BodyRoom room{.memory = service::ByteBudget(1U << 20U),
                               .memoryOfLong = service::ByteBudget(0),
                               .files = service::ByteBudget(0),
                               .folder = {},
                               .inMemory = 1U << 20U,
                               .ofEachShort = 1U << 20U};
        const auto signIn = [&] {
            service::Request request;
            request.peer = "192.0.2.1";
            request.began = std::chrono::steady_clock::now() - 1h;
            request.body = std::make_unique<service::RequestBody>(room, 1U << 16U);
            const auto body = requests::signInBody(requests::kEmail, requests::kPassword);
            const bool fits = request.body->appendInMemory(body.toStdString());
            return fits ? server.api().signIn(request).status : 0;
        };
        // Who was slow alone waits for nobody.
        QCOMPARE(signIn(), 200);
        const auto first = server.hasher().turn(0ms);
        const auto second = server.hasher().turn(0ms);
        QVERIFY(first && second);
        QCOMPARE(signIn(), 503);
    }

    void roomIsReservedWhileAnUploadIsInHand()
    {
        Service server({}, {});
        service::StorageQuota quota(server.database(), 1000);
        auto first = quota.reserve(1, 1500); // one may go beyond
        QVERIFY(first);
        QVERIFY(!quota.reserve(1, 10));
        QVERIFY(quota.reserve(2, 10));
        QVERIFY(!quota.isKnownToBeFull(1));
        first.reset(); // it was not stored
        {
            auto second = quota.reserve(1, 1500);
            QVERIFY(second);
            second->keep();
        }
        // What was said to be stored is counted before anybody is refused, and there is nothing.
        QVERIFY(quota.reserve(1, 10));
    }

    void whoCannotBeCountedIsNotRefused()
    {
        const QTemporaryDir folder;
        service::Database database({.kind = service::DatabaseAddress::Kind::Sqlite,
                                    .name = folder.filePath(QStringLiteral("no/where.db")),
                                    .host = {},
                                    .user = {},
                                    .password = {},
                                    .options = {}});
        service::StorageQuota quota(database, 1000);
        const auto first = quota.reserve(1, 1500);
        QVERIFY(first && quota.reserve(1, 10));
    }

    void whoWaitsForTheDatabaseKeepsNobodyFromAHash()
    {
        Service server({}, {.account = {.failures = 2}});
        const auto session = service::DatabaseSession::open(server.address());
        QVERIFY(session && session.value()->run(QStringLiteral("begin immediate")));
        const QByteArray wrong = requests::signInBody(requests::kEmail, "wrong");
        const QByteArray request =
            "POST /api/token HTTP/1.1\r\nHost: localhost\r\nContent-Length: " +
            QByteArray::number(wrong.size()) + "\r\n\r\n" + wrong;
        RawHttpClient first(server.port());
        RawHttpClient second(server.port());
        QVERIFY(first.send(request) && second.send(request));
        const auto bothAreFree = [&] {
            const auto one = server.hasher().turn(0ms);
            const auto two = server.hasher().turn(0ms);
            return one && two;
        };
        // One is in hand, the other one waits for it.
        QTRY_VERIFY(server.database().figures().writing.waiting == 1 && bothAreFree());
        // What they have failed counts already.
        QCOMPARE(statusOf(requests::signIn(server.port())), 429);
        QVERIFY(session.value()->run(QStringLiteral("rollback")));
        QCOMPARE(statusOf(first.answer()), 401);
        QCOMPARE(statusOf(second.answer()), 401);
    }

    void whoDoesNotTakeTheAnswerIsGivenUp()
    {
        std::atomic<int> status = -1;
        std::vector<service::Route> routes;
        routes.push_back({.method = "GET", .pattern = "/huge", .handler = [](service::Request&) {
                              return service::Answer{.body = std::string(64UL << 20U, 'x')};
                          }});
        const RunningServer server(
            std::move(routes),
            {.limits = {.bodyBytesPerSecond = 1'000'000'000, .writeTime = 200ms},
             .onServed = [&status](const auto& request) {
                 status = request.status;
             }});
        RawHttpClient client(server.port());
        QVERIFY(client.send(get("/huge")));
        QTRY_COMPARE(status, 0);
    }

    void eachRequestIsReportedWithItsRoute()
    {
        std::mutex mutex;
        std::vector<service::ServedRequest> served;
        {
            RunningServer server(plainRoutes(), {.onServed = [&](const auto& request) {
                                     const std::lock_guard lock(mutex);
                                     served.push_back(request);
                                 }});
            const auto reported = [&] {
                const std::lock_guard lock(mutex);
                return served.size();
            };
            QCOMPARE(statusOf(ask(server.port(), get("/day/2026-11-22?x"))), 200);
            QTRY_COMPARE(reported(), 1u); // which is behind the answer
            QCOMPARE(statusOf(ask(server.port(), get("/nothing"))), 404);
            QVERIFY(server.stop());
        }
        QCOMPARE(served.size(), 2u);
        QCOMPARE(served[0].pattern, std::string("/day/{day}"));
        QCOMPARE(served[0].method, std::string("GET"));
        QCOMPARE(served[0].status, 200);
        QVERIFY(served[0].seconds.count() >= 0 && served[0].seconds.count() < 30);
        QVERIFY(served[0].id != served[1].id && !served[0].id.empty());
        QCOMPARE(served[1].pattern, std::string());
        QCOMPARE(served[1].status, 404);
    }

    void otherWebPagesCannotSendAnything_data()
    {
        QTest::addColumn<QByteArray>("header");
        QTest::addColumn<int>("status");
        const QByteArray json = "Content-Type: application/json\r\n";
        const QByteArray host = "Host: localhost:8787\r\n";
        QTest::newRow("no browser") << QByteArray() << 200;
        QTest::newRow("no browser, a form")
            << QByteArray("Content-Type: application/x-www-form-urlencoded\r\n") << 200;
        QTest::newRow("foreign") << host + json + "Origin: https://example.org\r\n" << 403;
        QTest::newRow("null") << host + json + "Origin: null\r\n" << 403;
        QTest::newRow("other port") << host + json + "Origin: http://localhost:8788\r\n" << 403;
        QTest::newRow("cross-site") << host + json + "Sec-Fetch-Site: cross-site\r\n" << 403;
        QTest::newRow("with a token") << host + json + "Authorization: Bearer x\r\nOrigin: null\r\n"
                                      << 403;
        QTest::newRow("own") << host + json + "Origin: http://localhost:8787\r\n" << 200;
        QTest::newRow("own, no type") << host + "Origin: http://localhost:8787\r\n" << 415;
        QTest::newRow("own, text")
            << host + "Content-Type: text/plain\r\nSec-Fetch-Site: same-origin\r\n"
            << 415;
        QTest::newRow("own, with a charset")
            << host + "Content-Type: Application/JSON; charset=utf-8\r\nSec-Fetch-Site: "
                      "same-origin\r\n"
            << 200;
        QTest::newRow("another name") << QByteArray("Host: example.org\r\n") << 421;
        QTest::newRow("a name like ours") << QByteArray("Host: localhost.example.org\r\n") << 421;
        QTest::newRow("an address that begins like ours")
            << QByteArray("Host: 127.0.0.1.example.org\r\n") << 421;
        QTest::newRow("this machine") << QByteArray("Host: 127.0.0.9:1\r\n") << 200;
        QTest::newRow("this machine in IPv6") << QByteArray("Host: [::1]:8787\r\n") << 200;
        QTest::newRow("two names") << host + host << 400;
    }

    void otherWebPagesCannotSendAnything()
    {
        QFETCH(QByteArray, header);
        QFETCH(int, status);
        const RunningServer server(plainRoutes(), {});
        const auto answer =
            ask(server.port(), "POST /echo HTTP/1.1\r\n" + header + "Content-Length: 2\r\n\r\n{}");
        QCOMPARE(statusOf(answer), status);
    }

    void theNameIsAskedForOnlyWhereOthersCannotComeByAProxy()
    {
        const QByteArray host = "Host: usage.example.org\r\n";
        const RunningServer own(plainRoutes(), {});
        QCOMPARE(statusOf(ask(own.port(), get("/hello", host))), 421);
        QCOMPARE(statusOf(ask(own.port(), get("/health", host))), 200);
        const RunningServer behindProxy(plainRoutes(), {.trustProxy = true});
        QCOMPARE(statusOf(ask(behindProxy.port(), get("/hello", host))), 200);
        const RunningServer known(plainRoutes(), {.publicUrl = "https://usage.example.org/x"});
        QCOMPARE(statusOf(ask(known.port(), get("/hello", host))), 200);
        const auto from = [&](const QByteArray& origin) {
            return statusOf(ask(known.port(),
                                "POST /echo HTTP/1.1\r\n" + host + "Origin: " + origin +
                                    "\r\nContent-Type: application/json\r\nContent-Length: "
                                    "2\r\n\r\n{}"));
        };
        QCOMPARE(from("https://usage.example.org"), 200);
        QCOMPARE(from("http://usage.example.org"), 403);
    }

    void atTheEndOnlyWhatIsInHandIsFinished()
    {
        RunningServer server(plainRoutes(), {});
        RawHttpClient idle(server.port());
        QVERIFY(idle.send(get("/hello")) && idle.answer());
        RawHttpClient inHand(server.port());
        QVERIFY(inHand.send("POST /echo HTTP/1.1\r\nExpect: 100-continue\r\n"
                            "Content-Length: 2\r\n\r\n"));
        QCOMPARE(statusOf(inHand.answer()), 100);
        server.askToEnd();
        QVERIFY(idle.waitForEnd());
        QVERIFY(inHand.send("{}" + get("/hello")));
        const auto answer = inHand.answer();
        QCOMPARE(statusOf(answer), 200);
        QCOMPARE(answer->field("Connection"), QByteArray("close"));
        QVERIFY(inHand.waitForEnd());
        QVERIFY(server.stop());
        QCOMPARE(statusOf(ask(server.port(), get("/hello"))), 0);
    }

    void whoDoesNotGoOnIsBrokenOffAfterTheTimeOfGrace()
    {
        RunningServer server(plainRoutes(), {.limits = {.graceTime = 100ms}});
        RawHttpClient silent(server.port());
        QVERIFY(silent.send("POST /echo HTTP/1.1\r\nExpect: 100-continue\r\n"
                            "Content-Length: 2\r\n\r\n"));
        QCOMPARE(statusOf(silent.answer()), 100);
        QVERIFY(server.stop());
        QVERIFY(silent.waitForEnd());
    }

    void theEndComesHoweverManyKeepAsking()
    {
        for (int round = 0; round < 10; ++round) {
            std::atomic<int> served = 0;
            auto server = std::make_unique<RunningServer>(
                plainRoutes(),
                service::HttpServer::Settings{.limits = {.bodyInMemory = 1000, .graceTime = 1ms},
                                              .onServed = [&served](const auto&) {
                                                  ++served;
                                              }});
            const int port = server->port();
            std::vector<std::jthread> clients;
            for (int i = 0; i < 4; ++i)
                clients.emplace_back([port](const std::stop_token& stop) {
                    while (!stop.stop_requested())
                        static_cast<void>(
                            RawHttpClient(port).post("/echo", QByteArray(20'000, 'x')));
                });
            QTRY_VERIFY(served >= 20);
            QVERIFY(server->stop());
            server.reset();
        }
    }

    void behindAProxyTheForwardedAddressIsHeldOff()
    {
        const service::Api::Limits limits = {.account = {.failures = 100}, .peer = {.failures = 2}};
        const Service server({}, limits, true);
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
        const Service server({}, limits, false);
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
        const Service server({}, {.account = {.failures = 3}});
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
        const Service server({}, {});
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
