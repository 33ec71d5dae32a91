// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "account/auth_service.h"
#include "tests/fakes/fake_http_client.h"
#include "tests/fakes/fake_secret_store.h"
#include "tests/fakes/fake_user_defaults.h"
#include "tests/support/test_program.h"

#include <QCoroTask>
#include <QStringList>
#include <QTest>

#include <memory>

using account::AuthService;
using platform::HttpResponse;

namespace {

const QString kEmail = QStringLiteral("a@example.org");
const QString kPassword = QStringLiteral("secret");

HttpResponse signedIn(const QByteArray& token)
{
    return {.status = 200,
            .body = R"({"success":true,"token":")" + token + R"(","user":{"id":1,"name":"Ada"}})"};
}

} // namespace

class TestAuthService final : public QObject
{
    Q_OBJECT

    struct Fixture
    {
        fakes::FakeUserDefaults defaults;
        fakes::FakeSecretStore secrets;
        fakes::FakeHttpClient http;

        AuthService::Dependencies
        dependencies(const QString& url = QStringLiteral("https://service.example"))
        {
            return {.serviceUrl = url,
                    .userDefaults = defaults,
                    .secretStore = secrets,
                    .httpClient = http};
        }

        void store(const QByteArray& token)
        {
            secrets.secrets[fakes::FakeSecretStore::key(AuthService::secretName())] = token;
        }
    };

    /// What the service tells about its changes, with the state at each moment.
    static QStringList* record(AuthService& service)
    {
        auto* const heard = new QStringList;
        const auto note = [heard, &service](const char* what) {
            heard->append(
                QStringLiteral("%1 %2 %3")
                    .arg(QLatin1StringView(what),
                         service.isAuthenticated() ? QStringLiteral("in") : QStringLiteral("out"),
                         service.token().value_or(QStringLiteral("-"))));
        };
        connect(&service, &AuthService::tokenChanged, &service, [note] { note("token"); });
        connect(&service, &AuthService::currentUserChanged, &service, [note] { note("user"); });
        connect(
            &service, &AuthService::isAuthenticatedChanged, &service, [note] { note("state"); });
        connect(&service, &AuthService::lastErrorChanged, &service, [note] { note("error"); });
        connect(&service, &QObject::destroyed, [heard] { delete heard; });
        return heard;
    }

private Q_SLOTS:

    void withoutAStoredTokenNobodyIsSignedIn()
    {
        Fixture fixture;
        const AuthService service(fixture.dependencies());
        QVERIFY(!service.isAuthenticated());
        QVERIFY(!service.token());
        QVERIFY(!service.currentUser());
        QVERIFY(!service.lastError());
        QCOMPARE(fixture.secrets.calls, QStringList{QStringLiteral("read")});
    }

    void aStoredTokenContinuesTheSessionWithoutAUser()
    {
        Fixture fixture;
        fixture.store("T");
        const AuthService service(fixture.dependencies());
        QVERIFY(service.isAuthenticated());
        QCOMPARE(service.token(), QStringLiteral("T"));
        QVERIFY(!service.currentUser());
    }

    void theTokenIsFiledUnderTheApplicationsName()
    {
        QCOMPARE(AuthService::secretName().service, QStringLiteral("com.velomira.UsageMonitor"));
        QCOMPARE(AuthService::secretName().account, QStringLiteral("authToken"));
    }

    void aStoredTokenThatIsNoTextCountsAsNone()
    {
        Fixture fixture;
        fixture.store("\xC3\x28");
        const AuthService service(fixture.dependencies());
        QVERIFY(!service.isAuthenticated());
    }

    void aLateKeyringStillSignsIn()
    {
        Fixture fixture;
        fixture.store("T");
        fixture.secrets.holdsReads = true;
        AuthService service(fixture.dependencies());
        QVERIFY(!service.isAuthenticated());
        const QStringList* const heard = record(service);
        fixture.secrets.answerReads();
        QTRY_VERIFY(service.isAuthenticated());
        QCOMPARE(*heard,
                 QStringList({QStringLiteral("token out T"), QStringLiteral("state in T")}));
    }

    void aKeyringThatIsUnlockedLaterIsAskedAgain()
    {
        Fixture fixture;
        AuthService service(fixture.dependencies());
        fixture.store("T");
        Q_EMIT fixture.secrets.becameReadable();
        QVERIFY(service.isAuthenticated());
        Q_EMIT fixture.secrets.becameReadable();
        QCOMPARE(fixture.secrets.calls.size(), 2);
    }

    void signingInOutranksALateKeyring()
    {
        Fixture fixture;
        fixture.store("old");
        fixture.secrets.holdsReads = true;
        AuthService service(fixture.dependencies());
        fixture.http.answer(signedIn("new"));
        QVERIFY(QCoro::waitFor(service.login(kEmail, kPassword)));
        fixture.secrets.answerReads();
        QCoreApplication::processEvents();
        QCOMPARE(service.token(), QStringLiteral("new"));
    }

    void signingOutOutranksALateKeyring()
    {
        Fixture fixture;
        fixture.store("old");
        fixture.secrets.holdsReads = true;
        AuthService service(fixture.dependencies());
        service.logout();
        fixture.store("old");
        fixture.secrets.answerReads();
        Q_EMIT fixture.secrets.becameReadable();
        QCoreApplication::processEvents();
        QVERIFY(!service.isAuthenticated());
    }

    void aFailedSignInDoesNotOutrankALateKeyring()
    {
        Fixture fixture;
        fixture.store("old");
        fixture.secrets.holdsReads = true;
        AuthService service(fixture.dependencies());
        fixture.http.answer(HttpResponse{.status = 401, .body = "{}"});
        QVERIFY(!QCoro::waitFor(service.login(kEmail, kPassword)));
        fixture.secrets.answerReads();
        QTRY_COMPARE(service.token(), QStringLiteral("old"));
    }

    void signingInTellsTokenThenUserThenState()
    {
        Fixture fixture;
        AuthService service(fixture.dependencies());
        const QStringList* const heard = record(service);
        fixture.http.answer(signedIn("T"));
        QVERIFY(QCoro::waitFor(service.login(kEmail, kPassword)));
        QCOMPARE(*heard,
                 QStringList({QStringLiteral("token out T"),
                              QStringLiteral("user out T"),
                              QStringLiteral("state in T")}));
        QCOMPARE(fixture.secrets.calls.last(), QStringLiteral("save"));
    }

    void theLastErrorGoesAwayWhenANewSignInBegins()
    {
        Fixture fixture;
        AuthService service(fixture.dependencies());
        fixture.http.answer(HttpResponse{.status = 401, .body = R"({"message":"No"})"});
        QVERIFY(!QCoro::waitFor(service.login(kEmail, kPassword)));
        QCOMPARE(service.lastError(), QStringLiteral("No"));
        const auto running = service.login(kEmail, kPassword);
        QVERIFY(!service.lastError());
        fixture.http.answer(signedIn("T"));
        QTRY_VERIFY(service.isAuthenticated());
        QVERIFY(!service.lastError());
    }

    void aSecondSignInReplacesTokenAndUser()
    {
        Fixture fixture;
        AuthService service(fixture.dependencies());
        fixture.http.answer(signedIn("one"));
        QVERIFY(QCoro::waitFor(service.login(kEmail, kPassword)));
        fixture.http.answer(
            HttpResponse{.status = 200, .body = R"({"success":true,"token":"two"})"});
        QVERIFY(QCoro::waitFor(service.login(kEmail, kPassword)));
        QCOMPARE(service.token(), QStringLiteral("two"));
        QVERIFY(!service.currentUser());
        QCOMPARE(fixture.secrets.secret(AuthService::secretName()), QByteArray("two"));
    }

    void signingOutKeepsTheUserAndTheError()
    {
        Fixture fixture;
        AuthService service(fixture.dependencies());
        fixture.http.answer(signedIn("T"));
        QVERIFY(QCoro::waitFor(service.login(kEmail, kPassword)));
        fixture.http.answer(HttpResponse{.status = 401, .body = R"({"message":"No"})"});
        QVERIFY(!QCoro::waitFor(service.login(kEmail, kPassword)));
        const QStringList* const heard = record(service);
        service.logout();
        QVERIFY(!service.isAuthenticated());
        QVERIFY(!service.token());
        QVERIFY(service.currentUser());
        QCOMPARE(service.lastError(), QStringLiteral("No"));
        QVERIFY(!fixture.secrets.secret(AuthService::secretName()));
        QCOMPARE(*heard,
                 QStringList({QStringLiteral("token in -"), QStringLiteral("state out -")}));
    }

    void aSignOutThatTheKeyringDidNotFollowLasts()
    {
        Fixture fixture;
        fixture.store("T");
        auto service = std::make_unique<AuthService>(fixture.dependencies());
        QVERIFY(service->isAuthenticated());
        fixture.secrets.works = false; // locked, and the prompt is dismissed
        service->logout();
        QVERIFY(service->owesRemoval());
        service = std::make_unique<AuthService>(fixture.dependencies());
        QVERIFY(!service->isAuthenticated());

        fixture.secrets.works = true;
        service = std::make_unique<AuthService>(fixture.dependencies());
        QVERIFY(!service->isAuthenticated());
        QVERIFY(!fixture.secrets.secret(AuthService::secretName()));
        QVERIFY(!service->owesRemoval());
    }

    void theRemovalIsFinishedWhenTheKeyringOpens()
    {
        Fixture fixture;
        fixture.store("T");
        AuthService service(fixture.dependencies());
        fixture.secrets.works = false;
        service.logout();
        // Reading in vain is what has a keyring tell that it opens.
        QCOMPARE(fixture.secrets.calls.last(), QStringLiteral("read"));
        fixture.secrets.works = true;
        Q_EMIT fixture.secrets.becameReadable();
        QVERIFY(!service.isAuthenticated());
        QVERIFY(!fixture.secrets.secret(AuthService::secretName()));
        QVERIFY(!service.owesRemoval());
    }

    void atTheStartNothingIsRemovedThatWouldHaveToBeUnlocked()
    {
        Fixture fixture;
        fixture.store("T");
        fixture.secrets.works = false;
        AuthService(fixture.dependencies()).logout();
        fixture.secrets.calls.clear();
        const AuthService service(fixture.dependencies());
        QCOMPARE(fixture.secrets.calls, QStringList{QStringLiteral("read")});
    }

    void anEndInTheMiddleOfASignOutLeavesTheUserSignedOut()
    {
        Fixture fixture;
        fixture.store("T");
        fixture.secrets.holdsChanges = true;
        AuthService ended(fixture.dependencies());
        ended.logout(); // and nothing is removed before the process ends
        fixture.secrets.holdsChanges = false;
        const AuthService service(fixture.dependencies());
        QVERIFY(!service.isAuthenticated());
        QVERIFY(!fixture.secrets.secret(AuthService::secretName()));
        fixture.secrets.answerChanges();
    }

    void aRemovalThatKeepsFailingIsNotRepeatedForEver()
    {
        Fixture fixture;
        fixture.store("T");
        fixture.secrets.removes = false;
        AuthService service(fixture.dependencies());
        service.logout();
        QCOMPARE(fixture.secrets.calls.count(QStringLiteral("remove")), 2);
        QVERIFY(service.owesRemoval());
        QVERIFY(!service.isAuthenticated());
    }

    void aSignInEndsTheSignOutOnceItsTokenIsKept()
    {
        Fixture fixture;
        fixture.store("old");
        fixture.secrets.works = false;
        AuthService(fixture.dependencies()).logout();
        auto service = std::make_unique<AuthService>(fixture.dependencies());
        fixture.http.answer(signedIn("lost"));
        QVERIFY(QCoro::waitFor(service->login(kEmail, kPassword)));
        QVERIFY(service->owesRemoval()); // the old one is still there
        fixture.secrets.works = true;
        fixture.http.answer(signedIn("kept"));
        QVERIFY(QCoro::waitFor(service->login(kEmail, kPassword)));
        QVERIFY(!service->owesRemoval());
        service = std::make_unique<AuthService>(fixture.dependencies());
        QCOMPARE(service->token(), QStringLiteral("kept"));
    }

    void aSignInOutranksARemovalThatIsUnderWay()
    {
        Fixture fixture;
        fixture.store("old");
        fixture.secrets.holdsChanges = true;
        auto service = std::make_unique<AuthService>(fixture.dependencies());
        service->logout();
        fixture.http.answer(signedIn("new"));
        QVERIFY(QCoro::waitFor(service->login(kEmail, kPassword)));
        QVERIFY(service->isChangingKeyring());
        fixture.secrets.answerChanges();
        QVERIFY(!service->isChangingKeyring());
        QVERIFY(!service->owesRemoval());
        QCOMPARE(service->token(), QStringLiteral("new"));
        QCOMPARE(fixture.secrets.secret(AuthService::secretName()), QByteArray("new"));
    }

    void aSessionSavedByAnotherProcessTakesTheOldOnesPlace()
    {
        Fixture fixture;
        AuthService service(fixture.dependencies());
        fixture.http.answer(signedIn("old"));
        QVERIFY(QCoro::waitFor(service.login(kEmail, kPassword)));
        QVERIFY(service.yieldKeyring());
        fixture.store("new");
        const QStringList* const heard = record(service);
        QVERIFY(QCoro::waitFor(service.resumeSavedSession()));
        QCOMPARE(service.token(), QStringLiteral("new"));
        QVERIFY(service.isAuthenticated());
        QVERIFY(!service.currentUser());
        QCOMPARE(*heard,
                 QStringList({QStringLiteral("user in old"), QStringLiteral("token in new")}));
    }

    void aSessionSavedByAnotherProcessEndsTheSignOut()
    {
        Fixture fixture;
        fixture.store("old");
        fixture.secrets.works = false;
        AuthService service(fixture.dependencies());
        service.logout();
        QVERIFY(service.yieldKeyring());
        fixture.secrets.works = true; // unlocked to save the new one
        Q_EMIT fixture.secrets.becameReadable();
        fixture.store("new");
        QVERIFY(QCoro::waitFor(service.resumeSavedSession()));
        QCOMPARE(service.token(), QStringLiteral("new"));
        QVERIFY(!service.owesRemoval());
    }

    void aSignInElsewhereThatFailedLeavesTheSignOutToBeFinished()
    {
        Fixture fixture;
        fixture.store("old");
        fixture.secrets.works = false;
        AuthService service(fixture.dependencies());
        service.logout();
        QVERIFY(service.yieldKeyring());
        fixture.secrets.works = true;
        Q_EMIT fixture.secrets.becameReadable();
        QVERIFY(fixture.secrets.secret(AuthService::secretName()));
        service.reclaimKeyring();
        QVERIFY(!fixture.secrets.secret(AuthService::secretName()));
        QVERIFY(!service.isAuthenticated());
    }

    void withoutASavedSessionTheSessionStaysAsItWas()
    {
        Fixture fixture;
        AuthService service(fixture.dependencies());
        fixture.http.answer(signedIn("old"));
        QVERIFY(QCoro::waitFor(service.login(kEmail, kPassword)));
        fixture.secrets.works = false;
        QVERIFY(!QCoro::waitFor(service.resumeSavedSession()));
        QCOMPARE(service.token(), QStringLiteral("old"));
        QVERIFY(service.currentUser());
    }

    void aKeyringThatIsBeingChangedIsNotYielded()
    {
        Fixture fixture;
        fixture.store("T");
        fixture.secrets.holdsChanges = true;
        AuthService service(fixture.dependencies());
        service.logout();
        QVERIFY(!service.yieldKeyring());
        fixture.secrets.answerChanges();
        QVERIFY(service.yieldKeyring());
    }

    void theSessionIsKnownFromTheKeyringsFirstAnswer()
    {
        Fixture fixture;
        fixture.secrets.holdsReads = true;
        AuthService service(fixture.dependencies());
        QVERIFY(!service.isSessionKnown());
        int told = 0;
        connect(&service, &AuthService::sessionBecameKnown, &service, [&told] { ++told; });
        fixture.secrets.answerReads();
        QTRY_VERIFY(service.isSessionKnown());
        Q_EMIT fixture.secrets.becameReadable();
        fixture.secrets.answerReads();
        QCoreApplication::processEvents();
        QCOMPARE(told, 1);
    }

    void theSessionIsKnownOnceTheUserHasActed()
    {
        Fixture fixture;
        fixture.secrets.holdsReads = true;
        AuthService service(fixture.dependencies());
        fixture.http.answer(HttpResponse{.status = 401, .body = "{}"});
        QVERIFY(!QCoro::waitFor(service.login(kEmail, kPassword)));
        QVERIFY(!service.isSessionKnown());
        service.logout();
        QVERIFY(service.isSessionKnown());
        fixture.secrets.answerReads();
    }

    void theSessionIsKnownAtOnceWhereASignOutIsRemembered()
    {
        Fixture fixture;
        fixture.store("T");
        fixture.secrets.works = false;
        AuthService(fixture.dependencies()).logout();
        fixture.secrets.holdsReads = true;
        const AuthService service(fixture.dependencies());
        QVERIFY(service.isSessionKnown());
        QVERIFY(!service.isAuthenticated());
        fixture.secrets.answerReads();
    }

    void aKeyringThatFailsLeavesTheSessionForThisRun()
    {
        Fixture fixture;
        fixture.secrets.works = false;
        AuthService service(fixture.dependencies());
        fixture.http.answer(signedIn("T"));
        QVERIFY(QCoro::waitFor(service.login(kEmail, kPassword)));
        QVERIFY(service.isAuthenticated());
        QVERIFY(!service.lastError());
    }

    void anAddressThatDoesNotParseIsSaid_data()
    {
        QTest::addColumn<QString>("url");
        QTest::newRow("bracket") << QStringLiteral("https://[service");
        QTest::newRow("no host") << QStringLiteral("https://");
        QTest::newRow("no scheme") << QStringLiteral("service.example");
        QTest::newRow("empty") << QString();
    }

    void anAddressThatDoesNotParseIsSaid()
    {
        QFETCH(const QString, url);
        Fixture fixture;
        AuthService service(fixture.dependencies(url));
        QVERIFY(!QCoro::waitFor(service.login(kEmail, kPassword)));
        QCOMPARE(service.lastError(), QStringLiteral("Invalid API URL"));
        QVERIFY(fixture.http.requests.isEmpty());
    }

    void aTextThatIsNotUnicodeCannotBeEncoded()
    {
        Fixture fixture;
        AuthService service(fixture.dependencies());
        const QString broken(QChar(0xD800));
        QVERIFY(!QCoro::waitFor(service.login(kEmail, broken)));
        QCOMPARE(service.lastError(), QStringLiteral("Failed to encode request"));
        QVERIFY(fixture.http.requests.isEmpty());
    }

    void anAnswerThatIsNotHttpIsInvalid()
    {
        Fixture fixture;
        AuthService service(fixture.dependencies());
        fixture.http.answer(platform::NotHttp{});
        QVERIFY(!QCoro::waitFor(service.login(kEmail, kPassword)));
        QCOMPARE(service.lastError(), QStringLiteral("Invalid response"));
    }

    void theTimeLimitIsAMinuteAndTheAnswerAMegabyte()
    {
        Fixture fixture;
        AuthService service(fixture.dependencies());
        fixture.http.answer(platform::NotHttp{});
        QVERIFY(!QCoro::waitFor(service.login(kEmail, kPassword)));
        const platform::HttpRequest& request = fixture.http.requests.constFirst();
        QCOMPARE(request.url, QStringLiteral("https://service.example/api/token"));
        QCOMPARE(request.idleLimit, std::chrono::seconds(60));
        QCOMPARE(request.answerLimit, 1'000'000);
        QCOMPARE(request.longAnswer, platform::LongAnswer::Fails);
    }

    void aServiceThatGoesAwayEndsItsSignInsAsFailures()
    {
        Fixture fixture;
        auto service = std::make_unique<AuthService>(fixture.dependencies());
        auto running = service->login(kEmail, kPassword);
        service.reset();
        fixture.http.answer(signedIn("T"));
        QVERIFY(!QCoro::waitFor(std::move(running)));
        QVERIFY(!fixture.secrets.calls.contains(QStringLiteral("save")));
    }

    void twoSignInsAtOnceLeaveTheLastAnswer()
    {
        Fixture fixture;
        AuthService service(fixture.dependencies());
        auto first = service.login(kEmail, kPassword);
        auto second = service.login(kEmail, kPassword);
        fixture.http.answer(signedIn("one"));
        fixture.http.answer(signedIn("two"));
        QVERIFY(QCoro::waitFor(std::move(first)));
        QVERIFY(QCoro::waitFor(std::move(second)));
        QCOMPARE(service.token(), QStringLiteral("two"));
        QCOMPARE(fixture.secrets.secret(AuthService::secretName()), QByteArray("two"));
    }
};

QUILLSTEP_TEST(TestAuthService)
#include "tst_auth_service.moc"
