// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/test_program.h"
#include "tests/views/view_bench.h"
#include "views/models/login_form.h"

#include <QSignalSpy>
#include <QTest>

using namespace std::chrono_literals;
using platform::HttpResponse;
using support::ViewBench;
using views::LoginForm;

namespace {

/// The form, with notes of what it asks of its surroundings.
struct FormBench : ViewBench
{
    void fillIn()
    {
        attempted = form;
        form->setEmail(QStringLiteral("ada@example.com"));
        form->setPassword(QStringLiteral("secret"));
    }

    void answer(int status, const QByteArray& body)
    {
        fake.httpClient.answer(HttpResponse{.status = status, .body = body});
        // An attempt uses all of this until its end.
        QTRY_VERIFY(!attempted.lock() || !attempted.lock()->isLoading());
    }

    void succeed()
    {
        answer(200, R"({"success":true,"token":"T"})");
        QTRY_VERIFY(auth.isAuthenticated());
    }

    QStringList calls;
    std::weak_ptr<LoginForm> attempted;
    views::LoginViewWrapper wrapper{services, windows, mainQueue, [this](bool value) {
                                        isShowingLogin = value;
                                    }};
    LoginForm::Dependencies uses{.services = services,
                                 .mainQueue = mainQueue,
                                 .activation = activation,
                                 .urlOpener = urlOpener,
                                 .serviceUrl = serviceUrl};
    std::shared_ptr<LoginForm> form =
        LoginForm::create(uses,
                          {.dismiss = [this] { calls.append(QStringLiteral("dismiss")); },
                           .onLoginSuccess =
                               [this] {
                                   calls.append(QStringLiteral("success"));
                                   wrapper.loginSucceeded();
                               },
                           .focusWindow =
                               [this] {
                                   calls.append(QStringLiteral("focus"));
                               }});
};

class TestLoginForm final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void emptyFieldsDoNothing_data();
    void emptyFieldsDoNothing();
    void blanksCountAsFilledIn();
    void returnInTheEmailFieldMovesOn();
    void aSecondSubmitWhileLoadingDoesNothing();
    void theServicesMessageIsShown();
    void theNextAttemptHidesTheMessage();
    void editingKeepsTheMessage();
    void successStartsEverythingAndOpensTheDashboard();
    void aFormThatWasClosedStillCompletes();
    void theFormEndsWithItsSignIn();
    void appearingMakesTheProgramRegular();
    void disappearingMakesItAccessoryAndForgetsThePassword();
    void theWebSiteIsThatOfTheService_data();
    void theWebSiteIsThatOfTheService();
    void aFormWithTextOrAnAttemptIsInUse();
    void aPasswordThatHasServedIsForgotten();
};

void TestLoginForm::emptyFieldsDoNothing_data()
{
    QTest::addColumn<QString>("email");
    QTest::addColumn<QString>("password");
    QTest::newRow("both") << "" << "";
    QTest::newRow("email") << "" << "secret";
    QTest::newRow("password") << "ada@example.com" << "";
}

void TestLoginForm::emptyFieldsDoNothing()
{
    QFETCH(const QString, email);
    QFETCH(const QString, password);
    FormBench bench;
    bench.form->setEmail(email);
    bench.form->setPassword(password);
    QVERIFY(!bench.form->canSubmit());
    bench.form->performLogin();
    QVERIFY(!bench.form->isLoading());
    QCOMPARE(bench.form->errorMessage(), QString());
    QVERIFY(bench.fake.httpClient.requests.isEmpty());
}

void TestLoginForm::blanksCountAsFilledIn()
{
    FormBench bench;
    bench.fillIn();
    bench.form->setEmail(QStringLiteral(" "));
    bench.form->setPassword(QStringLiteral(" "));
    bench.form->performLogin();
    QCOMPARE(bench.fake.httpClient.requests.size(), 1);
    bench.answer(401, "{}");
}

void TestLoginForm::returnInTheEmailFieldMovesOn()
{
    FormBench bench;
    bench.fillIn();
    bench.form->setFocusedField(LoginForm::Field::Email);
    bench.form->submitEmail();
    QCOMPARE(bench.form->focusedField(), LoginForm::Field::Password);
    QVERIFY(bench.fake.httpClient.requests.isEmpty());
}

void TestLoginForm::aSecondSubmitWhileLoadingDoesNothing()
{
    FormBench bench;
    bench.fillIn();
    bench.form->performLogin();
    QVERIFY(bench.form->isLoading());
    QVERIFY(!bench.form->canSubmit());
    bench.form->performLogin();
    QCOMPARE(bench.fake.httpClient.requests.size(), 1);
    bench.answer(401, "{}");
    QTRY_VERIFY(bench.form->canSubmit());
}

void TestLoginForm::theServicesMessageIsShown()
{
    FormBench bench;
    bench.fillIn();
    bench.form->performLogin();
    bench.answer(401, R"({"message":"Go away."})");
    QTRY_COMPARE(bench.form->errorMessage(), QStringLiteral("Go away."));
    QVERIFY(!bench.form->isLoading());
    QCOMPARE(bench.form->email(), QStringLiteral("ada@example.com"));
    QCOMPARE(bench.form->password(), QStringLiteral("secret"));
    QVERIFY(bench.calls.isEmpty());
}

void TestLoginForm::theNextAttemptHidesTheMessage()
{
    FormBench bench;
    bench.fillIn();
    bench.form->performLogin();
    bench.answer(401, R"({"message":"Go away."})");
    QTRY_VERIFY(!bench.form->errorMessage().isEmpty());
    bench.form->performLogin();
    QVERIFY(bench.form->errorMessage().isEmpty());
    bench.answer(401, "{}");
}

void TestLoginForm::editingKeepsTheMessage()
{
    FormBench bench;
    bench.fillIn();
    bench.form->performLogin();
    bench.answer(401, R"({"message":"Go away."})");
    QTRY_VERIFY(!bench.form->errorMessage().isEmpty());
    bench.form->setPassword(QStringLiteral("another"));
    QCOMPARE(bench.form->errorMessage(), QStringLiteral("Go away."));
}

void TestLoginForm::successStartsEverythingAndOpensTheDashboard()
{
    FormBench bench;
    bench.fillIn();
    bench.form->performLogin();
    bench.succeed();
    QTRY_COMPARE(bench.calls, QStringList({QStringLiteral("dismiss"), QStringLiteral("success")}));
    QVERIFY(bench.tracking.isTracking());
    QVERIFY(!bench.isShowingLogin);
    // Of the uploads and of the tracking; that of the uploads was made twice.
    QCOMPARE(bench.fake.repeatingTimers.running(), 2U);
    QCOMPARE(bench.fake.repeatingTimers.scheduled, 3);
    bench.mainQueue.advance(199ms);
    QVERIFY(bench.activation.calls.isEmpty());
    bench.mainQueue.advance(1ms);
    QCOMPARE(bench.activation.calls, QStringList{QStringLiteral("activate")});
}

void TestLoginForm::aFormThatWasClosedStillCompletes()
{
    FormBench bench;
    bench.fillIn();
    bench.form->performLogin();
    bench.form->disappeared();
    bench.form.reset();
    bench.succeed();
    QTRY_COMPARE(bench.calls, QStringList({QStringLiteral("dismiss"), QStringLiteral("success")}));
    QVERIFY(bench.tracking.isTracking());
}

void TestLoginForm::theFormEndsWithItsSignIn()
{
    FormBench bench;
    bench.fillIn();
    const std::weak_ptr<LoginForm> form = bench.form;
    bench.form->performLogin();
    bench.form.reset();
    QVERIFY(!form.expired());
    bench.answer(401, "{}");
    QTRY_VERIFY(form.expired());
}

void TestLoginForm::appearingMakesTheProgramRegular()
{
    FormBench bench;
    bench.form->appeared();
    QVERIFY(bench.activation.calls.isEmpty());
    bench.mainQueue.advance();
    QCOMPARE(bench.activation.calls,
             QStringList({QStringLiteral("regular"), QStringLiteral("activate")}));
    QCOMPARE(bench.calls, QStringList{QStringLiteral("focus")});
    QCOMPARE(bench.form->focusedField(), LoginForm::Field::Email);
}

void TestLoginForm::aFormWithTextOrAnAttemptIsInUse()
{
    FormBench bench;
    QVERIFY(!bench.form->isInUse());
    bench.form->setEmail(QStringLiteral("a"));
    QVERIFY(bench.form->isInUse());
    bench.form->setEmail({});
    bench.form->setPassword(QStringLiteral("b"));
    QVERIFY(bench.form->isInUse());
    bench.fillIn();
    bench.form->performLogin();
    bench.form->setEmail({});
    bench.form->setPassword({});
    QVERIFY(bench.form->isInUse());
    bench.answer(401, "{}");
    QVERIFY(!bench.form->isInUse());
}

void TestLoginForm::aPasswordThatHasServedIsForgotten()
{
    FormBench bench;
    bench.fillIn();
    bench.form->performLogin();
    bench.succeed();
    QTRY_COMPARE(bench.form->password(), QString());
}

void TestLoginForm::disappearingMakesItAccessoryAndForgetsThePassword()
{
    FormBench bench;
    bench.fillIn();
    bench.form->disappeared();
    QCOMPARE(bench.form->password(), QString());
    QVERIFY(bench.activation.calls.isEmpty());
    bench.mainQueue.advance();
    QCOMPARE(bench.activation.calls, QStringList{QStringLiteral("accessory")});
}

void TestLoginForm::theWebSiteIsThatOfTheService_data()
{
    QTest::addColumn<QString>("service");
    QTest::addColumn<QString>("shown");
    QTest::addColumn<QString>("opened");
    QTest::newRow("host") << "https://service.example" << "service.example"
                          << "https://service.example";
    QTest::newRow("port") << "https://service.example:8443" << "service.example"
                          << "https://service.example";
    QTest::newRow("this machine") << "http://127.0.0.1:8787" << "127.0.0.1"
                                  << "http://127.0.0.1:8787";
    QTest::newRow("by name") << "http://localhost" << "localhost" << "http://localhost";
    QTest::newRow("IPv6") << "http://[::1]:80" << "::1" << "http://[::1]:80";
    QTest::newRow("TLS") << "https://127.0.0.1:8443" << "127.0.0.1" << "https://127.0.0.1";
}

void TestLoginForm::theWebSiteIsThatOfTheService()
{
    QFETCH(const QString, service);
    FormBench bench;
    bench.uses.serviceUrl = service;
    const auto form = LoginForm::create(bench.uses, {});
    QTEST(form->serviceHost(), "shown");
    form->openWebSite();
    QTEST(bench.urlOpener.opened.join(u' '), "opened");
}

} // namespace

QUILLSTEP_TEST(TestLoginForm)
#include "tst_login_form.moc"
