// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/test_program.h"
#include "tools/artwork/card_shadow.h"
#include "tools/artwork/drawing.h"

#include <QDir>
#include <QImage>
#include <QPainter>
#include <QTest>

#include <algorithm>

namespace {

const QString kIcon = QStringLiteral("com.velomira.UsageMonitor");

QString inResources(const QString& name)
{
    return QStringLiteral(RESOURCES "/") + name;
}

/// What two pictures of one size have that the other has not.
struct Difference
{
    int largest = 0;        ///< of a colour, as far as it shows, or of the opacity, anywhere
    double plainShare = 0.; ///< of the pixels that differ so much that one could see it
};

constexpr int kHardlySeen = 8;

/// Everything differs when the sizes do.
Difference difference(const QImage& one, const QImage& other)
{
    if (one.size() != other.size())
        return {.largest = 255, .plainShare = 1.};
    const QImage first = one.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    const QImage second = other.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    Difference found;
    int plain = 0;
    for (int y = 0; y < first.height(); ++y)
        for (int x = 0; x < first.width(); ++x) {
            // The pixels of this format are as they are mixed with what is behind them.
            const QRgb a = first.pixel(x, y);
            const QRgb b = second.pixel(x, y);
            const int here = std::max({qAbs(qRed(a) - qRed(b)),
                                       qAbs(qGreen(a) - qGreen(b)),
                                       qAbs(qBlue(a) - qBlue(b)),
                                       qAbs(qAlpha(a) - qAlpha(b))});
            found.largest = std::max(found.largest, here);
            plain += here > kHardlySeen ? 1 : 0;
        }
    found.plainShare = double(plain) / (first.width() * first.height());
    return found;
}

/// Whether `picture` shows what `drawing` does. The pictures are drawn by Qt 6.4; others smooth
/// some edges otherwise: Qt 6.8 up to two of a hundred pixels, and nothing between the edges.
bool showsTheSame(const QImage& picture, const QImage& drawing)
{
    const Difference found = difference(picture, drawing);
    if (QLatin1StringView(qVersion()).startsWith(QLatin1StringView("6.4.")))
        return found.largest <= kHardlySeen;
    return found.plainShare <= 0.03;
}

} // namespace

class TestPictures : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void picturesAreWhatTheirDrawingsShow_data()
    {
        QTest::addColumn<QString>("drawing");
        QTest::addColumn<QString>("picture");
        QTest::addColumn<int>("height");
        QTest::newRow("logo") << QStringLiteral("logo.svg") << QStringLiteral("logo.png") << 256;
        for (const int size : {16, 22, 24, 32, 48, 64, 128, 256}) {
            const QLatin1String variant(size == 16 ? "-smallest" : size <= 24 ? "-small" : "");
            QTest::addRow("icon %d", size)
                << QStringLiteral("icons/%1%2.svg").arg(kIcon, variant)
                << QStringLiteral("icons/%2x%2/%1.png").arg(kIcon).arg(size) << size;
        }
    }

    void picturesAreWhatTheirDrawingsShow()
    {
        QFETCH(const QString, drawing);
        QFETCH(const QString, picture);
        QFETCH(const int, height);
        const auto loaded = artwork::Drawing::fromFile(inResources(drawing));
        QVERIFY2(loaded, loaded ? "" : qPrintable(loaded.error().text));
        const QImage expected = loaded.value().painted(loaded.value().sizeForHeight(height));
        const QImage found(inResources(picture));
        QVERIFY2(!found.isNull(), "missing: scripts/draw_artwork.sh");
        QCOMPARE(found.height(), height);
        QVERIFY2(showsTheSame(found, expected), "out of date: scripts/draw_artwork.sh");
    }

    void anotherPictureIsToldApart()
    {
        const QImage icon(inResources(QStringLiteral("icons/64x64/%1.png").arg(kIcon)));
        QVERIFY(!icon.isNull());
        QVERIFY(showsTheSame(icon, icon));
        QVERIFY(difference(icon, icon.mirrored(true, false)).plainShare > 0.03);
        QImage moved(icon.size(), QImage::Format_ARGB32_Premultiplied);
        moved.fill(Qt::transparent);
        QPainter(&moved).drawImage(1, 0, icon);
        QVERIFY(difference(icon, moved).plainShare > 0.03);
    }

    void picturesAreTransparentInTheirCorners_data() { picturesAreWhatTheirDrawingsShow_data(); }

    void picturesAreTransparentInTheirCorners()
    {
        QFETCH(const QString, picture);
        const QImage image(inResources(picture));
        QVERIFY(!image.isNull());
        QVERIFY(qAlpha(image.pixel(0, 0)) < 128);
        QVERIFY(qAlpha(image.pixel(image.width() - 1, image.height() - 1)) < 128);
        QCOMPARE(qAlpha(image.pixel(image.width() / 2, image.height() / 2)), 255);
    }

    void shadowsAreDrawnByTheTool_data()
    {
        QTest::addColumn<QString>("picture");
        QTest::addColumn<int>("scale");
        QTest::newRow("usual screen") << QStringLiteral("card_shadow.png") << 1;
        QTest::newRow("dense screen") << QStringLiteral("card_shadow@2x.png") << 2;
    }

    void shadowsAreDrawnByTheTool()
    {
        QFETCH(const QString, picture);
        QFETCH(const int, scale);
        const QImage found(QStringLiteral(VIEW_IMAGES "/") + picture);
        QVERIFY(!found.isNull());
        // One is a matter of rounding; the whole shadow has no more than 13 shades.
        QVERIFY2(difference(found, artwork::cardShadow(scale)).largest <= 1,
                 "out of date: scripts/draw_artwork.sh");
    }

    void shadowsAreBlackAtFivePercent_data() { shadowsAreDrawnByTheTool_data(); }

    void shadowsAreBlackAtFivePercent()
    {
        QFETCH(const QString, picture);
        QFETCH(const int, scale);
        const QImage image(QStringLiteral(VIEW_IMAGES "/") + picture);
        QCOMPARE(image.width(), artwork::CardShadow::kWhole * scale);
        const int middle = image.width() / 2;
        QCOMPARE(image.pixel(middle, middle), qRgba(0, 0, 0, 13));
        // The edge of a card is where a blurred one has half of its weight, left and right of it.
        const int edge = artwork::CardShadow::kMargin * scale;
        const double around =
            (qAlpha(image.pixel(edge - 1, middle)) + qAlpha(image.pixel(edge, middle))) / 2.0;
        QVERIFY2(qAbs(around - 0.05 * 255 / 2) <= 0.6, qPrintable(QString::number(around)));
        // Two deviations further out a fortieth is left, four further out nothing.
        QVERIFY(qAlpha(image.pixel(edge - 2 * scale, middle)) >= 1);
        QVERIFY(qAlpha(image.pixel(edge - 4 * scale, middle)) <= 1);
        QCOMPARE(qAlpha(image.pixel(edge - 8 * scale, middle)), 0);
        // Round corners: less than an edge has, and nothing in the corner of the square.
        QVERIFY(qAlpha(image.pixel(edge, edge)) <= 1);
        QCOMPARE(image.mirrored(true, false), image);
        QCOMPARE(image.mirrored(false, true), image);
    }

    void anotherPictureIsFoundToDiffer()
    {
        QImage one(4, 4, QImage::Format_ARGB32);
        one.fill(Qt::black);
        QImage other = one;
        QCOMPARE(difference(one, other).largest, 0);
        other.setPixel(3, 3, qRgba(0, 0, 40, 255));
        QCOMPARE(difference(one, other).largest, 40);
        other.setPixel(3, 3, qRgba(0, 0, 0, 0));
        QCOMPARE(difference(one, other).largest, 255);
        QCOMPARE(difference(one, one.copy(0, 0, 3, 4)).largest, 255);
    }
};

QUILLSTEP_TEST(TestPictures)
#include "tst_pictures.moc"
