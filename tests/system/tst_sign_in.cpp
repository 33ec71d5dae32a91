// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "account/auth_service.h"
#include "backends/qt/network_http_client.h"
#include "tests/fakes/fake_secret_store.h"
#include "tests/fakes/fake_user_defaults.h"
#include "tests/support/scripted_server.h"
#include "tests/support/test_program.h"

#include <QCoroTask>
#include <QTest>

using account::AuthService;
using support::ScriptedServer;

/// Sign-in over a real socket: every answer a service can give.
class TestSignIn final : public QObject
{
    Q_OBJECT

    platform::qt::NetworkHttpClient m_client;
    fakes::FakeUserDefaults m_defaults;
    fakes::FakeSecretStore m_secrets;

    AuthService::Dependencies dependencies(const QString& url)
    {
        return {.serviceUrl = url,
                .userDefaults = m_defaults,
                .secretStore = m_secrets,
                .httpClient = m_client};
    }

    static bool login(AuthService& service)
    {
        return QCoro::waitFor(
            service.login(QStringLiteral("a@example.org"), QStringLiteral("secret")));
    }

private Q_SLOTS:

    void init()
    {
        m_defaults.values.clear();
        m_secrets.secrets.clear();
    }

    void anAnswerBecomesASessionOrAText_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("error"); // empty: signed in
        const auto row =
            [](const char* name, int status, const QByteArray& body, const char* error) {
                QTest::newRow(name) << status << body << QString::fromLatin1(error);
            };
        const QByteArray good = R"({"success":true,"token":"T","user":{"id":7}})";
        row("signed in", 200, good, "");
        row("signed in without a user", 200, R"({"success":true,"token":"T"})", "");
        row("not a success", 200, R"({"success":false,"error":"no"})", "Invalid credentials");
        row("without a token", 200, R"({"success":true})", "Invalid credentials");
        row("a token of null", 200, R"({"success":true,"token":null})", "Invalid credentials");
        row("without success",
            200,
            R"({"token":"T"})",
            "The service gave an answer that makes no sense: \"success\" is missing");
        row("HTML for 200", 200, "<html></html>", "The service gave an answer that is not JSON");
        row("nothing for 200", 200, "", "The service gave an answer that is not JSON");
        row("a message", 401, R"({"message":"Wrong password"})", "Wrong password");
        row("an empty message", 401, R"({"message":""})", "(an empty text)");
        row("errors", 422, R"({"errors":{"email":["Unknown address"]}})", "Unknown address");
        row("several errors", 422, R"({"errors":{"z":["First"],"a":["Second"]}})", "First");
        row("no texts", 422, R"({"errors":{"email":[]}})", "Login failed");
        row("first has no texts", 422, R"({"errors":{"z":[],"a":["Second"]}})", "Login failed");
        row("no errors", 422, R"({"errors":{}})", "Login failed");
        row("an empty object", 422, "{}", "Login failed");
        row("nulls", 422, R"({"message":null,"errors":null})", "Login failed");
        row("message of a wrong type", 400, R"({"message":5})", "Login failed with status 400");
        row("errors of a wrong type", 400, R"({"errors":["x"]})", "Login failed with status 400");
        row("HTML for 500", 500, "<html></html>", "Login failed with status 500");
        row("nothing for 401", 401, "", "Login failed with status 401");
        row("a list for 401", 401, "[]", "Login failed with status 401");
        row("a token for 201", 201, good, "Login failed");
        row("a token for 302", 302, good, "Login failed");
        row("nothing for 204", 204, "", "Login failed with status 204");
        row("too many sign-ins", 429, R"({"message":"Try again later"})", "Try again later");
        row("a redirect to nowhere", 307, "gone", "Login failed with status 307");
    }

    void anAnswerBecomesASessionOrAText()
    {
        QFETCH(const int, status);
        QFETCH(const QByteArray, body);
        QFETCH(QString, error);
        if (error == QLatin1StringView("(an empty text)"))
            error = QStringLiteral("");
        ScriptedServer server;
        server.willAnswer(ScriptedServer::reply(status, body));
        AuthService service(dependencies(server.url()));
        const bool succeeds = error.isEmpty() && status == 200;
        QCOMPARE(login(service), succeeds);
        QCOMPARE(service.isAuthenticated(), succeeds);
        QCOMPARE(service.token().has_value(), succeeds);
        QCOMPARE(service.lastError(), succeeds ? std::nullopt : std::optional(error));
        const auto kept = m_secrets.secret(AuthService::secretName());
        QCOMPARE(kept, succeeds ? std::optional(QByteArray("T")) : std::nullopt);
    }

    void theRequestIsWhatTheServiceExpects()
    {
        ScriptedServer server;
        server.willAlwaysAnswer(ScriptedServer::reply(200, R"({"success":true,"token":"T"})"));
        AuthService service(dependencies(server.url()));
        QVERIFY(login(service));
        QVERIFY(login(service));
        QCOMPARE(server.requests().size(), 2);
        const ScriptedServer::Request& request = server.requests().constFirst();
        QCOMPARE(request.method, "POST");
        QCOMPARE(request.target, "/api/token");
        QCOMPARE(request.headers.value("content-type"), "application/json");
        QCOMPARE(request.headers.value("accept"), "application/json");
        QVERIFY(!request.headers.contains("authorization"));
        const QByteArray deviceId = m_defaults.values.value(QStringLiteral("deviceId")).toUtf8();
        QCOMPARE(deviceId.size(), 36);
        QCOMPARE(
            request.body,
            R"({"email":"a@example.org","password":"secret","device_name":"Desktop","device_id":")" +
                deviceId + R"("})");
        QCOMPARE(server.requests().constLast().body, request.body);
        QVERIFY(!server.requests().constLast().headers.contains("authorization"));
    }

    void aFailedSignInLeavesTheSessionAsItWas()
    {
        ScriptedServer server;
        server.willAnswer(ScriptedServer::reply(
            200, R"({"success":true,"token":"T","user":{"id":7,"name":"Ada"}})"));
        AuthService service(dependencies(server.url()));
        QVERIFY(login(service));
        server.willAnswer(ScriptedServer::reply(401, R"({"message":"No"})"));
        QVERIFY(!login(service));
        server.willAlwaysAnswer(
            ScriptedServer::bytes("HTTP/1.1 200 OK\r\nContent-Length: 99\r\n\r\n{"));
        QVERIFY(!login(service));
        QVERIFY(service.isAuthenticated());
        QCOMPARE(service.token(), QStringLiteral("T"));
        QVERIFY(service.currentUser());
        QCOMPARE(service.currentUser()->name, QStringLiteral("Ada"));
        QCOMPARE(m_secrets.secret(AuthService::secretName()), QByteArray("T"));
    }

    void anUnreachableServiceIsNamed()
    {
        QString url;
        {
            const ScriptedServer server;
            url = server.url();
        }
        AuthService service(dependencies(url));
        QVERIFY(!login(service));
        QCOMPARE(service.lastError(),
                 QStringLiteral("Could not connect to 127.0.0.1: connection refused"));
    }

    void anAnswerBeyondAMegabyteIsRefused()
    {
        ScriptedServer server;
        server.willAnswer(ScriptedServer::reply(200,
                                                R"({"success":true,"token":"T","error":")" +
                                                    QByteArray(1'000'000, 'x') + R"("})"));
        AuthService service(dependencies(server.url()));
        QVERIFY(!login(service));
        QCOMPARE(service.lastError(),
                 QStringLiteral("The answer of 127.0.0.1 is longer than 1000000 bytes"));
    }

    void aServiceThatIsRedirectedSignsIn()
    {
        ScriptedServer second;
        second.willAnswer(ScriptedServer::reply(200, R"({"success":true,"token":"T"})"));
        ScriptedServer server;
        server.willAnswer(
            ScriptedServer::redirect(308, second.url() + QStringLiteral("/api/token")));
        AuthService service(dependencies(server.url()));
        QVERIFY(login(service));
        QCOMPARE(second.requests().constFirst().body, server.requests().constFirst().body);
    }
};

QUILLSTEP_TEST(TestSignIn)
#include "tst_sign_in.moc"
