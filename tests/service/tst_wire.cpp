// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// The endpoints on both databases, over sockets, with the real executable.
#include "service/database/accounts.h"
#include "service/database/database_address.h"
#include "service/database/database_session.h"
#include "tests/service/service_requests.h"
#include "tests/support/postgres_server.h"
#include "tests/support/required_programs.h"
#include "tests/support/service_process.h"
#include "tests/support/test_program.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QTest>

#include <thread>
#include <vector>

using requests::row;
using requests::rows;
using requests::statusOf;
using requests::uploadBody;
using support::RawHttpClient;

class TestWire : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase_data()
    {
        QTest::addColumn<bool>("postgres");
        QTest::newRow("SQLite") << false;
        QTest::newRow("PostgreSQL") << true;
    }

    void init()
    {
        QFETCH_GLOBAL(bool, postgres);
        m_service = std::make_unique<support::ServiceProcess>();
        QString database = m_service->folder() + QStringLiteral("/service.db");
        if (postgres) {
            REQUIRE_POSTGRES();
            if (!m_postgres) {
                m_postgres = std::make_unique<support::PostgresServer>();
                const auto started = m_postgres->start();
                QVERIFY2(started, started ? "" : qPrintable(started.error().text));
            }
            const auto made = m_postgres->newDatabase();
            QVERIFY(made);
            database = made.value();
        }
        m_service->setDatabase(database);
        QVERIFY(m_service->addUser(QString::fromUtf8(requests::kEmail),
                                   QStringLiteral("Söme \"One\" 😀"),
                                   QString::fromUtf8(requests::kPassword)));
        const auto started = m_service->start(database);
        QVERIFY2(started, started ? "" : qPrintable(started.error().text));
    }

    void cleanup()
    {
        QCOMPARE(m_service->stop(), std::optional(0));
        m_service.reset();
    }

    void signingInGivesATokenAndTheUser()
    {
        const auto answer = requests::signIn(port(), "SomeOne@Example.ORG");
        QCOMPARE(statusOf(answer), 200);
        const QJsonObject json = requests::json(*answer);
        QCOMPARE(json[QStringLiteral("success")], QJsonValue(true));
        QCOMPARE(json[QStringLiteral("token")].toString().size(), 43);
        const QJsonObject user = json[QStringLiteral("user")].toObject();
        QCOMPARE(user[QStringLiteral("id")], QJsonValue(1));
        QCOMPARE(user[QStringLiteral("name")].toString(), QStringLiteral("Söme \"One\" 😀"));
        QCOMPARE(user[QStringLiteral("email")].toString().toUtf8(), requests::kEmail);
        QVERIFY(user[QStringLiteral("boards")].toArray().isEmpty());
        QVERIFY(requests::newToken(port()) != json[QStringLiteral("token")].toString().toUtf8());
        QCOMPARE(answer->field("Content-Type"), QByteArray("application/json"));
    }

    void aWrongPasswordAndAnUnknownAddressAreAnsweredAlike()
    {
        const auto wrong = requests::signIn(port(), requests::kEmail, "wrong");
        const auto unknown = requests::signIn(port(), "nobody@example.org", "wrong");
        const auto strange = requests::signIn(port(), QByteArray("someone\0@example.org", 20), "x");
        for (const auto& answer : {wrong, unknown, strange}) {
            QCOMPARE(statusOf(answer), 401);
            QCOMPARE(answer->body,
                     QByteArray("{\"message\":\"The e-mail address or the password is wrong\"}"));
        }
    }

    void tooManyFailuresOfAnAccountAreHeldOff()
    {
        for (int i = 0; i < 10; ++i)
            QCOMPARE(statusOf(requests::signIn(port(), requests::kEmail, "wrong")), 401);
        const auto refused = requests::signIn(port(), "SOMEONE@example.org", requests::kPassword);
        QCOMPARE(statusOf(refused), 429);
        QVERIFY(refused->field("Retry-After").toInt() > 800);
        QCOMPARE(refused->body,
                 QByteArray("{\"message\":\"Too many failed sign-ins; try again in 15 minutes\"}"));
        QCOMPARE(statusOf(requests::signIn(port(), "other@example.org", "x")), 401);
    }

    void aRightPasswordFromAKnownDeviceAlwaysWorks()
    {
        QCOMPARE(statusOf(requests::signIn(port())), 200);
        for (int i = 0; i < 10; ++i)
            QCOMPARE(statusOf(signInFrom("another device", "wrong")), 401);
        QCOMPARE(statusOf(signInFrom("another device", requests::kPassword)), 429);
        // Its wrong ones are held off as well, though looked at.
        QCOMPARE(statusOf(signInFrom("a device", "wrong")), 429);
        QCOMPARE(statusOf(signInFrom("a device", requests::kPassword)), 200);
        // That was a success of this account from this network, which clears its count.
        QCOMPARE(statusOf(signInFrom("another device", requests::kPassword)), 200);
    }

    void failuresAreForgottenWithASuccess()
    {
        for (int round = 0; round < 2; ++round) {
            for (int i = 0; i < 6; ++i)
                QCOMPARE(statusOf(requests::signIn(port(), requests::kEmail, "wrong")), 401);
            QCOMPARE(statusOf(requests::signIn(port())), 200);
        }
    }

    void anUploadThatComesAgainChangesNothing()
    {
        const QByteArray token = requests::newToken(port());
        const QByteArrayList first = rows("app", 1, 250);
        const auto answer = requests::upload(port(), token, uploadBody(first));
        QCOMPARE(statusOf(answer), 201);
        QCOMPARE(answer->body, QByteArray("{\"success\":true,\"stored\":250}"));
        QCOMPARE(stored(), QStringLiteral("user 1: 250 rows, 250 seconds, 1 devices, 1 tokens\n"));
        QCOMPARE(statusOf(requests::upload(port(), token, uploadBody(first))), 201);
        QCOMPARE(stored(), QStringLiteral("user 1: 250 rows, 250 seconds, 1 devices, 1 tokens\n"));
        const QByteArrayList more = first + rows("app", 251, 300) + QByteArrayList{row("app", -7)};
        QCOMPARE(statusOf(requests::upload(port(), token, uploadBody(more))), 201);
        QCOMPARE(stored(), QStringLiteral("user 1: 301 rows, 293 seconds, 1 devices, 1 tokens\n"));
        QCOMPARE(statusOf(requests::upload(port(), token, uploadBody(first, "another"))), 201);
        QCOMPARE(stored(), QStringLiteral("user 1: 551 rows, 543 seconds, 2 devices, 1 tokens\n"));
        QCOMPARE(statusOf(requests::upload(port(), token, uploadBody({}))), 201);
    }

    void equalRowsOfOneUploadAddUpEvenWhenOneMoreComesLater()
    {
        const QByteArray token = requests::newToken(port());
        for (int count : {2, 2, 3}) {
            const QByteArrayList equal(count, row("app", 5));
            QCOMPARE(statusOf(requests::upload(port(), token, uploadBody(equal))), 201);
            QCOMPARE(
                stored(),
                QStringLiteral("user 1: 1 rows, %1 seconds, 1 devices, 1 tokens\n").arg(5 * count));
        }
    }

    void everyTextAndNumberCanBeStored()
    {
        const QByteArray token = requests::newToken(port());
        const QByteArray title(300'000, 'x');
        const QByteArrayList all = {
            row("a", 1),
            row("a", 1, ",\"window_title\":\"\""),
            row("a", 1, ",\"url\":\"\""),
            row("a\\u0000", 1, ",\"window_title\":\"\\u0000\""),
            row("a␀", 1, ",\"window_title\":\"␀\""),
            row("'; drop table users; --", 1, ",\"url\":\"\\\\'\\\"? $1 :a %s\""),
            row("😀\\ud83d\\ude00\\ufffe", 1, ",\"window_title\":\"" + title + "\""),
            row("", 9223372036854775807),
            row("", 9223372036854775807, ",\"url\":\"u\""),
            row("old", -9223372036854775807 - 1),
        };
        QCOMPARE(statusOf(requests::upload(port(), token, uploadBody(all, "\\u0000"))), 201);
        QCOMPARE(
            stored(),
            QStringLiteral("user 1: 10 rows, 9223372036854775813 seconds, 1 devices, 1 tokens\n"));
        QCOMPARE(statusOf(requests::upload(port(), token, uploadBody(all, "\\u0000"))), 201);
        QCOMPARE(
            stored(),
            QStringLiteral("user 1: 10 rows, 9223372036854775813 seconds, 1 devices, 1 tokens\n"));
    }

    void aWrongRowLeavesNothingOfItsUpload()
    {
        const QByteArray token = requests::newToken(port());
        const QByteArrayList all = rows("app", 1, 5) + QByteArrayList{"{\"app_name\":7}"};
        const auto answer = requests::upload(port(), token, uploadBody(all));
        QCOMPARE(statusOf(answer), 422);
        QVERIFY(answer->body.contains("activities.5.app_name"));
        QCOMPARE(stored(), QStringLiteral("user 1: 0 rows, 0 seconds, 0 devices, 1 tokens\n"));
    }

    void onlyAValidTokenUploads()
    {
        const QByteArray token = requests::newToken(port());
        const QByteArray body = uploadBody(rows("app", 1, 1));
        for (const QByteArray& header : {QByteArray("X-None: "),
                                         QByteArray("Authorization: "),
                                         QByteArray("Authorization: Bearer"),
                                         QByteArray("Authorization: Bearer "),
                                         QByteArray("Authorization: Basic " + token),
                                         QByteArray("Authorization: " + token),
                                         requests::bearer(token.chopped(1)),
                                         requests::bearer(token + 'x')}) {
            const auto answer = RawHttpClient(port()).post("/api/activity-log", body, {header});
            QCOMPARE(statusOf(answer), 401);
            QVERIFY(requests::json(*answer).contains(QStringLiteral("message")));
        }
        QCOMPARE(statusOf(RawHttpClient(port()).post(
                     "/api/activity-log", body, {"authorization: bearer " + token})),
                 201);
        const auto revoked = command("--revoke-tokens", requests::kEmail);
        QCOMPARE(revoked.code, std::optional(0));
        QCOMPARE(revoked.output, QStringLiteral("revoked 1 tokens\n"));
        QCOMPARE(statusOf(requests::upload(port(), token, body)), 401);
    }

    void aNewPasswordEndsTheSessionsOfTheOldOne()
    {
        const QByteArray token = requests::newToken(port());
        QCOMPARE(statusOf(requests::upload(port(), token, uploadBody(rows("app", 1, 3)))), 201);
        const auto changed = command("--set-password", "SomeOne@example.org", "battery staple\n");
        QCOMPARE(changed.code, std::optional(0));
        QCOMPARE(changed.output, QStringLiteral("changed the password and revoked 1 tokens\n"));
        QCOMPARE(statusOf(requests::upload(port(), token, uploadBody({}))), 401);
        QCOMPARE(statusOf(requests::signIn(port())), 401);
        QCOMPARE(statusOf(requests::signIn(port(), requests::kEmail, "battery staple")), 200);
        QCOMPARE(stored(), QStringLiteral("user 1: 3 rows, 3 seconds, 1 devices, 1 tokens\n"));
    }

    void noTokenIsMadeForAPasswordThatHasJustBeenReplaced()
    {
        const auto session = openDatabase();
        QVERIFY(session);
        const auto user = service::findUser(*session, requests::kEmail.toStdString());
        QVERIFY(user && user.value());
        QCOMPARE(command("--set-password", requests::kEmail, "battery staple\n").code,
                 std::optional(0));
        const auto late = service::addToken(*session, *user.value(), "late", {});
        QVERIFY(late && !late.value());
        QCOMPARE(command("--remove-user", requests::kEmail).code, std::optional(0));
        const auto later = service::addToken(*session, *user.value(), "later", {});
        QVERIFY(later && !later.value());
        QCOMPARE(stored(), QString());
    }

    void aRemovedUserLeavesNothing()
    {
        const QByteArray token = requests::newToken(port());
        QCOMPARE(statusOf(requests::upload(port(), token, uploadBody(rows("app", 1, 3)))), 201);
        const auto addOther = [this] {
            return m_service->addUser(QStringLiteral("other@example.org"),
                                      QStringLiteral("Other"),
                                      QStringLiteral("other password"));
        };
        QVERIFY(addOther());
        const auto removed = command("--remove-user", "SOMEONE@example.org");
        QCOMPARE(removed.code, std::optional(0));
        QCOMPARE(removed.output, QStringLiteral("removed the user and 3 rows\n"));
        QCOMPARE(statusOf(requests::upload(port(), token, uploadBody(rows("app", 4, 6)))), 401);
        QCOMPARE(statusOf(requests::signIn(port())), 401);
        QCOMPARE(stored(), QStringLiteral("user 2: 0 rows, 0 seconds, 0 devices, 0 tokens\n"));
        // Not even the number comes again.
        QCOMPARE(command("--remove-user", "other@example.org").code, std::optional(0));
        QVERIFY(addOther());
        QCOMPARE(stored(), QStringLiteral("user 3: 0 rows, 0 seconds, 0 devices, 0 tokens\n"));
    }

    void aDatabaseOfAnEarlierVersionIsBroughtUpToDate()
    {
        {
            const auto session = openDatabase();
            QVERIFY(session);
            QVERIFY(session->run(QStringLiteral("drop table removed_users")));
            QVERIFY(session->run(QStringLiteral("delete from schema_version where version = 2")));
        }
        const auto removed = command("--remove-user", requests::kEmail);
        QCOMPARE(removed.complaint, QString());
        QCOMPARE(removed.output, QStringLiteral("removed the user and 0 rows\n"));
        QCOMPARE(stored(), QString());
    }

    void whoIsNotThereIsNamed()
    {
        for (const char* option : {"--set-password", "--revoke-tokens", "--remove-user"}) {
            const auto refused = command(option, "nobody@example.org", "battery staple\n");
            QCOMPARE(refused.code, std::optional(1));
            QCOMPARE(refused.complaint,
                     QStringLiteral("velomira-service: there is no user nobody@example.org\n"));
        }
        QCOMPARE(stored(), QStringLiteral("user 1: 0 rows, 0 seconds, 0 devices, 0 tokens\n"));
    }

    void ofManyTokensTheNewestFiftyStay()
    {
        const QByteArray oldest = requests::newToken(port());
        // Directly into the database: signing in takes its time.
        const auto session = openDatabase();
        QVERIFY(session);
        const auto user = service::findUser(*session, requests::kEmail.toStdString());
        QVERIFY(user && user.value());
        for (int i = 0; i < 50; ++i) {
            const auto added = service::addToken(*session, *user.value(), std::to_string(i), {});
            QVERIFY(added && added.value());
        }
        QCOMPARE(stored(), QStringLiteral("user 1: 0 rows, 0 seconds, 0 devices, 50 tokens\n"));
        QCOMPARE(statusOf(requests::upload(port(), oldest, uploadBody({}))), 401);
        QCOMPARE(statusOf(requests::upload(port(), requests::newToken(port()), uploadBody({}))),
                 201);
    }

    void fiftyClientsAtOnceLoseNothing()
    {
        std::vector<int> accepted(50);
        {
            std::vector<std::jthread> clients;
            for (int i = 0; i < 50; ++i)
                clients.emplace_back([&, i] {
                    const QByteArray token = requests::newToken(port());
                    RawHttpClient client(port());
                    for (int n = 0; n < 3; ++n) {
                        const auto body = uploadBody(rows("app", 100 * n, 100 * n + 99),
                                                     "device " + QByteArray::number(i / 2));
                        accepted[static_cast<std::size_t>(i)] +=
                            statusOf(client.post(
                                "/api/activity-log", body, {requests::bearer(token)})) == 201;
                    }
                });
        }
        QVERIFY2(!m_service->log().contains(QStringLiteral("database:")),
                 qPrintable(m_service->log()));
        QCOMPARE(std::count(accepted.begin(), accepted.end(), 3), 50);
        // Two clients each were the same device and sent the same.
        QCOMPARE(stored(),
                 QStringLiteral("user 1: 7500 rows, 7500 seconds, 25 devices, 50 tokens\n"));
    }

    void aSecondUserIsApartAndAnAddressIsTakenOnce()
    {
        QVERIFY(m_service->addUser(QStringLiteral("two@example.org"),
                                   QStringLiteral("Two"),
                                   QStringLiteral("other battery")));
        const auto again = m_service->addUser(QStringLiteral("TWO@example.org"),
                                              QStringLiteral("Three"),
                                              QStringLiteral("another battery"));
        QVERIFY(!again);
        QVERIFY(again.error().text.contains(QStringLiteral("already exists")));
        const auto answer = requests::signIn(port(), "two@example.org", "other battery");
        QCOMPARE(statusOf(answer), 200);
        const QByteArray token =
            requests::json(*answer)[QStringLiteral("token")].toString().toUtf8();
        QCOMPARE(statusOf(requests::upload(port(), token, uploadBody(rows("app", 1, 2)))), 201);
        QCOMPARE(stored(),
                 QStringLiteral("user 1: 0 rows, 0 seconds, 0 devices, 0 tokens\n"
                                "user 2: 2 rows, 2 seconds, 1 devices, 1 tokens\n"));
    }

private:
    [[nodiscard]] std::optional<support::RawAnswer> signInFrom(const QByteArray& device,
                                                               const QByteArray& password) const
    {
        QByteArray body = requests::signInBody(requests::kEmail, password);
        body.replace("\"a device\"", '"' + device + '"');
        return RawHttpClient(port()).post("/api/token", body);
    }

    [[nodiscard]] int port() const { return m_service->port(); }

    [[nodiscard]] QString stored() { return m_service->summary(); }

    /// The database that the service uses; null when it cannot be opened.
    [[nodiscard]] std::unique_ptr<service::DatabaseSession> openDatabase() const
    {
        const auto address = service::parseDatabaseAddress(database());
        if (!address)
            return nullptr;
        auto session = service::DatabaseSession::open(address.value());
        return session ? std::move(session).value() : nullptr;
    }

    /// What `option` does with a user, while the service runs.
    [[nodiscard]] support::ServiceProcess::Run
    command(const char* option, const QByteArray& email, const QByteArray& input = {})
    {
        return m_service->run({QStringLiteral("--database"),
                               database(),
                               QString::fromLatin1(option),
                               QString::fromUtf8(email)},
                              input);
    }

    [[nodiscard]] QString database() const { return m_service->database(); }

    std::unique_ptr<support::PostgresServer> m_postgres;
    std::unique_ptr<support::ServiceProcess> m_service;
};

QUILLSTEP_TEST(TestWire)
#include "tst_wire.moc"
