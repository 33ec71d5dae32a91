// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/views/window_bench.h"

#include <QAccessible>
#include <QTest>

using support::WindowBench;

namespace {

/// All that can be reached below `interface`, itself included.
void collect(QAccessibleInterface* interface, QList<QAccessibleInterface*>& all)
{
    if (!interface)
        return;
    all.append(interface);
    for (int i = 0; i < interface->childCount(); ++i)
        collect(interface->child(i), all);
}

QList<QAccessibleInterface*> tree(QWindow* window)
{
    QList<QAccessibleInterface*> all;
    collect(QAccessible::queryAccessibleInterface(window), all);
    return all;
}

QAccessibleInterface* named(QWindow* window, const QString& name, QAccessible::Role role)
{
    for (QAccessibleInterface* interface : tree(window)) {
        if (interface->text(QAccessible::Name) == name && interface->role() == role &&
            !interface->state().invisible)
            return interface;
    }
    return nullptr;
}

class TestWindowAccessibility final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void thePasswordIsNotTold();
    void fieldsAreNamed();
    void iconsHaveNames();
    void disabledButtonsSaySo();
    void everyControlHasAName_data();
    void everyControlHasAName();
};

void TestWindowAccessibility::thePasswordIsNotTold()
{
    WindowBench bench;
    bench.windows.openWindow(shell::kLoginWindow);
    QQuickWindow* const window = WindowBench::window(shell::kLoginWindow);
    QVERIFY(QTest::qWaitForWindowActive(window));
    bench.mainQueue.advance();
    QTest::keyClick(window, Qt::Key_Tab);
    QAccessibleInterface* const field =
        named(window, QStringLiteral("Password"), QAccessible::EditableText);
    QVERIFY(field);
    QVERIFY(field->state().focused);
    for (const char c : QByteArray("xyzzy"))
        QTest::keyClick(window, c);
    QVERIFY(field->state().passwordEdit);
    const QString told = QStringLiteral("xyzzy");
    for (QAccessibleInterface* interface : tree(window)) {
        for (const auto kind : {QAccessible::Name,
                                QAccessible::Description,
                                QAccessible::Value,
                                QAccessible::Help,
                                QAccessible::Accelerator})
            QVERIFY2(!interface->text(kind).contains(told), qPrintable(interface->text(kind)));
        if (QAccessibleTextInterface* const text = interface->textInterface()) {
            const QString all = text->text(0, text->characterCount());
            QVERIFY2(!all.contains(told), qPrintable(all));
        }
    }
}

void TestWindowAccessibility::fieldsAreNamed()
{
    WindowBench bench;
    bench.windows.openWindow(shell::kLoginWindow);
    QQuickWindow* const window = WindowBench::window(shell::kLoginWindow);
    QVERIFY(QTest::qWaitForWindowActive(window));
    QVERIFY(named(window, QStringLiteral("Email"), QAccessible::EditableText));
    QVERIFY(named(window, QStringLiteral("Password"), QAccessible::EditableText));
    QVERIFY(named(window, QStringLiteral("Create one at service.example"), QAccessible::Link));
}

void TestWindowAccessibility::iconsHaveNames()
{
    WindowBench bench;
    bench.windows.openWindow(shell::kDashboardWindow);
    QQuickWindow* const window = WindowBench::window(shell::kDashboardWindow);
    QVERIFY(QTest::qWaitForWindowActive(window));
    QVERIFY(named(window, QStringLiteral("Sync Now"), QAccessible::Button));
    QVERIFY(named(window, QStringLiteral("Settings"), QAccessible::Button));
}

void TestWindowAccessibility::disabledButtonsSaySo()
{
    WindowBench bench;
    bench.windows.openWindow(shell::kDashboardWindow);
    QQuickWindow* const window = WindowBench::window(shell::kDashboardWindow);
    QVERIFY(QTest::qWaitForWindowActive(window));
    QAccessibleInterface* const button =
        named(window, QStringLiteral("Sync Now"), QAccessible::Button);
    QVERIFY(button->state().disabled);
    bench.signIn();
    QVERIFY(!button->state().disabled);
}

void TestWindowAccessibility::everyControlHasAName_data()
{
    QTest::addColumn<QString>("identifier");
    for (const QString& identifier :
         {shell::kDashboardWindow, shell::kLoginWindow, shell::kSettingsWindow})
        QTest::newRow(qPrintable(identifier)) << identifier;
}

void TestWindowAccessibility::everyControlHasAName()
{
    QFETCH(const QString, identifier);
    WindowBench bench;
    bench.signIn();
    bench.windows.openWindow(identifier);
    QQuickWindow* const window = WindowBench::window(identifier);
    QVERIFY(QTest::qWaitForWindowActive(window));
    int controls = 0;
    for (QAccessibleInterface* interface : tree(window)) {
        if (!interface->state().focusable || interface->role() == QAccessible::Window)
            continue;
        ++controls;
        QVERIFY2(!interface->text(QAccessible::Name).isEmpty(),
                 qPrintable(QDebug::toString(interface->role())));
    }
    QVERIFY2(controls >= 3, qPrintable(QString::number(controls)));
}

} // namespace

QTEST_MAIN(TestWindowAccessibility)
#include "tst_window_accessibility.moc"
