// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/qt/network_http_client.h"
#include "tests/support/scripted_server.h"
#include "tests/support/test_program.h"

#include <QTest>

using platform::HttpOutcome;
using support::ScriptedServer;

/// The client where the environment prescribes a proxy.
class TestHttpProxy final : public QObject
{
    Q_OBJECT

    ScriptedServer m_proxy;
    platform::qt::NetworkHttpClient m_client;

    std::optional<HttpOutcome> send(const QString& url)
    {
        const QFuture<HttpOutcome> future = m_client.send(
            {.url = url, .headers = {{"Content-Type", "application/json"}}, .body = "{}"});
        if (!QTest::qWaitFor([&future] { return future.isFinished(); }, 10'000))
            return std::nullopt;
        return future.result();
    }

private Q_SLOTS:

    void initTestCase()
    {
        qputenv("https_proxy", m_proxy.url().toUtf8());
        qputenv("http_proxy", m_proxy.url().toUtf8());
        qunsetenv("no_proxy");
    }

    void otherMachinesAreReachedThroughTheProxy()
    {
        m_proxy.willAnswer(ScriptedServer::reply(403, ""));
        const auto outcome = send(QStringLiteral("https://service.example/api"));
        QVERIFY(outcome);
        QCOMPARE(m_proxy.requests().size(), 1);
        const ScriptedServer::Request& request = m_proxy.requests().constFirst();
        QCOMPARE(request.method, "CONNECT");
        QCOMPARE(request.target, "service.example:443");
        QVERIFY(request.body.isEmpty());
        const auto* const failure = std::get_if<platform::TransferFailure>(&*outcome);
        QVERIFY(failure != nullptr);
        QCOMPARE(failure->text,
                 QStringLiteral("Could not connect to service.example: Proxy denied connection"));
    }

    void thisMachineIsReachedDirectly()
    {
        ScriptedServer server;
        server.willAlwaysAnswer(ScriptedServer::reply(200, "direct"));
        const qsizetype before = m_proxy.requests().size();
        for (const char* const host : {"127.0.0.1", "localhost"}) {
            const auto outcome = send(server.url(QLatin1StringView(host)));
            QVERIFY(outcome);
            QCOMPARE(std::get<platform::HttpResponse>(*outcome).body, "direct");
        }
        QCOMPARE(m_proxy.requests().size(), before);
    }
};

QUILLSTEP_TEST(TestHttpProxy)
#include "tst_http_proxy.moc"
