// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/test_program.h"
#include "tests/views/picture_comparison.h"
#include "tests/views/screenshot_scenes.h"

#include <QGuiApplication>
#include <QPainter>
#include <QTest>

using support::difference;
using support::PictureDifference;

namespace {

/// As far as the shadow of a card reaches around it.
constexpr int kShadow = 8;

QImage committed(const char* name)
{
    return QImage(QStringLiteral(SCREENSHOTS "/%1.png").arg(QLatin1StringView(name)));
}

/// `picture` without what is in `card`: the colour of the ground beside it instead.
QImage without(QImage picture, const QRect& card)
{
    const QColor ground = picture.pixelColor(card.left() - kShadow - 1, card.center().y());
    QPainter(&picture).fillRect(card.adjusted(-kShadow, -kShadow, kShadow, kShadow), ground);
    return picture;
}

/// `picture` with `card` and its shadow by `offset` elsewhere.
QImage moved(const QImage& picture, const QRect& card, QPoint offset)
{
    const QRect all = card.adjusted(-kShadow, -kShadow, kShadow, kShadow);
    QImage result = without(picture, card);
    QPainter(&result).drawImage(all.topLeft() + offset, picture.copy(all));
    return result;
}

QByteArray text(const PictureDifference& found, const QRect& card)
{
    return QStringLiteral("card at (%1, %2): %3 plain, %4 slight of a million")
        .arg(card.x())
        .arg(card.y())
        .arg(found.plain)
        .arg(found.slight)
        .toUtf8();
}

class TestScreenshotTolerance final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cards_data();
    void cards();
    void thePictureItselfPasses();
    void rastersOfFontsMayDifferALittle();
    void anotherSizeIsAnotherPicture();
};

void TestScreenshotTolerance::cards_data()
{
    QTest::addColumn<int>("scene");
    const auto scenes = support::screenshotScenes();
    for (int i = 0; i < static_cast<int>(scenes.size()); ++i) {
        if (scenes[static_cast<std::size_t>(i)].window != std::string_view("login"))
            QTest::newRow(scenes[static_cast<std::size_t>(i)].name) << i;
    }
}

/// Every card of the committed picture, moved by three pixels or taken away.
void TestScreenshotTolerance::cards()
{
    QFETCH(const int, scene);
    const auto scenes = support::screenshotScenes();
    const auto& tested = scenes[static_cast<std::size_t>(scene)];
    const support::Screenshot taken = support::takeScreenshot(tested);
    QVERIFY2(taken.failure.isEmpty(), qPrintable(taken.failure));
    const QImage picture = committed(tested.name);
    QVERIFY(difference(picture, taken.picture).isTolerable());
    const QRect inside = picture.rect().adjusted(kShadow + 1, kShadow, -kShadow, -kShadow);
    int tried = 0;
    for (const QRect& card : taken.cards) {
        if (!inside.contains(card))
            continue;
        ++tried;
        for (const QPoint offset : {QPoint(3, 0), QPoint(0, 3), QPoint(-3, 0), QPoint(0, -3)}) {
            const auto found = difference(picture, moved(picture, card, offset));
            QVERIFY2(!found.isTolerable(), text(found, card));
        }
        const auto found = difference(picture, without(picture, card));
        QVERIFY2(!found.isTolerable(), text(found, card));
    }
    QVERIFY(tried >= 1);
}

void TestScreenshotTolerance::thePictureItselfPasses()
{
    const QImage picture = committed("dashboard");
    const auto found = difference(picture, picture);
    QCOMPARE(found.plain, 0);
    QCOMPARE(found.slight, 0);
    QVERIFY(found.isTolerable());
}

void TestScreenshotTolerance::rastersOfFontsMayDifferALittle()
{
    QImage picture = committed("dashboard");
    const QImage before = picture;
    // A letter or two, each pixel of it by a shade.
    for (int y = 100; y < 115; ++y)
        for (int x = 100; x < 120; ++x) {
            const QColor was = picture.pixelColor(x, y);
            picture.setPixelColor(x, y, was.lightness() > 128 ? was.darker(115) : was.lighter(130));
        }
    QVERIFY(picture != before);
    QVERIFY(difference(picture, before).isTolerable());
}

void TestScreenshotTolerance::anotherSizeIsAnotherPicture()
{
    const QImage picture = committed("dashboard");
    QVERIFY(!difference(picture, picture.copy(0, 0, 800, 599)).isTolerable());
    QVERIFY(!difference(picture, QImage()).isTolerable());
    QVERIFY(!difference(QImage(), QImage()).isTolerable());
}

} // namespace

QUILLSTEP_TEST_WITH(TestScreenshotTolerance, QGuiApplication)
#include "tst_screenshot_tolerance.moc"
