// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/views/window_bench.h"

#include <QColor>
#include <QFont>
#include <QQuickItem>
#include <QTest>

using support::WindowBench;

// Outside of any namespace, as Qt's macros want them.

/// Unregisters the logo, as if the program had been built without.
static void takeLogoAway()
{
    Q_CLEANUP_RESOURCE(view_logo);
}

static void bringLogoBack()
{
    Q_INIT_RESOURCE(view_logo);
}

namespace {

struct WithoutLogo
{
    WithoutLogo() { takeLogoAway(); }

    ~WithoutLogo() { bringLogoBack(); }

    WithoutLogo(const WithoutLogo&) = delete;
    WithoutLogo& operator=(const WithoutLogo&) = delete;
};

QQuickWindow* open(WindowBench& bench, const QString& identifier)
{
    bench.windows.openWindow(identifier);
    QQuickWindow* const window = WindowBench::window(identifier);
    return window && QTest::qWaitForWindowActive(window) ? window : nullptr;
}

void collect(QQuickItem* item, QList<QQuickItem*>& all)
{
    all.append(item);
    for (QQuickItem* child : item->childItems())
        collect(child, all);
}

/// As they lie in each other: what a model makes has no other parent.
QList<QQuickItem*> allItems(const QQuickWindow& window)
{
    QList<QQuickItem*> all;
    collect(window.contentItem(), all);
    return all;
}

/// What is on screen and has `value` as `property`.
QList<QQuickItem*>
itemsWith(const QQuickWindow& window, const char* property, const QVariant& value)
{
    QList<QQuickItem*> found;
    for (QQuickItem* item : allItems(window)) {
        if (item->isVisible() && item->property(property) == value)
            found.append(item);
    }
    return found;
}

bool isIn(const QQuickItem& item, const char* type)
{
    const QQuickItem* above = item.parentItem();
    while (above && !QByteArrayView(above->metaObject()->className()).startsWith(type))
        above = above->parentItem();
    return above != nullptr;
}

QObject* tipOf(const QQuickItem& item)
{
    for (const QObject* loader : item.findChildren<QObject*>()) {
        auto* const loaded = loader->property("item").value<QObject*>();
        if (loaded && QByteArrayView(loaded->metaObject()->className()).startsWith("Tip_QML"))
            return loaded;
    }
    return nullptr;
}

void rest(QQuickWindow& window, const QQuickItem& item)
{
    // From elsewhere: where the pointer is already, it does not move to.
    QTest::mouseMove(&window, QPoint(1, 1));
    QTest::mouseMove(&window, item.mapToScene(QPointF(item.width() / 2, 4)).toPoint());
}

const QString kFallback = QStringLiteral("brain.head.profile");
const QString kLogo = QStringLiteral("qrc:/logo.png");

class TestWindowDetails final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyWindowShowsTheLogo_data();
    void everyWindowShowsTheLogo();
    void theDashboardHasASymbolInsteadOfTheLogo();
    void theLoginWindowHasTheNameInsteadOfTheLogo();
    void theSettingsHaveNothingInsteadOfTheLogo();
    void buttonsWithoutATextSayWhatTheyDo_data();
    void buttonsWithoutATextSayWhatTheyDo();
    void buttonsWithATextSayNothingMore();
    void shortenedNamesAreShownInFull();
    void namesThatFitAreNotRepeated();
    void theSpinnerStopsWhileNobodySeesIt();
};

void TestWindowDetails::everyWindowShowsTheLogo_data()
{
    QTest::addColumn<QString>("identifier");
    for (const QString& identifier :
         {shell::kDashboardWindow, shell::kLoginWindow, shell::kSettingsWindow})
        QTest::newRow(qPrintable(identifier)) << identifier;
}

void TestWindowDetails::everyWindowShowsTheLogo()
{
    QFETCH(const QString, identifier);
    WindowBench bench;
    const QQuickWindow* const window = open(bench, identifier);
    QVERIFY(window);
    QCOMPARE(itemsWith(*window, "source", QUrl(kLogo)).size(), 1);
    QVERIFY(itemsWith(*window, "name", kFallback).isEmpty());
    QCOMPARE(bench.warnings, QStringList());
}

void TestWindowDetails::theDashboardHasASymbolInsteadOfTheLogo()
{
    const WithoutLogo without;
    WindowBench bench;
    const QQuickWindow* const window = open(bench, shell::kDashboardWindow);
    QVERIFY(window);
    QVERIFY(itemsWith(*window, "source", QUrl(kLogo)).isEmpty());
    const auto symbols = itemsWith(*window, "name", kFallback);
    QCOMPARE(symbols.size(), 1);
    QCOMPARE(symbols.first()->property("color").value<QColor>(), QColor(Qt::white));
    QTRY_COMPARE(symbols.first()->property("progress").toReal(), 1.0);
    QVERIFY(symbols.first()->property("paintedWidth").toReal() >= 16);
    QCOMPARE(bench.warnings, QStringList());
}

void TestWindowDetails::theLoginWindowHasTheNameInsteadOfTheLogo()
{
    const WithoutLogo without;
    WindowBench bench;
    const QQuickWindow* const window = open(bench, shell::kLoginWindow);
    QVERIFY(window);
    QVERIFY(itemsWith(*window, "source", QUrl(kLogo)).isEmpty());
    QVERIFY(itemsWith(*window, "name", kFallback).isEmpty());
    const auto names = itemsWith(*window, "text", QStringLiteral("Velomira"));
    QCOMPARE(names.size(), 1);
    QVERIFY(names.first()->property("font").value<QFont>().bold());
    const QColor blue(0x3b, 0x7d, 0xb9);
    QCOMPARE(names.first()->property("color").value<QColor>(), blue);
    QCOMPARE(bench.warnings, QStringList());
}

void TestWindowDetails::theSettingsHaveNothingInsteadOfTheLogo()
{
    qreal usual = 0;
    {
        WindowBench bench;
        const QQuickWindow* const window = open(bench, shell::kSettingsWindow);
        QVERIFY(window);
        const auto names = itemsWith(*window, "text", QStringLiteral("Velomira"));
        QCOMPARE(names.size(), 1);
        usual = names.first()->mapToScene(QPointF()).y();
    }
    const WithoutLogo without;
    WindowBench bench;
    const QQuickWindow* const window = open(bench, shell::kSettingsWindow);
    QVERIFY(window);
    QVERIFY(itemsWith(*window, "source", QUrl(kLogo)).isEmpty());
    QVERIFY(itemsWith(*window, "name", kFallback).isEmpty());
    const auto names = itemsWith(*window, "text", QStringLiteral("Velomira"));
    QCOMPARE(names.size(), 1);
    QVERIFY2(names.first()->mapToScene(QPointF()).y() < usual, "the logo's place is kept");
    QCOMPARE(bench.warnings, QStringList());
}

void TestWindowDetails::buttonsWithoutATextSayWhatTheyDo_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("synchronize") << QStringLiteral("Sync Now");
    QTest::newRow("settings") << QStringLiteral("Settings");
}

void TestWindowDetails::buttonsWithoutATextSayWhatTheyDo()
{
    QFETCH(const QString, name);
    WindowBench bench;
    bench.signIn();
    QQuickWindow* const window = open(bench, shell::kDashboardWindow);
    QVERIFY(window);
    const auto buttons = itemsWith(*window, "description", name);
    QCOMPARE(buttons.size(), 1);
    QVERIFY(!tipOf(*buttons.first()));
    rest(*window, *buttons.first());
    QTRY_VERIFY(tipOf(*buttons.first()));
    QTRY_VERIFY(tipOf(*buttons.first())->property("opened").toBool());
    QCOMPARE(tipOf(*buttons.first())->property("text").toString(), name);
    QTest::mouseMove(window, QPoint(400, 590));
    QTRY_VERIFY(!tipOf(*buttons.first()));
    QCOMPARE(bench.warnings, QStringList());
}

void TestWindowDetails::buttonsWithATextSayNothingMore()
{
    WindowBench bench;
    bench.signIn();
    QQuickWindow* const window = open(bench, shell::kDashboardWindow);
    QVERIFY(window);
    const auto buttons = itemsWith(*window, "description", QStringLiteral("Logout"));
    QCOMPARE(buttons.size(), 1);
    rest(*window, *buttons.first());
    QTRY_VERIFY(buttons.first()->property("hovered").toBool());
    QVERIFY(!tipOf(*buttons.first()));
}

void TestWindowDetails::shortenedNamesAreShownInFull()
{
    WindowBench bench;
    const QByteArray longName =
        QByteArray("An application with an endless name ").repeated(5) + '.';
    bench.add(longName.constData(), 3725);
    QQuickWindow* const window = open(bench, shell::kDashboardWindow);
    QVERIFY(window);
    const auto rows = itemsWith(*window, "name", QString::fromLatin1(longName));
    QCOMPARE(rows.size(), 1);
    rest(*window, *rows.first());
    QTRY_VERIFY(tipOf(*rows.first()));
    QTRY_VERIFY(tipOf(*rows.first())->property("opened").toBool());
    QCOMPARE(tipOf(*rows.first())->property("text").toString(),
             QString::fromLatin1(longName) + QStringLiteral("\n1h 2m 5s"));
    QCOMPARE(bench.warnings, QStringList());
}

void TestWindowDetails::namesThatFitAreNotRepeated()
{
    WindowBench bench;
    const QByteArray longName =
        QByteArray("An application with an endless name ").repeated(5) + '.';
    bench.add(longName.constData(), 3725);
    bench.add("Editor", 60);
    QQuickWindow* const window = open(bench, shell::kDashboardWindow);
    QVERIFY(window);
    const auto shortened = itemsWith(*window, "name", QString::fromLatin1(longName));
    const auto whole = itemsWith(*window, "name", QStringLiteral("Editor"));
    QCOMPARE(shortened.size(), 1);
    QCOMPARE(whole.size(), 1);
    rest(*window, *shortened.first());
    QTRY_VERIFY(tipOf(*shortened.first()));
    rest(*window, *whole.first());
    // The pointer has arrived when it has left the other row.
    QTRY_VERIFY(!tipOf(*shortened.first()));
    QVERIFY(!tipOf(*whole.first()));
}

void TestWindowDetails::theSpinnerStopsWhileNobodySeesIt()
{
    WindowBench bench;
    bench.signIn();
    bench.add("Editor", 60);
    QQuickWindow* const window = open(bench, shell::kDashboardWindow);
    QVERIFY(window);
    // That of the card; the buttons have their own.
    QQuickItem* spinner = nullptr;
    for (QQuickItem* item : allItems(*window)) {
        if (!spinner && item->property("step").isValid() && isIn(*item, "SyncCard_QML"))
            spinner = item;
    }
    const auto step = [&spinner] {
        return spinner->property("step").toInt();
    };
    const auto isTurning = [&spinner] {
        for (const QObject* child : spinner->findChildren<QObject*>()) {
            if (child->inherits("QQmlTimer"))
                return child->property("running").toBool();
        }
        return false;
    };
    QVERIFY(spinner);
    QVERIFY(!isTurning());
    bench.sync.sync();
    QTRY_VERIFY(bench.sync.isSyncing());
    QTRY_VERIFY(spinner->isVisible());
    QVERIFY(isTurning());
    const int before = step();
    QTRY_VERIFY(step() != before);
    window->showMinimized();
    QTRY_VERIFY(!isTurning());
    window->showNormal();
    QTRY_VERIFY(isTurning());
    window->hide();
    QTRY_VERIFY(!isTurning());
    window->show();
    QTRY_VERIFY(isTurning());
    QCOMPARE(bench.warnings, QStringList());
}

} // namespace

QTEST_MAIN(TestWindowDetails)
#include "tst_window_details.moc"
