// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tools/artwork/drawing.h"

#include <QDir>
#include <QImage>
#include <QTest>

namespace {

const QString kIcon = QStringLiteral("com.velomira.UsageMonitor");

QString inResources(const QString& name)
{
    return QStringLiteral(RESOURCES "/") + name;
}

/// The largest difference of a colour, as far as it shows, or of the opacity anywhere; 255 when the
/// sizes differ.
int difference(const QImage& one, const QImage& other)
{
    if (one.size() != other.size())
        return 255;
    const QImage first = one.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    const QImage second = other.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    int largest = 0;
    for (int y = 0; y < first.height(); ++y)
        for (int x = 0; x < first.width(); ++x) {
            // The pixels of this format are as they are mixed with what is behind them.
            const QRgb a = first.pixel(x, y);
            const QRgb b = second.pixel(x, y);
            for (const int channel : {qRed(a) - qRed(b),
                                      qGreen(a) - qGreen(b),
                                      qBlue(a) - qBlue(b),
                                      qAlpha(a) - qAlpha(b)})
                largest = qMax(largest, qAbs(channel));
        }
    return largest;
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
        QVERIFY2(difference(found, expected) <= 8, "out of date: scripts/draw_artwork.sh");
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

    void anotherPictureIsFoundToDiffer()
    {
        QImage one(4, 4, QImage::Format_ARGB32);
        one.fill(Qt::black);
        QImage other = one;
        QCOMPARE(difference(one, other), 0);
        other.setPixel(3, 3, qRgba(0, 0, 40, 255));
        QCOMPARE(difference(one, other), 40);
        other.setPixel(3, 3, qRgba(0, 0, 0, 0));
        QCOMPARE(difference(one, other), 255);
        QCOMPARE(difference(one, one.copy(0, 0, 3, 4)), 255);
    }
};

QTEST_GUILESS_MAIN(TestPictures)
#include "tst_pictures.moc"
