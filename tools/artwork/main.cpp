// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tools/artwork/contact_sheet.h"
#include "tools/artwork/drawing.h"

#include <QGuiApplication>
#include <QTextStream>

#include <cstdio>

namespace {

const QString kUsage = QStringLiteral("Usage: quillstep_artwork render SVG HEIGHT PNG\n"
                                      "       quillstep_artwork sheet FOLDER PNG\n");

platform::Result<QImage> rendered(const QString& svg, int height)
{
    const auto drawing = artwork::Drawing::fromFile(svg);
    if (!drawing)
        return drawing.error();
    return drawing.value().painted(drawing.value().sizeForHeight(height));
}

int fail(const QString& text)
{
    QTextStream(stderr) << text;
    return 1;
}

} // namespace

int main(int argc, char* argv[])
{
    // The pictures must not depend on the desktop this runs on.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication application(argc, argv);
    const QStringList arguments = QGuiApplication::arguments().sliced(1);
    const QString command = arguments.value(0);
    const bool render = command == QLatin1String("render") && arguments.size() == 4;
    const int height = arguments.value(2).toInt();
    if (render ? height < 1 : command != QLatin1String("sheet") || arguments.size() != 3)
        return fail(kUsage);

    const auto image =
        render ? rendered(arguments[1], height) : artwork::contactSheet(arguments[1]);
    if (!image)
        return fail(image.error().text + QLatin1Char('\n'));
    if (!image.value().save(arguments.last(), "PNG"))
        return fail(arguments.last() + QLatin1String(": cannot be written\n"));
    return 0;
}
