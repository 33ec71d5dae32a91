// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/qt/network_http_client.h"
#include "tests/support/required_programs.h"
#include "tests/support/scripted_server.h"
#include "tests/support/test_certificates.h"
#include "tests/support/test_program.h"

#include <QTest>

using platform::HttpOutcome;
using platform::HttpResponse;
using platform::TransferFailure;
using platform::qt::NetworkHttpClient;
using support::ScriptedServer;

namespace {

/// The answer's body, or the text of the failure in brackets.
QString send(NetworkHttpClient& client, const QString& url)
{
    const QFuture<HttpOutcome> future = client.send(
        {.url = url,
         .headers = {{"Authorization", "Bearer T"}, {"Content-Type", "application/json"}},
         .body = "{}"});
    if (!QTest::qWaitFor([&future] { return future.isFinished(); }, 10'000))
        return QStringLiteral("(nothing in ten seconds)");
    const HttpOutcome outcome = future.result();
    if (const auto* const failure = std::get_if<TransferFailure>(&outcome))
        return u'(' + failure->text + u')';
    const auto* const response = std::get_if<HttpResponse>(&outcome);
    return response != nullptr ? QString::fromUtf8(response->body) : QStringLiteral("(not HTTP)");
}

} // namespace

/// The client against servers with certificates of every kind.
class TestHttpTls final : public QObject
{
    Q_OBJECT

    support::TestCertificates m_certificates;
    support::TestCertificates m_strangers;

private Q_SLOTS:

    void initTestCase()
    {
        REQUIRE_PROGRAMS(QStringList{QStringLiteral("openssl")});
        const platform::Outcome ours = m_certificates.create();
        QVERIFY2(bool(ours), ours ? "" : qPrintable(ours.error().text));
        QVERIFY(bool(m_strangers.create()));
    }

    void aCertificateMustBeRight_data()
    {
        QTest::addColumn<QString>("certified");
        QTest::addColumn<int>("days");
        QTest::addColumn<bool>("isOurs");
        QTest::addColumn<QString>("answer");
        const auto refused = [](const char* reason) {
            return QStringLiteral("(Could not connect to localhost: %1)")
                .arg(QLatin1StringView(reason));
        };
        QTest::newRow("right") << QStringLiteral("localhost") << 1 << true
                               << QStringLiteral("hello");
        QTest::newRow("another name") << QStringLiteral("example.org") << 1 << true
                                      << refused("its certificate is for another name");
        QTest::newRow("expired") << QStringLiteral("localhost") << -1 << true
                                 << refused("its certificate has expired");
        QTest::newRow("unknown issuer")
            << QStringLiteral("localhost") << 1 << false
            << refused("nobody this computer trusts has issued its certificate");
    }

    void aCertificateMustBeRight()
    {
        QFETCH(const QString, certified);
        QFETCH(const int, days);
        QFETCH(const bool, isOurs);
        QFETCH(const QString, answer);
        const auto configuration = (isOurs ? m_certificates : m_strangers).server(certified, days);
        QVERIFY(bool(configuration));
        ScriptedServer server(configuration.value());
        server.willAlwaysAnswer(ScriptedServer::reply(200, "hello"));
        NetworkHttpClient client(m_certificates.trustingClient());
        QCOMPARE(send(client, server.url(QStringLiteral("localhost"))), answer);
        // What was not trusted has not seen the token either.
        QCOMPARE(server.requests().size(), answer == QStringLiteral("hello") ? 1 : 0);
    }

    void theSystemDoesNotTrustATestsAuthority()
    {
        const auto configuration = m_certificates.server(QStringLiteral("localhost"));
        QVERIFY(bool(configuration));
        ScriptedServer server(configuration.value());
        server.willAlwaysAnswer(ScriptedServer::reply(200, "hello"));
        NetworkHttpClient client;
        QCOMPARE(send(client, server.url(QStringLiteral("localhost"))),
                 QStringLiteral("(Could not connect to localhost: nobody this computer trusts has "
                                "issued its certificate)"));
    }

    void aClientThatWasToldNotToVerifyDoesSo()
    {
        const auto configuration = m_strangers.server(QStringLiteral("localhost"));
        QVERIFY(bool(configuration));
        ScriptedServer server(configuration.value());
        server.willAlwaysAnswer(ScriptedServer::reply(200, "hello"));
        QSslConfiguration careless = m_certificates.trustingClient();
        careless.setPeerVerifyMode(QSslSocket::VerifyNone);
        NetworkHttpClient client(careless);
        QVERIFY(send(client, server.url(QStringLiteral("localhost")))
                    .startsWith(QStringLiteral("(Could not connect")));
    }

    void aServerWithoutTlsIsNotUnderstood()
    {
        ScriptedServer server;
        server.willAlwaysAnswer(ScriptedServer::reply(200, "hello"));
        NetworkHttpClient client(m_certificates.trustingClient());
        const QString url = server.url(QStringLiteral("localhost"))
                                .replace(QStringLiteral("http:"), QStringLiteral("https:"));
        // The server waits for the end of a request; the handshake is cut off by its closing.
        server.willAlwaysAnswer(ScriptedServer::bytes("HTTP/1.1 400 No\r\n\r\n"));
        const QFuture<HttpOutcome> future = client.send(
            {.url = url, .headers = {}, .body = {}, .idleLimit = std::chrono::milliseconds(500)});
        QTRY_VERIFY(future.isFinished());
        QVERIFY(std::holds_alternative<TransferFailure>(future.result()));
    }

    void noRedirectLeavesEncryption()
    {
        const auto configuration = m_certificates.server(QStringLiteral("localhost"));
        QVERIFY(bool(configuration));
        ScriptedServer plain;
        plain.willAlwaysAnswer(ScriptedServer::reply(200, "hello"));
        ScriptedServer server(configuration.value());
        server.willAnswer(ScriptedServer::redirect(307, plain.url()));
        NetworkHttpClient client(m_certificates.trustingClient());
        QCOMPARE(
            send(client, server.url(QStringLiteral("localhost"))),
            QStringLiteral("(localhost redirects to %1, which is not encrypted)").arg(plain.url()));
        QCOMPARE(plain.requests().size(), 0);
    }

    void aRedirectMayLeadIntoEncryptionWithoutTheToken()
    {
        const auto configuration = m_certificates.server(QStringLiteral("localhost"));
        QVERIFY(bool(configuration));
        ScriptedServer server(configuration.value());
        server.willAnswer(ScriptedServer::reply(200, "hello"));
        ScriptedServer plain;
        plain.willAnswer(ScriptedServer::redirect(308, server.url(QStringLiteral("localhost"))));
        NetworkHttpClient client(m_certificates.trustingClient());
        QCOMPARE(send(client, plain.url()), QStringLiteral("hello"));
        QVERIFY(!server.requests().constFirst().headers.contains("authorization"));
    }
};

QUILLSTEP_TEST(TestHttpTls)
#include "tst_http_tls.moc"
