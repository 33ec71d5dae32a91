// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/test_program.h"
#include "tests/views/window_bench.h"

#include <QAccessible>
#include <QGuiApplication>
#include <QTest>

#if __has_include(<private/qguiapplication_p.h>)
#include <qpa/qplatformaccessibility.h>
#include <qpa/qplatformintegration.h>

#include <private/qguiapplication_p.h>
#define HAS_PRIVATE_HEADERS
#endif

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

void type(QQuickWindow& window, const QByteArray& text)
{
    for (const char c : text)
        QTest::keyClick(&window, c);
}

/// Notes what assistive programs are told as something changes, and what they can ask for then, in
/// place of telling them.
class EventRecorder final
{
public:
    EventRecorder()
        : m_before(QAccessible::installUpdateHandler(note))
    {
        forget();
        setActive(true);
    }

    ~EventRecorder()
    {
        setActive(false);
        QAccessible::installUpdateHandler(m_before);
    }

    EventRecorder(const EventRecorder&) = delete;
    EventRecorder& operator=(const EventRecorder&) = delete;

    static void forget()
    {
        s_told.clear();
        s_count = 0;
    }

    /// The texts of all events in one.
    static QString told() { return s_told; }

    /// Of the events of any kind.
    static int count() { return s_count; }

private:
    /// As if an assistive program were there, without which nothing is told.
    static void setActive(bool active)
    {
#ifdef HAS_PRIVATE_HEADERS
        QGuiApplicationPrivate::platformIntegration()->accessibility()->setActive(active);
#else
        QVERIFY2(!active, "built without qt6-base-private-dev: scripts/setup.sh test");
#endif
    }

    /// What an assistive program can ask for when it hears of an event.
    static QString askedOf(QAccessibleInterface* interface)
    {
        if (!interface || !interface->isValid())
            return {};
        QString all;
        for (const auto kind : {QAccessible::Name, QAccessible::Description, QAccessible::Value})
            all += interface->text(kind);
        if (QAccessibleTextInterface* const text = interface->textInterface())
            all += text->text(0, text->characterCount());
        return all;
    }

    static void note(QAccessibleEvent* event)
    {
        ++s_count;
        // Asking makes what is asked for, which is an event, too.
        if (s_asks && event->type() != QAccessible::ObjectCreated) {
            s_asks = false;
            s_told += askedOf(event->accessibleInterface());
            s_asks = true;
        }
        switch (event->type()) {
        case QAccessible::TextInserted:
            s_told += static_cast<QAccessibleTextInsertEvent*>(event)->textInserted();
            break;
        case QAccessible::TextRemoved:
            s_told += static_cast<QAccessibleTextRemoveEvent*>(event)->textRemoved();
            break;
        case QAccessible::TextUpdated:
            s_told += static_cast<QAccessibleTextUpdateEvent*>(event)->textInserted();
            s_told += static_cast<QAccessibleTextUpdateEvent*>(event)->textRemoved();
            break;
        case QAccessible::ValueChanged:
            s_told += static_cast<QAccessibleValueChangeEvent*>(event)->value().toString();
            break;
        default:
            break;
        }
    }

    static inline QString s_told;
    static inline int s_count = 0;
    static inline bool s_asks = true;
    QAccessible::UpdateHandler m_before;
};

class TestWindowAccessibility final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void thePasswordIsNotTold();
    void noEventTellsThePassword();
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

void TestWindowAccessibility::noEventTellsThePassword()
{
    const EventRecorder recorder;
    WindowBench bench;
    bench.windows.openWindow(shell::kLoginWindow);
    QQuickWindow* const window = WindowBench::window(shell::kLoginWindow);
    QVERIFY(QTest::qWaitForWindowActive(window));
    bench.mainQueue.advance();
    // That events come at all and lead to what is typed is seen at the other field.
    EventRecorder::forget();
    type(*window, "q7z39");
    QVERIFY(EventRecorder::count() >= 5);
    QVERIFY2(EventRecorder::told().contains(QStringLiteral("q7z39")),
             qPrintable(EventRecorder::told()));
    QTest::keyClick(window, Qt::Key_Tab);
    EventRecorder::forget();
    type(*window, "q7z39");
    QTest::keyClick(window, Qt::Key_Left);
    QTest::keyClick(window, Qt::Key_Left, Qt::ShiftModifier);
    QTest::keyClick(window, Qt::Key_Delete);
    QTest::keyClick(window, Qt::Key_Backspace);
    type(*window, "8");
    QVERIFY(EventRecorder::count() >= 5);
    for (const char c : QByteArray("q7z398"))
        QVERIFY2(!EventRecorder::told().contains(QLatin1Char(c)),
                 qPrintable(EventRecorder::told()));
    QAccessibleInterface* const field =
        named(window, QStringLiteral("Password"), QAccessible::EditableText);
    QVERIFY(field);
    QVERIFY(field->text(QAccessible::Value).isEmpty());
    QVERIFY(!field->textInterface());
    QVERIFY(!field->editableTextInterface());
    QVERIFY(!field->valueInterface());
    QCOMPARE(bench.warnings, QStringList());
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
        if (!interface->state().focusable || interface->state().invisible ||
            interface->role() == QAccessible::Window)
            continue;
        ++controls;
        QVERIFY2(!interface->text(QAccessible::Name).isEmpty(),
                 interface->object()->metaObject()->className());
    }
    QVERIFY2(controls >= 3, qPrintable(QString::number(controls)));
}

} // namespace

QUILLSTEP_TEST_WITH(TestWindowAccessibility, QGuiApplication)
#include "tst_window_accessibility.moc"
