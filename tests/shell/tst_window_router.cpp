// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/url_opener.h"
#include "shell/window_router.h"
#include "tests/fakes/fake_app_activation.h"
#include "tests/support/recording_windows.h"
#include "tests/support/test_program.h"

#include <QTest>

using shell::Scene;
using shell::WindowRouter;
using support::RecordingWindows;

class TestWindowRouter final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void theScenesAreWhatTheDesktopSees()
    {
        const auto& all = shell::scenes();
        QCOMPARE(all.size(), 4U);
        QCOMPARE(all[0].kind, Scene::Kind::MenuBarExtra);
        QCOMPARE(all[0].title, QStringLiteral("Velomira"));
        QCOMPARE(all[0].symbol, QStringLiteral("chart.bar.fill"));
        QCOMPARE(all[1].identifier, QStringLiteral("dashboard"));
        QCOMPARE(all[1].title, QStringLiteral("Dashboard"));
        QCOMPARE(all[1].defaultSize, QSize(800, 600));
        QCOMPARE(all[1].handlesExternalEventsMatching, QStringList{QStringLiteral("dashboard")});
        QCOMPARE(all[2].identifier, QStringLiteral("login"));
        QCOMPARE(all[2].title, QStringLiteral("Login"));
        QVERIFY(!all[2].defaultSize);
        QCOMPARE(all[2].handlesExternalEventsMatching, QStringList{QStringLiteral("login")});
        QCOMPARE(all[3].kind, Scene::Kind::Settings);
        QVERIFY(all[3].handlesExternalEventsMatching.isEmpty());
    }

    void noWindowExistsUntilItIsAskedFor()
    {
        RecordingWindows windows;
        fakes::FakeAppActivation activation;
        WindowRouter router(activation);
        router.setFactory(&windows);
        QVERIFY(windows.events.isEmpty());
        QVERIFY(!router.hasVisibleWindows());
        router.openWindow(QStringLiteral("login"));
        QCOMPARE(windows.events,
                 (QStringList{QStringLiteral("create login"), QStringLiteral("present login")}));
        QVERIFY(router.hasVisibleWindows());
        QVERIFY(router.isOpen(QStringLiteral("login")));
    }

    void theFirstWindowIsToldBeforeItIsMadeAndTheLastOneAfterItHasGone()
    {
        RecordingWindows windows;
        fakes::FakeAppActivation activation;
        WindowRouter router(activation);
        router.setFactory(&windows);
        activation.whenToldOfWindows = [&windows](bool hasWindows) {
            windows.events.append(hasWindows ? QStringLiteral("some") : QStringLiteral("none"));
            QVERIFY(windows.open().isEmpty());
        };
        router.openWindow(QStringLiteral("login"));
        router.openWindow(QStringLiteral("dashboard"));
        router.openWindow(QStringLiteral("login"));
        router.dismissWindow(QStringLiteral("login"));
        QCOMPARE(windows.events.count(QStringLiteral("none")), 0);
        router.dismissWindow(QStringLiteral("dashboard"));
        QCOMPARE(windows.events.count(QStringLiteral("some")), 1);
        QCOMPARE(windows.events.first(), QStringLiteral("some"));
        QCOMPARE(windows.events.count(QStringLiteral("none")), 1);
        QCOMPARE(windows.events.last(), QStringLiteral("none"));
        router.openWindow(QStringLiteral("login"));
        router.closeAll();
        QCOMPARE(windows.events.count(QStringLiteral("some")), 2);
        QCOMPARE(windows.events.last(), QStringLiteral("none"));
    }

    void askedForTwiceThereIsOneBroughtForward()
    {
        RecordingWindows windows;
        fakes::FakeAppActivation activation;
        WindowRouter router(activation);
        router.setFactory(&windows);
        router.openWindow(QStringLiteral("login"));
        windows.events.clear();
        router.openWindow(QStringLiteral("login"));
        QCOMPARE(windows.events, QStringList{QStringLiteral("present login")});
        QCOMPARE(windows.open(), QStringList{QStringLiteral("login")});
    }

    void unknownIdentifiersOpenNothing()
    {
        RecordingWindows windows;
        fakes::FakeAppActivation activation;
        WindowRouter router(activation);
        router.setFactory(&windows);
        router.openWindow(QStringLiteral("Login"));
        router.openWindow(QString());
        QVERIFY(windows.events.isEmpty());
    }

    void withoutFactoryNothingOpens()
    {
        fakes::FakeAppActivation activation;
        WindowRouter router(activation);
        router.openWindow(QStringLiteral("login"));
        QVERIFY(!router.isOpen(QStringLiteral("login")));
    }

    void aClosedWindowIsMadeAnew()
    {
        RecordingWindows windows;
        fakes::FakeAppActivation activation;
        WindowRouter router(activation);
        router.setFactory(&windows);
        router.openSettings();
        windows.close(QStringLiteral("settings"));
        QVERIFY(!router.isOpen(QStringLiteral("settings")));
        router.openSettings();
        QCOMPARE(windows.events.count(QStringLiteral("create settings")), 2);
        router.dismissWindow(QStringLiteral("settings"));
        router.dismissWindow(QStringLiteral("settings"));
        QVERIFY(windows.open().isEmpty());
    }

    void aMinimisedWindowIsNotVisible()
    {
        RecordingWindows windows;
        fakes::FakeAppActivation activation;
        WindowRouter router(activation);
        router.setFactory(&windows);
        router.openWindow(QStringLiteral("dashboard"));
        windows.minimise(QStringLiteral("dashboard"));
        QVERIFY(!router.hasVisibleWindows());
        router.openWindow(QStringLiteral("dashboard"));
        QVERIFY(router.hasVisibleWindows());
    }

    void itKnowsWhichWasAskedForLast()
    {
        RecordingWindows windows;
        fakes::FakeAppActivation activation;
        WindowRouter router(activation);
        router.setFactory(&windows);
        const QString dashboard = QStringLiteral("dashboard");
        QVERIFY(!router.isAskedForLast(dashboard));
        router.openWindow(dashboard);
        QVERIFY(router.isAskedForLast(dashboard));
        router.openSettings();
        QVERIFY(!router.isAskedForLast(dashboard));
        router.openWindow(dashboard);
        QVERIFY(router.isAskedForLast(dashboard));
        router.openSettings();
        windows.close(QStringLiteral("settings"));
        QVERIFY(router.isAskedForLast(dashboard));
    }

    void addressesAreRoutedByWhatTheyContain_data()
    {
        QTest::addColumn<QString>("url");
        QTest::addColumn<bool>("isOurs");
        QTest::addColumn<QString>("window");
        QTest::newRow("login") << "velomira://login" << true << "login";
        QTest::newRow("dashboard") << "velomira://dashboard" << true << "dashboard";
        QTest::newRow("parameters are not read") << "velomira://login/x?a=b#c" << true << "login";
        QTest::newRow("no slashes") << "velomira:dashboard" << true << "dashboard";
        QTest::newRow("scheme in capitals") << "VELOMIRA://login" << true << "login";
        QTest::newRow("both: the first scene")
            << "velomira://login?to=dashboard" << true << "dashboard";
        QTest::newRow("neither") << "velomira://settings" << true << QString();
        QTest::newRow("nothing") << "velomira:" << true << QString();
        QTest::newRow("another scheme") << "https://login" << false << "login";
        QTest::newRow("a scheme like ours") << "velomira2://login" << false << "login";
        QTest::newRow("no scheme") << "login" << false << "login";
        QTest::newRow("empty") << QString() << false << QString();
    }

    void addressesAreRoutedByWhatTheyContain()
    {
        QFETCH(QString, url);
        QFETCH(bool, isOurs);
        QFETCH(QString, window);
        QCOMPARE(platform::isOwnUrl(url), isOurs);
        QCOMPARE(shell::windowFor(url).value_or(QString()), window);
    }
};

QUILLSTEP_TEST(TestWindowRouter)
#include "tst_window_router.moc"
