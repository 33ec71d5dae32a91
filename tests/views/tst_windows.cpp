// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/views/window_bench.h"

#include <QQuickItem>
#include <QTest>

using support::WindowBench;

namespace {

class TestWindows final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void eachWindowOpensWithoutAWarning_data();
    void eachWindowOpensWithoutAWarning();
    void noEngineIsMadeBeforeTheFirstWindow();
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
    bench.windows.openWindow(identifier);
    QQuickWindow* const window = bench.window(identifier);
    QVERIFY(window);
    QVERIFY(QTest::qWaitForWindowExposed(window));
    QCOMPARE(window->title(), title);
    QCOMPARE(window->minimumWidth(), smallest.width());
    QVERIFY(window->minimumHeight() >= smallest.height());
    QVERIFY(!bench.picture(identifier).isNull());
    QCOMPARE(bench.warnings, QStringList());
}

void TestWindows::noEngineIsMadeBeforeTheFirstWindow()
{
    WindowBench bench;
    QVERIFY(!bench.factory.engine());
    bench.windows.openSettings();
    QVERIFY(bench.factory.engine());
}

} // namespace

QTEST_MAIN(TestWindows)
#include "tst_windows.moc"
