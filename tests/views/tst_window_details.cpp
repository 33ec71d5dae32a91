// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/views/window_bench.h"

#include <QAccessible>
#include <QColor>
#include <QFont>
#include <QGuiApplication>
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
    void messagesThatAreCutCanBeReadWhole_data();
    void messagesThatAreCutCanBeReadWhole();
    void messagesThatFitAreNoStopsOfTheKeyboard();
    void aMessageOfAnyLengthFitsIntoTheLoginWindow();
    void theSpinnerStopsWhileNobodySeesIt();
};

constexpr double kUsualPoints = 10;
constexpr double kLargePoints = 14.3; // 130 %

/// The desktop's size of text for as long as it lives.
struct TextSize
{
    explicit TextSize(double points)
    {
        QFont font = before;
        font.setPointSizeF(points);
        QGuiApplication::setFont(font);
    }

    ~TextSize() { QGuiApplication::setFont(before); }

    TextSize(const TextSize&) = delete;
    TextSize& operator=(const TextSize&) = delete;

    QFont before = QGuiApplication::font();
};

QString longMessage(int length)
{
    return QStringLiteral("The service says why it did not work. ")
        .repeated(length / 38 + 1)
        .first(length - 1)
        .append(u'!');
}

/// Has the window `identifier` show `message` as what went wrong.
QQuickWindow* openWithMessage(WindowBench& bench, const QString& identifier, const QString& message)
{
    const QByteArray body = R"({"message":")" + message.toUtf8() + R"("})";
    if (identifier != shell::kLoginWindow) {
        bench.signIn();
        bench.add("Editor", 60);
        bench.fake.httpClient.answer(platform::TransferFailure{.text = message, .description = {}});
        QCoro::waitFor(bench.sync.sync());
        return open(bench, identifier);
    }
    bench.fake.httpClient.answer(platform::HttpResponse{.status = 401, .body = body});
    QQuickWindow* const window = open(bench, identifier);
    bench.mainQueue.advance();
    for (const char c : QByteArray("a@example.com\ts"))
        QTest::keyClick(window, c);
    QTest::keyClick(window, Qt::Key_Return);
    return window;
}

/// The text item that shows `message`; null when there is not exactly one.
QQuickItem* messageIn(const QQuickWindow& window, const QString& message)
{
    const auto texts = itemsWith(window, "text", message);
    return texts.size() == 1 ? texts.first() : nullptr;
}

/// Whether `holder` is a stop of the keyboard that is `item` or what it is part of.
bool isOrHolds(const QQuickItem* holder, const QQuickItem* item)
{
    return holder && holder->activeFocusOnTab() && (holder == item || holder->isAncestorOf(item));
}

void TestWindowDetails::messagesThatAreCutCanBeReadWhole_data()
{
    QTest::addColumn<QString>("identifier");
    QTest::addColumn<double>("points");
    for (const QString& identifier :
         {shell::kDashboardWindow, shell::kLoginWindow, shell::kSettingsWindow}) {
        QTest::newRow(qPrintable(identifier)) << identifier << kUsualPoints;
        QTest::newRow(qPrintable(identifier + QStringLiteral(", large text")))
            << identifier << kLargePoints;
    }
}

void TestWindowDetails::messagesThatAreCutCanBeReadWhole()
{
    QFETCH(const QString, identifier);
    QFETCH(const double, points);
    const TextSize size(points);
    const QString message = longMessage(600);
    WindowBench bench;
    QQuickWindow* const window = openWithMessage(bench, identifier, message);
    QVERIFY(window);
    QTRY_VERIFY(messageIn(*window, message));
    QQuickItem* const text = messageIn(*window, message);
    QTRY_VERIFY(text->property("truncated").toBool());
    const qreal cutHeight = text->height();

    // By a pointer.
    rest(*window, *text);
    QTRY_VERIFY(tipOf(*text));
    QTRY_VERIFY(tipOf(*text)->property("opened").toBool());
    QCOMPARE(tipOf(*text)->property("text").toString(), message);
    QTest::mouseMove(window, QPoint(1, 1));
    QTRY_VERIFY(!tipOf(*text));

    // By the keyboard, which comes around to it and goes on.
    constexpr int kMostStops = 20;
    for (int i = 0; i < kMostStops && !isOrHolds(window->activeFocusItem(), text); ++i)
        QTest::keyClick(window, Qt::Key_Tab);
    const QQuickItem* const holder = window->activeFocusItem();
    QVERIFY(isOrHolds(holder, text));
    QTRY_VERIFY(!text->property("truncated").toBool());
    QTRY_VERIFY(text->height() > cutHeight);
    QTRY_VERIFY(text->mapToScene(QPointF()).y() >= 0);
    QTRY_VERIFY2(text->mapToScene(QPointF(0, text->height())).y() <= window->height(),
                 qPrintable(QString::number(window->height())));
    if (qEnvironmentVariableIsSet("KEEP_PICTURES"))
        WindowBench::picture(identifier)
            .save(qEnvironmentVariable("KEEP_PICTURES") + u'/' + identifier +
                  QString::number(points) + QStringLiteral(".png"));
    // By a screen reader: what has the keyboard is called so, and can have it.
    QAccessibleInterface* const told =
        QAccessible::queryAccessibleInterface(const_cast<QQuickItem*>(holder));
    QVERIFY(told);
    QCOMPARE(told->text(QAccessible::Name), message);
    QVERIFY(told->state().focusable && told->state().focused);
    QTest::keyClick(window, Qt::Key_Tab);
    QVERIFY(!isOrHolds(window->activeFocusItem(), text));
    QTRY_COMPARE(text->height(), cutHeight);
    QCOMPARE(bench.warnings, QStringList());
}

void TestWindowDetails::messagesThatFitAreNoStopsOfTheKeyboard()
{
    const QString message = QStringLiteral("Not today.");
    for (const QString& identifier : {shell::kDashboardWindow, shell::kSettingsWindow}) {
        WindowBench bench;
        QQuickWindow* const window = openWithMessage(bench, identifier, message);
        QVERIFY(window);
        const QQuickItem* const text = messageIn(*window, message);
        QVERIFY(text);
        QVERIFY(!text->activeFocusOnTab());
    }
}

void TestWindowDetails::aMessageOfAnyLengthFitsIntoTheLoginWindow()
{
    const QString message = longMessage(60'000);
    WindowBench bench;
    QQuickWindow* const window = openWithMessage(bench, shell::kLoginWindow, message);
    QVERIFY(window);
    QTRY_VERIFY(messageIn(*window, message));
    QQuickItem* const text = messageIn(*window, message);
    QTest::mouseClick(
        window, Qt::LeftButton, {}, text->mapToScene(QPointF(text->width() / 2, 4)).toPoint());
    QTRY_VERIFY(!text->property("truncated").toBool());
    QTRY_VERIFY(window->height() < 900);
    const qreal before = text->mapToScene(QPointF()).y();
    QTest::keyClick(window, Qt::Key_Down);
    QTRY_VERIFY(text->mapToScene(QPointF()).y() < before);
    QCOMPARE(bench.warnings, QStringList());
}

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
