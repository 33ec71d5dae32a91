// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// Draws every window in every state into a folder: draw_screenshots FOLDER [SUFFIX].
#include "tests/views/screenshot_scenes.h"

#include <QDir>
#include <QFont>
#include <QGuiApplication>

#include <cstdio>

int main(int argc, char** argv)
{
    const QGuiApplication application(argc, argv);
    QGuiApplication::setFont(QFont(QStringLiteral("DejaVu Sans"), 10));
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() < 2)
        return 2;
    const QDir folder(arguments.at(1));
    const QString suffix = arguments.value(2);
    int status = 0;
    for (const support::ScreenshotScene& scene : support::screenshotScenes()) {
        QString failure;
        const QImage picture = support::takeScreenshot(scene, failure);
        const QString path =
            folder.filePath(QString::fromLatin1(scene.name) + suffix + QStringLiteral(".png"));
        if (failure.isEmpty() && !picture.save(path))
            failure = QStringLiteral("cannot write ") + path;
        if (failure.isEmpty())
            continue;
        std::fprintf(stderr, "%s: %s\n", scene.name, qUtf8Printable(failure));
        status = 1;
    }
    return status;
}
