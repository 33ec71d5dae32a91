// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/test_program.h"
#include "tests/views/window_bench.h"

#include <QFile>
#include <QGuiApplication>
#include <QQmlEngine>
#include <QQuickItem>
#include <QSignalSpy>
#include <QTest>

using support::WindowBench;

namespace {

QQuickWindow* open(WindowBench& bench, const QString& identifier)
{
    bench.windows.openWindow(identifier);
    QQuickWindow* const window = WindowBench::window(identifier);
    return window && QTest::qWaitForWindowActive(window) ? window : nullptr;
}

/// The name of what has the keyboard.
QString focused(const QQuickWindow& window)
{
    const QObject* const item = window.activeFocusItem();
    if (!item)
        return {};
    for (const char* property : {"placeholderText", "description", "label", "text"}) {
        if (const QString name = item->property(property).toString(); !name.isEmpty())
            return name;
    }
    return {};
}

void type(QQuickWindow& window, const QByteArray& text)
{
    for (const char c : text)
        QTest::keyClick(&window, c);
}

qsizetype liveObjects(const QObject* root)
{
    return root->findChildren<QObject*>().size();
}

class TestWindows final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void eachWindowOpensWithoutAWarning_data();
    void eachWindowOpensWithoutAWarning();
    void noEngineIsMadeBeforeTheFirstWindow();
    void everySymbolIsThere();
    void tabGoesAroundTheDashboard();
    void arrowKeysChangeTheRange();
    void shortcutsWorkInEveryWindow_data();
    void shortcutsWorkInEveryWindow();
    void escapeClosesLoginAndSettingsOnly();
    void returnSignsInFromThePasswordField();
    void returnInTheEmailFieldDoesNotSignIn();
    void signingInClosesTheLoginWindow();
    void closingTheLoginWindowMakesTheProgramAccessory();
    void aReopenedDashboardBeginsAnew();
    void theSliderStoresItsEnds();
    void theSwitchFlipsBackWhenRefused();
    void openingAndClosingLeavesNothingBehind();
};

void TestWindows::eachWindowOpensWithoutAWarning_data()
{
    QTest::addColumn<QString>("identifier");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QSize>("smallest");
    QTest::newRow("dashboard") << "dashboard" << "Dashboard" << QSize(800, 600);
    QTest::newRow("login") << "login" << "Login" << QSize(360, 0);
    QTest::newRow("settings") << "settings" << "Settings" << QSize(480, 620);
}

void TestWindows::eachWindowOpensWithoutAWarning()
{
    QFETCH(const QString, identifier);
    QFETCH(const QString, title);
    QFETCH(const QSize, smallest);
    WindowBench bench;
    QQuickWindow* const window = open(bench, identifier);
    QVERIFY(window);
    QVERIFY(window->title().startsWith(title));
    QCOMPARE(window->minimumWidth(), smallest.width());
    QVERIFY(window->minimumHeight() >= smallest.height());
    const bool isResizable = identifier == shell::kDashboardWindow;
    QCOMPARE(window->maximumSize() != window->minimumSize(), isResizable);
    QVERIFY(!WindowBench::picture(identifier).isNull());
    QCOMPARE(bench.warnings, QStringList());
}

void TestWindows::noEngineIsMadeBeforeTheFirstWindow()
{
    WindowBench bench;
    QVERIFY(!bench.factory.engine());
    bench.windows.openSettings();
    QVERIFY(bench.factory.engine());
}

void TestWindows::everySymbolIsThere()
{
    WindowBench bench;
    int symbols = 0;
    for (const QString& identifier : {shell::kDashboardWindow, shell::kSettingsWindow}) {
        const QQuickWindow* const window = open(bench, identifier);
        QVERIFY(window);
        for (const QQuickItem* item : window->findChildren<QQuickItem*>()) {
            const QString source = item->property("source").toUrl().path();
            const QString name = item->property("name").toString();
            if (name.isEmpty() || source.isEmpty())
                continue;
            ++symbols;
            QVERIFY2(QFile::exists(QStringLiteral(":/symbols/%1.svg").arg(name)), qPrintable(name));
        }
    }
    QVERIFY(symbols >= 10);
}

void TestWindows::tabGoesAroundTheDashboard()
{
    WindowBench bench;
    bench.signIn();
    QQuickWindow* const window = open(bench, shell::kDashboardWindow);
    QVERIFY(window);
    QStringList order;
    for (int i = 0; i < 5; ++i) {
        QTest::keyClick(window, Qt::Key_Tab);
        order.append(focused(*window));
    }
    QCOMPARE(order,
             QStringList({QStringLiteral("Logout"),
                          QStringLiteral("Settings"),
                          QStringLiteral("Time Range"),
                          QStringLiteral("Sync Now"),
                          QStringLiteral("Resume")}));
    QTest::keyClick(window, Qt::Key_Return);
    QVERIFY(bench.tracking.isTracking());
    QTest::keyClick(window, Qt::Key_Space);
    QVERIFY(!bench.tracking.isTracking());
}

void TestWindows::arrowKeysChangeTheRange()
{
    WindowBench bench;
    bench.add("Yesterday's", 60);
    bench.fake.clock.time += 2 * 86400;
    QQuickWindow* const window = open(bench, shell::kDashboardWindow);
    QVERIFY(window);
    while (focused(*window) != QLatin1StringView("Time Range"))
        QTest::keyClick(window, Qt::Key_Tab);
    QObject* const picker = window->activeFocusItem();
    QTest::keyClick(window, Qt::Key_Right);
    QCOMPARE(picker->property("selected").toInt(), 1);
    QTest::keyClick(window, Qt::Key_Right);
    QCOMPARE(picker->property("selected").toInt(), 1);
    QTest::keyClick(window, Qt::Key_Left);
    QCOMPARE(picker->property("selected").toInt(), 0);
}

void TestWindows::shortcutsWorkInEveryWindow_data()
{
    QTest::addColumn<QString>("identifier");
    for (const QString& identifier :
         {shell::kDashboardWindow, shell::kLoginWindow, shell::kSettingsWindow})
        QTest::newRow(qPrintable(identifier)) << identifier;
}

void TestWindows::shortcutsWorkInEveryWindow()
{
    QFETCH(const QString, identifier);
    WindowBench bench;
    bench.signIn();
    QSignalSpy quit(&bench.menu, &shell::AppMenu::quitRequested);
    QQuickWindow* const window = open(bench, identifier);
    QVERIFY(window);
    QTest::keyClick(window, Qt::Key_Q, Qt::ControlModifier);
    QCOMPARE(quit.count(), 1);
    QTest::keyClick(window, Qt::Key_D, Qt::ControlModifier);
    QVERIFY(bench.windows.isOpen(shell::kDashboardWindow));
    QVERIFY(open(bench, identifier));
    QTest::keyClick(window, Qt::Key_Comma, Qt::ControlModifier);
    QVERIFY(bench.windows.isOpen(shell::kSettingsWindow));
}

void TestWindows::escapeClosesLoginAndSettingsOnly()
{
    WindowBench bench;
    for (const QString& identifier : {shell::kLoginWindow, shell::kSettingsWindow}) {
        QQuickWindow* const window = open(bench, identifier);
        QVERIFY(window);
        QTest::keyClick(window, Qt::Key_Escape);
        QTRY_VERIFY(!bench.windows.isOpen(identifier));
    }
    QQuickWindow* const dashboard = open(bench, shell::kDashboardWindow);
    QVERIFY(dashboard);
    QTest::keyClick(dashboard, Qt::Key_Escape);
    QCoreApplication::processEvents();
    QVERIFY(bench.windows.isOpen(shell::kDashboardWindow));
}

void TestWindows::returnSignsInFromThePasswordField()
{
    WindowBench bench;
    QQuickWindow* const window = open(bench, shell::kLoginWindow);
    QVERIFY(window);
    bench.mainQueue.advance();
    QCOMPARE(focused(*window), QStringLiteral("Email"));
    type(*window, "ada@example.com");
    QTest::keyClick(window, Qt::Key_Return);
    QCOMPARE(focused(*window), QStringLiteral("Password"));
    QVERIFY(bench.fake.httpClient.requests.isEmpty());
    type(*window, "secret");
    QTest::keyClick(window, Qt::Key_Return);
    QCOMPARE(bench.fake.httpClient.requests.size(), 1);
    QTest::keyClick(window, Qt::Key_Return);
    QCOMPARE(bench.fake.httpClient.requests.size(), 1);
    bench.fake.httpClient.answer(
        platform::HttpResponse{.status = 401, .body = R"({"message":"No."})"});
    QTRY_VERIFY(bench.auth.lastError());
    QTest::keyClick(window, Qt::Key_Return);
    QTRY_COMPARE(bench.fake.httpClient.requests.size(), 2);
    bench.fake.httpClient.answer(platform::HttpResponse{.status = 401, .body = "{}"});
    QTRY_VERIFY(bench.auth.lastError());
}

void TestWindows::returnInTheEmailFieldDoesNotSignIn()
{
    WindowBench bench;
    QQuickWindow* const window = open(bench, shell::kLoginWindow);
    QVERIFY(window);
    bench.mainQueue.advance();
    type(*window, "a");
    QTest::keyClick(window, Qt::Key_Tab);
    type(*window, "b");
    QTest::keyClick(window, Qt::Key_Backtab);
    QCOMPARE(focused(*window), QStringLiteral("Email"));
    QTest::keyClick(window, Qt::Key_Return);
    QCOMPARE(focused(*window), QStringLiteral("Password"));
    QVERIFY(bench.fake.httpClient.requests.isEmpty());
}

void TestWindows::signingInClosesTheLoginWindow()
{
    WindowBench bench;
    bench.fake.httpClient.answer(
        platform::HttpResponse{.status = 200, .body = R"({"success":true,"token":"T"})"});
    QQuickWindow* const window = open(bench, shell::kLoginWindow);
    QVERIFY(window);
    bench.mainQueue.advance();
    type(*window, "a");
    QTest::keyClick(window, Qt::Key_Tab);
    type(*window, "b");
    QTest::keyClick(window, Qt::Key_Return);
    QTRY_VERIFY(!bench.windows.isOpen(shell::kLoginWindow));
    QVERIFY(!bench.isShowingLogin);
    bench.mainQueue.advance(std::chrono::milliseconds(200));
    QVERIFY(bench.windows.isOpen(shell::kDashboardWindow));
    QCOMPARE(bench.warnings, QStringList());
}

void TestWindows::closingTheLoginWindowMakesTheProgramAccessory()
{
    WindowBench bench;
    QVERIFY(open(bench, shell::kLoginWindow));
    bench.mainQueue.advance();
    QCOMPARE(bench.activation.calls,
             QStringList({QStringLiteral("regular"), QStringLiteral("activate")}));
    bench.windows.dismissWindow(shell::kLoginWindow);
    bench.mainQueue.advance();
    QCOMPARE(bench.activation.calls.last(), QStringLiteral("accessory"));
    QCOMPARE(bench.activation.calls.size(), 3);
}

void TestWindows::aReopenedDashboardBeginsAnew()
{
    WindowBench bench;
    QQuickWindow* window = open(bench, shell::kDashboardWindow);
    QVERIFY(window);
    while (focused(*window) != QLatin1StringView("Time Range"))
        QTest::keyClick(window, Qt::Key_Tab);
    QTest::keyClick(window, Qt::Key_Right);
    window->close();
    QTRY_VERIFY(!bench.windows.isOpen(shell::kDashboardWindow));
    window = open(bench, shell::kDashboardWindow);
    QVERIFY(window);
    while (focused(*window) != QLatin1StringView("Time Range"))
        QTest::keyClick(window, Qt::Key_Tab);
    QCOMPARE(window->activeFocusItem()->property("selected").toInt(), 0);
}

void TestWindows::theSliderStoresItsEnds()
{
    WindowBench bench;
    QQuickWindow* const window = open(bench, shell::kSettingsWindow);
    QVERIFY(window);
    while (focused(*window) != QLatin1StringView("Sync Interval"))
        QTest::keyClick(window, Qt::Key_Tab);
    const QString key = QStringLiteral("syncInterval");
    QVERIFY(!bench.fake.userDefaults.string(key));
    for (int i = 0; i < 70; ++i)
        QTest::keyClick(window, Qt::Key_Right);
    QCOMPARE(bench.fake.userDefaults.integer(key), 60);
    for (int i = 0; i < 70; ++i)
        QTest::keyClick(window, Qt::Key_Left);
    QCOMPARE(bench.fake.userDefaults.integer(key), 1);
}

void TestWindows::theSwitchFlipsBackWhenRefused()
{
    WindowBench bench;
    bench.loginItem.fault = QStringLiteral("disk full");
    QQuickWindow* const window = open(bench, shell::kSettingsWindow);
    QVERIFY(window);
    while (focused(*window) != QLatin1StringView("Launch at Login"))
        QTest::keyClick(window, Qt::Key_Tab);
    const QObject* const toggle = window->activeFocusItem();
    QTest::keyClick(window, Qt::Key_Space);
    QVERIFY(!toggle->property("checked").toBool());
    QVERIFY(bench.fake.diagnostics.lines().contains(
        QStringLiteral("Failed to enable launch at login: disk full")));
    bench.loginItem.fault.clear();
    QTest::keyClick(window, Qt::Key_Space);
    QVERIFY(toggle->property("checked").toBool());
    QVERIFY(bench.loginItem.enabled);
}

void TestWindows::openingAndClosingLeavesNothingBehind()
{
    WindowBench bench;
    bench.signIn();
    const QStringList all{shell::kDashboardWindow, shell::kLoginWindow, shell::kSettingsWindow};
    qsizetype after = 0;
    for (int i = 0; i < 60; ++i) {
        for (const QString& identifier : all)
            QVERIFY(open(bench, identifier));
        bench.windows.closeAll();
        bench.mainQueue.advance();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(QGuiApplication::topLevelWindows().isEmpty());
        const qsizetype now = liveObjects(bench.factory.engine()) + liveObjects(qApp);
        if (i == 10)
            after = now;
        if (i > 10)
            QCOMPARE(now, after);
    }
}

} // namespace

QUILLSTEP_TEST_WITH(TestWindows, QGuiApplication)
#include "tst_windows.moc"
