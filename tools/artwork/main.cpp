// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tools/artwork/card_shadow.h"
#include "tools/artwork/contact_sheet.h"
#include "tools/artwork/drawing.h"

#include <QGuiApplication>
#include <QTextStream>

#include <cstdio>
#include <optional>

namespace {

const QString kUsage = QStringLiteral("Usage: quillstep_artwork render SVG HEIGHT PNG\n"
                                      "       quillstep_artwork sheet FOLDER PNG\n"
                                      "       quillstep_artwork shadow SCALE PNG\n");

constexpr int kLargestScale = 8;

platform::Result<QImage> rendered(const QString& svg, int height)
{
    const auto drawing = artwork::Drawing::fromFile(svg);
    if (!drawing)
        return drawing.error();
    return drawing.value().painted(drawing.value().sizeForHeight(height));
}

/// What the command says; nothing when it is none of ours.
std::optional<platform::Result<QImage>> drawn(const QStringList& arguments)
{
    const QString command = arguments.value(0);
    const int height = arguments.value(2).toInt();
    const int scale = arguments.value(1).toInt();
    if (command == QLatin1String("render") && arguments.size() == 4 && height > 0)
        return rendered(arguments[1], height);
    if (command == QLatin1String("sheet") && arguments.size() == 3)
        return artwork::contactSheet(arguments[1]);
    if (command == QLatin1String("shadow") && arguments.size() == 3 && scale > 0 &&
        scale <= kLargestScale)
        return platform::Result<QImage>(artwork::cardShadow(scale));
    return {};
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
    const auto image = drawn(arguments);
    if (!image)
        return fail(kUsage);
    if (!*image)
        return fail(image->error().text + QLatin1Char('\n'));
    if (!image->value().save(arguments.last(), "PNG"))
        return fail(arguments.last() + QLatin1String(": cannot be written\n"));
    return 0;
}
