// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/views/screenshot_scenes.h"

#include <QFont>
#include <QGuiApplication>
#include <QQuickItem>
#include <QQuickView>
#include <QTest>

namespace support {

namespace {

constexpr double kLargePoints = 14.3; // 130 %

void someRecords(ViewBench& bench)
{
    bench.add("Code Editor", 5 * 3600 + 14 * 60 + 3);
    bench.add("Firefox", 3600 + 5 * 60 + 12, "https://news.example.org/today");
    bench.add("Firefox", 41 * 60, "https://www.example.com/a/page?of=it");
    bench.add("Terminal", 38 * 60 + 20);
    bench.add("Chat", 12 * 60 + 9);
    bench.add("Music", 45);
    bench.add("Files", 20);
    bench.add("Firefox", 17 * 60, "https://docs.example.net/");
    bench.add("Firefox", 4 * 60, "example.com/without/a/scheme");
    bench.add("Firefox", 59, "https://mail.example.org");
    bench.add("Firefox", 3, "https://tiny.example");
}

void aWorkingDay(ViewBench& bench)
{
    bench.signIn();
    someRecords(bench);
    bench.tracking.start();
    bench.sync.setLastSyncTime(bench.fake.clock.time - 301);
    bench.fake.userDefaults.setInteger(QStringLiteral("lastSyncRecordCount"), 128);
    bench.fake.userDefaults.setInteger(QStringLiteral("totalRecordsSynced"), 20481);
}

void failedSync(ViewBench& bench)
{
    aWorkingDay(bench);
    bench.fake.httpClient.answer(platform::TransferFailure{
        .text = QStringLiteral("Could not connect to service.example: connection refused"),
        .description = {}});
    QCoro::waitFor(bench.sync.sync());
}

void runningSync(ViewBench& bench)
{
    aWorkingDay(bench);
    bench.sync.sync();
}

void oneRecord(ViewBench& bench)
{
    bench.signIn(R"({"id":1,"email":"somebody@example.com"})");
    bench.add("Code Editor", 45, "https://example.com/");
}

void longTexts(ViewBench& bench)
{
    const QByteArray longName = QByteArray("An application with an endless name ").repeated(9);
    bench.signIn(R"({"id":1,"name":")" + QByteArray("Wolfeschlegelsteinhausen ").repeated(6) +
                 R"(","email":")" + QByteArray("a.very.long.address.").repeated(8) +
                 R"(@example.com"})");
    bench.add(longName.constData(), 1e6);
    bench.add("\u05D9\u05D9\u05E9\u05D5\u05DD \u05D1\u05E2\u05D1\u05E8\u05D9\u05EA", 4e5);
    bench.add("<b>Not markup</b> & co", 3e5, "https://example.com/<i>");
    bench.add("", 2e5);
    bench.add("\u0395\u03BB\u03BB\u03B7\u03BD\u03B9\u03BA\u03AC \u00E9\u00E0\u00FC",
              1e5,
              ("https://" + QByteArray("sub.").repeated(60) + "example.com").constData());
    bench.fake.httpClient.answer(platform::TransferFailure{
        .text = QStringLiteral("A failure that takes many words to explain. ").repeated(12),
        .description = {}});
    QCoro::waitFor(bench.sync.sync());
}

void type(QQuickWindow& window, const char* email, const char* password)
{
    for (const char c : QByteArray(email))
        QTest::keyClick(&window, c);
    QTest::keyClick(&window, Qt::Key_Tab);
    for (const char c : QByteArray(password))
        QTest::keyClick(&window, c);
}

void refuse(ViewBench& bench)
{
    bench.fake.httpClient.answer(platform::HttpResponse{
        .status = 401, .body = R"({"message":"These credentials do not match our records."})"});
}

bool isCard(const QObject& item)
{
    // A type of QML goes by the name of its file.
    const QMetaObject* type = item.metaObject();
    while (type && !QByteArrayView(type->className()).startsWith("Card_QML"))
        type = type->superClass();
    return type != nullptr;
}

QList<QRect> cardsOf(const QQuickView& view)
{
    QList<QRect> cards;
    for (const QQuickItem* item : view.rootObject()->findChildren<QQuickItem*>()) {
        if (item->isVisible() && isCard(*item))
            cards.append(item->mapRectToScene(QRectF(QPointF(), item->size())).toRect());
    }
    return cards;
}

void submit(QQuickWindow& window)
{
    type(window, "ada@example.com", "secret");
    QTest::keyClick(&window, Qt::Key_Return);
}

} // namespace

std::vector<ScreenshotScene> screenshotScenes()
{
    const auto nothing = [](ViewBench&) {
    };
    return {
        {.name = "dashboard",
         .window = "dashboard",
         .prepare = aWorkingDay,
         .isForDenseScreens = true},
        {.name = "dashboard-signed-out", .window = "dashboard", .prepare = nothing},
        {.name = "dashboard-one-record", .window = "dashboard", .prepare = oneRecord},
        {.name = "dashboard-syncing", .window = "dashboard", .prepare = runningSync},
        {.name = "dashboard-sync-error", .window = "dashboard", .prepare = failedSync},
        {.name = "dashboard-long-texts", .window = "dashboard", .prepare = longTexts},
        {.name = "login", .window = "login", .prepare = nothing, .isForDenseScreens = true},
        {.name = "login-filled",
         .window = "login",
         .prepare = nothing,
         .act =
             [](QQuickWindow& window) {
                 type(window, "ada@example.com", "secret");
             }},
        {.name = "login-loading", .window = "login", .prepare = nothing, .act = submit},
        {.name = "login-refused", .window = "login", .prepare = refuse, .act = submit},
        {.name = "settings",
         .window = "settings",
         .prepare = aWorkingDay,
         .isForDenseScreens = true},
        {.name = "settings-end",
         .window = "settings",
         .prepare = aWorkingDay,
         .act =
             [](QQuickWindow& window) {
                 QTest::keyClick(&window, Qt::Key_Backtab);
             }},
        {.name = "settings-signed-out", .window = "settings", .prepare = nothing},
        {.name = "settings-syncing", .window = "settings", .prepare = runningSync},
        {.name = "settings-sync-error", .window = "settings", .prepare = failedSync},
        {.name = "settings-long-texts", .window = "settings", .prepare = longTexts},
        {.name = "dashboard-large-text",
         .window = "dashboard",
         .prepare = aWorkingDay,
         .points = kLargePoints},
        {.name = "login-large-text",
         .window = "login",
         .prepare = refuse,
         .act = submit,
         .points = kLargePoints},
        {.name = "settings-large-text",
         .window = "settings",
         .prepare = aWorkingDay,
         .points = kLargePoints},
    };
}

Screenshot takeScreenshot(const ScreenshotScene& scene)
{
    // A font that every system can have, so that the pictures are the same everywhere.
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPointSizeF(scene.points);
    QGuiApplication::setFont(font);
    WindowBench bench;
    scene.prepare(bench);
    const QString identifier = QString::fromLatin1(scene.window);
    bench.windows.openWindow(identifier);
    QQuickWindow* const window = WindowBench::window(identifier);
    if (!window || !QTest::qWaitForWindowActive(window))
        return {.picture = {}, .cards = {}, .failure = QStringLiteral("the window does not open")};
    bench.mainQueue.advance(); // what the window puts off when it appears
    scene.act(*window);
    WindowBench::picture(identifier); // lets the view find its size
    const auto* const view = qobject_cast<const QQuickView*>(window);
    if (!QTest::qWaitFor([&] { return window->size() == view->rootObject()->size().toSize(); }))
        return {.picture = {},
                .cards = {},
                .failure = QStringLiteral("the window is not as large as its view")};
    return {.picture = WindowBench::picture(identifier),
            .cards = cardsOf(*view),
            .failure = bench.warnings.join(u'\n')};
}

} // namespace support
