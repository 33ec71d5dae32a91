// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/qt/network_http_client.h"
#include "tests/support/scripted_server.h"
#include "tests/support/test_program.h"

#include <QSignalSpy>
#include <QTest>

using namespace std::chrono_literals;
using platform::HttpOutcome;
using platform::HttpRequest;
using platform::HttpResponse;
using platform::TransferFailure;
using support::ScriptedServer;

namespace {

const QString kBrokenOff =
    QStringLiteral("The connection to 127.0.0.1 was lost before its answer was complete");

HttpRequest request(const QString& url)
{
    return {.url = url, .headers = {{"Content-Type", "application/json"}}, .body = "{\"a\":1}"};
}

/// A body of `rows` rows, and what it makes of that: how often it was begun, and how many rows were
/// made.
class Rows final
{
public:
    explicit Rows(int rows)
        : m_rows(rows)
    {
    }

    [[nodiscard]] platform::StreamedBody body()
    {
        return {.size = qint64{m_rows} * kRow.size(), .begin = [this] {
                    ++begun;
                    return [this, left = m_rows](std::string& out) mutable {
                        if (left == 0)
                            return false;
                        --left;
                        ++made;
                        out += kRow.toStdString();
                        return true;
                    };
                }};
    }

    [[nodiscard]] QByteArray whole() const { return kRow.repeated(m_rows); }

    int begun = 0;
    int made = 0;

private:
    inline static const QByteArray kRow = "{\"a\":\"some text of a row\"}";
    int m_rows;
};

HttpRequest streamed(const QString& url, Rows& rows)
{
    HttpRequest made = request(url);
    made.body.clear();
    made.streamedBody = rows.body();
    return made;
}

} // namespace

/// The client against a server that answers in every way a server can.
class TestHttpClient final : public QObject
{
    Q_OBJECT

    /// Sends and waits; a request that does not end within ten seconds gives none.
    std::optional<HttpOutcome> send(const HttpRequest& what)
    {
        const QFuture<HttpOutcome> future = m_client.send(what);
        if (!QTest::qWaitFor([&future] { return future.isFinished(); }, 10'000))
            return std::nullopt;
        return future.result();
    }

    std::optional<HttpResponse> response(const HttpRequest& what)
    {
        const std::optional<HttpOutcome> outcome = send(what);
        const auto* const answer = outcome ? std::get_if<HttpResponse>(&*outcome) : nullptr;
        return answer != nullptr ? std::optional(*answer) : std::nullopt;
    }

    QString failure(const HttpRequest& what)
    {
        const std::optional<HttpOutcome> outcome = send(what);
        const auto* const failed = outcome ? std::get_if<TransferFailure>(&*outcome) : nullptr;
        return failed != nullptr ? failed->text : QStringLiteral("(no failure)");
    }

    platform::qt::NetworkHttpClient m_client;

private Q_SLOTS:

    void aRequestArrivesAsItIs()
    {
        ScriptedServer server;
        server.willAnswer(ScriptedServer::reply(200, "yes"));
        const auto answer = response(request(server.url() + QStringLiteral("/api/token")));
        QVERIFY(answer);
        QCOMPARE(answer->status, 200);
        QCOMPARE(answer->body, "yes");
        QCOMPARE(server.requests().size(), 1);
        const ScriptedServer::Request& got = server.requests().constFirst();
        QCOMPARE(got.method, "POST");
        QCOMPARE(got.target, "/api/token");
        QCOMPARE(got.body, "{\"a\":1}");
        QCOMPARE(got.headers.value("content-type"), "application/json");
        QVERIFY(got.headers.value("user-agent").startsWith("Quillstep/"));
        QVERIFY(!got.headers.contains("authorization"));
    }

    void secretsAreOverwrittenOnceTheyHaveBeenSent_data()
    {
        QTest::addColumn<bool>("isSecret");
        QTest::newRow("a secret body") << true;
        QTest::newRow("any other body") << false;
    }

    void secretsAreOverwrittenOnceTheyHaveBeenSent()
    {
        QFETCH(const bool, isSecret);
        ScriptedServer server;
        server.willAnswer(ScriptedServer::redirect(307, server.url()));
        server.willAnswer(ScriptedServer::reply(200, "yes"));
        platform::HttpRequest request = ::request(server.url());
        const QByteArray text = "a password";
        const QByteArray token = "Bearer T";
        request.body = QByteArray(text.constData(), text.size());
        request.hasSecretBody = isSecret;
        const QByteArray header(token.constData(), token.size());
        request.headers.append({.name = "authorization", .value = header});
        QVERIFY(response(request));
        QCOMPARE(server.requests().size(), 2);
        QCOMPARE(server.requests().constLast().body, text);
        QCOMPARE(server.requests().constLast().headers.value("authorization"), token);
        QCOMPARE(request.body, isSecret ? QByteArray(text.size(), '\0') : text);
        QCOMPARE(header, QByteArray(token.size(), '\0'));
    }

    void aStreamedBodyArrivesWholeAlsoAfterARedirect()
    {
        ScriptedServer server;
        server.willAnswer(ScriptedServer::redirect(308, server.url() + QStringLiteral("/new")));
        server.willAnswer(ScriptedServer::reply(201, "yes"));
        Rows rows(20'000);
        const auto answer = response(streamed(server.url(), rows));
        QVERIFY(answer);
        QCOMPARE(answer->status, 201);
        QCOMPARE(server.requests().size(), 2);
        for (const ScriptedServer::Request& got : server.requests()) {
            QCOMPARE(got.method, "POST");
            QCOMPARE(got.headers.value("content-length"), QByteArray::number(rows.whole().size()));
            QVERIFY(!got.headers.contains("transfer-encoding"));
            QVERIFY(got.body == rows.whole());
        }
        QCOMPARE(rows.begun, 2);
    }

    void aShortStreamedBodyArrivesToo()
    {
        for (const int count : {0, 1, 2}) {
            ScriptedServer server;
            server.willAnswer(ScriptedServer::reply(200, "yes"));
            Rows rows(count);
            QVERIFY(response(streamed(server.url(), rows)));
            QCOMPARE(server.requests().constFirst().body, rows.whole());
        }
    }

    void whereNobodyListensNoBodyIsMade()
    {
        QString url;
        {
            const ScriptedServer gone;
            url = gone.url();
        }
        Rows rows(20'000);
        QCOMPARE(failure(streamed(url, rows)),
                 QStringLiteral("Could not connect to 127.0.0.1: connection refused"));
        QCOMPARE(rows.made, 0);
    }

    void everyStatusIsAnAnswer_data()
    {
        QTest::addColumn<int>("status");
        for (const int status : {201, 204, 300, 301, 302, 303, 400, 401, 403, 404, 405, 409,
                                 410, 413, 418, 422, 429, 500, 501, 502, 503, 504, 599})
            QTest::addRow("%d", status) << status;
    }

    void everyStatusIsAnAnswer()
    {
        QFETCH(const int, status);
        ScriptedServer server;
        server.willAnswer(
            ScriptedServer::reply(status,
                                  status == 204 ? "" : "text",
                                  "Location: /elsewhere\r\nWWW-Authenticate: Basic\r\n"));
        const auto answer = response(request(server.url()));
        QVERIFY(answer);
        QCOMPARE(answer->status, status);
        QCOMPARE(answer->body, status == 204 ? "" : "text");
        QCOMPARE(server.requests().size(), 1);
    }

    void redirectsThatKeepTheMethodAreFollowed_data()
    {
        QTest::addColumn<int>("status");
        QTest::newRow("307") << 307;
        QTest::newRow("308") << 308;
    }

    void redirectsThatKeepTheMethodAreFollowed()
    {
        QFETCH(const int, status);
        ScriptedServer server;
        server.willAnswer(ScriptedServer::redirect(status, QStringLiteral("/new?x=1")));
        server.willAnswer(ScriptedServer::reply(200, "there"));
        HttpRequest what = request(server.url() + QStringLiteral("/old"));
        what.headers.append(platform::HttpHeader{"Authorization", "Bearer T"});
        const auto answer = response(what);
        QVERIFY(answer);
        QCOMPARE(answer->body, "there");
        QCOMPARE(server.requests().size(), 2);
        const ScriptedServer::Request& second = server.requests().constLast();
        QCOMPARE(second.method, "POST");
        QCOMPARE(second.target, "/new?x=1");
        QCOMPARE(second.body, "{\"a\":1}");
        QCOMPARE(second.headers.value("content-type"), "application/json");
        QCOMPARE(second.headers.value("authorization"), "Bearer T");
    }

    void theTokenNeverReachesAnotherOrigin_data()
    {
        QTest::addColumn<QString>("host");
        QTest::newRow("another port") << QStringLiteral("127.0.0.1");
        QTest::newRow("another name") << QStringLiteral("localhost");
    }

    void theTokenNeverReachesAnotherOrigin()
    {
        QFETCH(const QString, host);
        ScriptedServer first;
        ScriptedServer second;
        first.willAnswer(
            ScriptedServer::redirect(308, second.url(host) + QStringLiteral("/there")));
        second.willAnswer(ScriptedServer::redirect(307, first.url() + QStringLiteral("/back")));
        first.willAnswer(ScriptedServer::reply(200, "done"));
        HttpRequest what = request(first.url());
        what.headers.append(platform::HttpHeader{"authorization", "Bearer T"});
        const auto answer = response(what);
        QVERIFY(answer);
        QCOMPARE(first.requests().constFirst().headers.value("authorization"), "Bearer T");
        QCOMPARE(second.requests().size(), 1);
        QVERIFY(!second.requests().constFirst().headers.contains("authorization"));
        QCOMPARE(second.requests().constFirst().body, "{\"a\":1}");
        QVERIFY(!first.requests().constLast().headers.contains("authorization"));
    }

    void sixteenRedirectsAreFollowedAndNoMore()
    {
        ScriptedServer server;
        for (int i = 0; i < 16; ++i)
            server.willAnswer(ScriptedServer::redirect(307, QStringLiteral("/%1").arg(i)));
        server.willAnswer(ScriptedServer::reply(200, "at last"));
        const auto answer = response(request(server.url()));
        QVERIFY(answer);
        QCOMPARE(answer->body, "at last");
        QCOMPARE(server.requests().size(), 17);

        server.willAlwaysAnswer(ScriptedServer::redirect(308, QStringLiteral("/loop")));
        QCOMPARE(failure(request(server.url())),
                 QStringLiteral("127.0.0.1 redirects too many times"));
        QCOMPARE(server.requests().size(), 34);
    }

    void aRedirectToNowhereIsTheAnswer_data()
    {
        QTest::addColumn<QByteArray>("headers");
        QTest::newRow("no place") << QByteArray();
        QTest::newRow("an empty place") << QByteArray("Location: \r\n");
        QTest::newRow("no address") << QByteArray("Location: http://[x\r\n");
    }

    void aRedirectToNowhereIsTheAnswer()
    {
        QFETCH(const QByteArray, headers);
        ScriptedServer server;
        server.willAnswer(ScriptedServer::reply(307, "lost", headers));
        const auto answer = response(request(server.url()));
        QVERIFY(answer);
        QCOMPARE(answer->status, 307);
    }

    void aRedirectToAnUnsafePlaceFails_data()
    {
        QTest::addColumn<QString>("target");
        QTest::newRow("plain http to another machine") << QStringLiteral("http://example.org/");
        QTest::newRow("another protocol") << QStringLiteral("ftp://127.0.0.1/");
        QTest::newRow("a file") << QStringLiteral("file:///etc/hostname");
    }

    void aRedirectToAnUnsafePlaceFails()
    {
        QFETCH(const QString, target);
        ScriptedServer server;
        server.willAnswer(ScriptedServer::redirect(307, target));
        QCOMPARE(failure(request(server.url())),
                 QStringLiteral("127.0.0.1 redirects to %1, which is not encrypted").arg(target));
    }

    void plainHttpIsForThisMachineOnly_data()
    {
        QTest::addColumn<QString>("url");
        QTest::newRow("name") << QStringLiteral("http://service.example/api");
        QTest::newRow("address") << QStringLiteral("http://192.0.2.1/api");
        QTest::newRow("name that looks like an address")
            << QStringLiteral("http://127.0.0.1.example.org/");
        QTest::newRow("protocol") << QStringLiteral("ftp://127.0.0.1/");
    }

    void plainHttpIsForThisMachineOnly()
    {
        QFETCH(const QString, url);
        const QString text = failure(request(url));
        QCOMPARE(text,
                 QStringLiteral("Could not connect to %1: its address does not begin with https")
                     .arg(QUrl(url).host()));
    }

    void aRefusedConnectionIsNamed()
    {
        QString url;
        {
            const ScriptedServer server;
            url = server.url();
        }
        const std::optional<HttpOutcome> outcome = send(request(url + QStringLiteral("/api")));
        QVERIFY(outcome && std::holds_alternative<TransferFailure>(*outcome));
        const auto& failed = std::get<TransferFailure>(*outcome);
        QCOMPARE(failed.text, QStringLiteral("Could not connect to 127.0.0.1: connection refused"));
        QCOMPARE(failed.description,
                 QStringLiteral("TransferFailure(refused, %1/api): %2").arg(url, failed.text));
    }

    void anAnswerThatBreaksOffIsAFailure_data()
    {
        QTest::addColumn<QByteArray>("sent");
        QTest::addColumn<bool>("resets");
        const QByteArray head = "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n";
        const QByteArray chunked = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";
        for (const bool resets : {false, true}) {
            const char* const way = resets ? "reset" : "closed";
            QTest::addRow("nothing, %s", way) << QByteArray() << resets;
            QTest::addRow("in the head, %s", way)
                << QByteArray("HTTP/1.1 200 OK\r\nCont") << resets;
            QTest::addRow("before the body, %s", way) << head << resets;
            QTest::addRow("in the body, %s", way) << head + "{\"success\":true" << resets;
            QTest::addRow("before a chunk, %s", way) << chunked << resets;
            QTest::addRow("in a chunk, %s", way) << chunked + "40\r\n{\"success\"" << resets;
        }
    }

    void anAnswerThatBreaksOffIsAFailure()
    {
        QFETCH(const QByteArray, sent);
        QFETCH(const bool, resets);
        ScriptedServer server;
        server.willAlwaysAnswer(resets ? ScriptedServer::bytesAndReset(sent)
                                       : ScriptedServer::bytes(sent));
        QCOMPARE(failure(request(server.url())), kBrokenOff);
    }

    void somethingElseThanHttpIsNoAnswer_data()
    {
        QTest::addColumn<QByteArray>("sent");
        QTest::newRow("another protocol") << QByteArray("SSH-2.0-OpenSSH_9.2p1\r\n");
        QTest::newRow("garbage") << QByteArray(300, '\xA7');
    }

    void somethingElseThanHttpIsNoAnswer()
    {
        QFETCH(const QByteArray, sent);
        ScriptedServer server;
        server.willAlwaysAnswer(ScriptedServer::bytes(sent));
        const std::optional<HttpOutcome> outcome = send(request(server.url()));
        QVERIFY(outcome);
        // Qt 6.4 waits for a status line until the connection ends, later ones may say what it is.
        const auto* const failed = std::get_if<TransferFailure>(&*outcome);
        QVERIFY(std::holds_alternative<platform::NotHttp>(*outcome) ||
                (failed != nullptr && failed->text == kBrokenOff));
    }

    void silenceEndsAtTheLimit()
    {
        ScriptedServer server;
        HttpRequest what = request(server.url());
        what.idleLimit = 400ms;
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(failure(what),
                 QStringLiteral("The request to 127.0.0.1 timed out: no data for 0.4 seconds"));
        QVERIFY2(timer.elapsed() >= 390, qPrintable(QString::number(timer.elapsed())));
    }

    void silenceInTheMiddleEndsAtTheLimit()
    {
        ScriptedServer server;
        server.willAnswer([](QTcpSocket& connection) {
            connection.write("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nabc");
        });
        HttpRequest what = request(server.url());
        what.idleLimit = 400ms;
        QCOMPARE(failure(what),
                 QStringLiteral("The request to 127.0.0.1 timed out: no data for 0.4 seconds"));
    }

    void aSlowAnswerIsWaitedForWhileItComes()
    {
        ScriptedServer server;
        const QByteArray body = "0123456789";
        server.willAnswer([&body](QTcpSocket& connection) {
            connection.write("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n");
            ScriptedServer::drip(body, 300ms)(connection);
        });
        HttpRequest what = request(server.url());
        what.idleLimit = 2s; // less than the whole answer takes
        const auto answer = response(what);
        QVERIFY(answer);
        QCOMPARE(answer->body, body);
    }

    void aLongAnswerFails()
    {
        ScriptedServer server;
        server.willAlwaysAnswer(ScriptedServer::reply(200, QByteArray(1001, 'x')));
        HttpRequest what = request(server.url());
        what.answerLimit = 1000;
        QCOMPARE(failure(what),
                 QStringLiteral("The answer of 127.0.0.1 is longer than 1000 bytes"));
        what.answerLimit = 1001;
        const auto answer = response(what);
        QVERIFY(answer);
        QCOMPARE(answer->body.size(), 1001);
    }

    void aLongAnswerIsCutWhereItMayBe()
    {
        ScriptedServer server;
        server.willAnswer([](QTcpSocket& connection) { // without an end
            connection.write("HTTP/1.1 500 Broken\r\n\r\n" + QByteArray(5000, 'y'));
        });
        HttpRequest what = request(server.url());
        what.answerLimit = 1000;
        what.longAnswer = platform::LongAnswer::IsCut;
        const auto answer = response(what);
        QVERIFY(answer);
        QCOMPARE(answer->status, 500);
        QCOMPARE(answer->body, QByteArray(1000, 'y'));
    }

    void aCompressedAnswerComesUnpacked()
    {
        // gzip of "hello hello hello"
        const QByteArray packed =
            QByteArray::fromBase64("H4sIAAAAAAACA8tIzcnJV8hAkACAiPnlEQAAAA==");
        ScriptedServer server;
        server.willAnswer(ScriptedServer::reply(200, packed, "Content-Encoding: gzip\r\n"));
        const auto answer = response(request(server.url()));
        QVERIFY(answer);
        QCOMPARE(answer->body, "hello hello hello");
    }

    void requestsRunSideBySide()
    {
        ScriptedServer slow;
        ScriptedServer fast;
        fast.willAnswer(ScriptedServer::reply(200, "fast"));
        const QFuture<HttpOutcome> waiting = m_client.send(request(slow.url()));
        const auto answer = response(request(fast.url()));
        QVERIFY(answer);
        QVERIFY(!waiting.isFinished());
    }

    void aClientThatGoesAwayFailsItsRequests()
    {
        ScriptedServer server;
        QFuture<HttpOutcome> future;
        {
            platform::qt::NetworkHttpClient client;
            future = client.send(request(server.url()));
            QTRY_COMPARE(server.requests().size(), 1);
        }
        QVERIFY(future.isFinished());
        QCOMPARE(std::get<TransferFailure>(future.result()).text,
                 QStringLiteral("The request to 127.0.0.1 was cancelled"));
    }
};

QUILLSTEP_TEST(TestHttpClient)
#include "tst_http_client.moc"
