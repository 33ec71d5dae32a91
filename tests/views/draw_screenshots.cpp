// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// Draws every window in every state: draw_screenshots FOLDER, or draw_screenshots --compare FOLDER
// to see whether the pictures in FOLDER are still right. What is not is left in the folder
// "screenshots" of the working directory.
#include "tests/views/screenshot_scenes.h"

#include <QDir>
#include <QFont>
#include <QGuiApplication>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace {

/// Of a colour channel; the raster of fonts differs a little between versions of their library.
constexpr int kSameColour = 48;
/// Of a thousand pixels; a card that moves by one changes more.
constexpr int kSameInThousand = 2;

/// How many pixels of a thousand look different; a thousand when the sizes do.
int difference(const QImage& one, const QImage& other)
{
    if (one.size() != other.size())
        return 1000;
    int count = 0;
    for (int y = 0; y < one.height(); ++y) {
        for (int x = 0; x < one.width(); ++x) {
            const QRgb a = one.pixel(x, y);
            const QRgb b = other.pixel(x, y);
            count += std::max({std::abs(qRed(a) - qRed(b)),
                               std::abs(qGreen(a) - qGreen(b)),
                               std::abs(qBlue(a) - qBlue(b))}) > kSameColour;
        }
    }
    return count * 1000 / std::max(1, one.width() * one.height());
}

QString compare(const QImage& picture, const QString& path)
{
    const QImage expected(path);
    if (expected.isNull())
        return QStringLiteral("there is no ") + path;
    const int found = difference(picture, expected);
    if (found < kSameInThousand)
        return {};
    const QString kept = QStringLiteral("screenshots/") + QFileInfo(path).fileName();
    if (!QDir().mkpath(QStringLiteral("screenshots")) || !picture.save(kept))
        return QStringLiteral("cannot write ") + kept;
    return QStringLiteral("%1 of 1000 pixels differ from %2; see %3")
        .arg(found)
        .arg(path, QFileInfo(kept).absoluteFilePath());
}

QString save(const QImage& picture, const QString& path)
{
    return picture.save(path) ? QString() : QStringLiteral("cannot write ") + path;
}

} // namespace

int main(int argc, char** argv)
{
    const QGuiApplication application(argc, argv);
    QStringList arguments = QCoreApplication::arguments().mid(1);
    const bool compares = arguments.removeAll(QStringLiteral("--compare")) > 0;
    if (arguments.size() != 1) {
        std::fputs("usage: draw_screenshots [--compare] FOLDER\n", stderr);
        return EXIT_FAILURE;
    }
    const QDir folder(arguments.first());
    int status = EXIT_SUCCESS;
    for (const support::ScreenshotScene& scene : support::screenshotScenes()) {
        QString failure;
        const QImage picture = support::takeScreenshot(scene, failure);
        const QString path =
            folder.filePath(QString::fromLatin1(scene.name) + QStringLiteral(".png"));
        if (failure.isEmpty())
            failure = compares ? compare(picture, path) : save(picture, path);
        if (failure.isEmpty())
            continue;
        std::fprintf(stderr, "%s: %s\n", scene.name, qUtf8Printable(failure));
        status = EXIT_FAILURE;
    }
    return status;
}
