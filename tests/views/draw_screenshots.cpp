// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// Draws every window in every state: draw_screenshots FOLDER, or draw_screenshots --compare FOLDER
// to see whether the pictures in FOLDER are still right. What is not is left in the folder
// "screenshots" of the working directory. With QT_SCALE_FACTOR=2 in the environment, some of them
// for dense screens instead: NAME@2x.png.
#include "tests/views/picture_comparison.h"
#include "tests/views/screenshot_scenes.h"

#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>

#include <cstdio>
#include <cstdlib>

namespace {

QString compare(const QImage& picture, const QString& path)
{
    const QImage expected(path);
    if (expected.isNull())
        return QStringLiteral("there is no ") + path;
    const support::PictureDifference found = support::difference(picture, expected);
    if (found.isTolerable())
        return {};
    const QString kept = QStringLiteral("screenshots/") + QFileInfo(path).fileName();
    if (!QDir().mkpath(QStringLiteral("screenshots")) || !picture.save(kept))
        return QStringLiteral("cannot write ") + kept;
    return QStringLiteral("%1 of a million pixels differ plainly, %2 slightly from %3; see %4")
        .arg(found.plain)
        .arg(found.slight)
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
    const bool isDense = application.devicePixelRatio() > 1;
    int status = EXIT_SUCCESS;
    for (const support::ScreenshotScene& scene : support::screenshotScenes()) {
        if (isDense && !scene.isForDenseScreens)
            continue;
        const auto [picture, cards, problem] = support::takeScreenshot(scene);
        const QString path = folder.filePath(QString::fromLatin1(scene.name) +
                                             QLatin1StringView(isDense ? "@2x.png" : ".png"));
        QString failure = problem;
        if (failure.isEmpty())
            failure = compares ? compare(picture, path) : save(picture, path);
        if (failure.isEmpty())
            continue;
        std::fprintf(stderr, "%s: %s\n", scene.name, qUtf8Printable(failure));
        status = EXIT_FAILURE;
    }
    return status;
}
