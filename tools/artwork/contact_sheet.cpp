// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tools/artwork/contact_sheet.h"

#include "tools/artwork/drawing.h"
#include "tools/artwork/symbol_names.h"

#include <QFont>
#include <QPainter>

#include <array>

namespace artwork {

namespace {

constexpr std::array kSizes{10, 13, 16, 24, 32, 64};
constexpr int kRowHeight = 80;
constexpr int kNameWidth = 270;
constexpr int kMargin = 16;
constexpr int kGap = 16;

struct Side
{
    QColor ground;
    QColor ink;
};

int sideWidth()
{
    int width = 2 * kMargin - kGap;
    for (const int size : kSizes)
        width += size + kGap;
    return width;
}

/// The symbol in every size, side by side from (`x`, `y`), centred in a row.
void paintSizes(QPainter& painter, const Drawing& drawing, int x, int y, const QColor& ink)
{
    for (const int size : kSizes) {
        const QImage symbol = recoloured(drawing.painted({size, size}), ink);
        painter.drawImage(x, y + (kRowHeight - size) / 2, symbol);
        x += size + kGap;
    }
}

} // namespace

platform::Result<QImage> contactSheet(const QString& folder)
{
    const std::array sides{
        Side{.ground = QColor(0xfa, 0xfa, 0xfa), .ink = QColor(0x22, 0x22, 0x22)},
        Side{.ground = QColor(0x1e, 0x3a, 0x5f), .ink = QColor(Qt::white)}};
    const auto rows = static_cast<int>(kSymbolNames.size());
    QImage sheet(kNameWidth + 2 * sideWidth(), rows * kRowHeight, QImage::Format_RGB32);
    sheet.fill(sides[0].ground);
    QPainter painter(&sheet);
    painter.fillRect(kNameWidth + sideWidth(), 0, sideWidth(), sheet.height(), sides[1].ground);
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPixelSize(13);
    painter.setFont(font);
    painter.setPen(sides[0].ink);

    int y = 0;
    for (const QLatin1String name : kSymbolNames) {
        const auto drawing =
            Drawing::fromFile(folder + QLatin1Char('/') + name + QLatin1String(".svg"));
        if (!drawing)
            return drawing.error();
        painter.drawText(QRect(kMargin, y, kNameWidth, kRowHeight), Qt::AlignVCenter, name);
        int x = kNameWidth + kMargin;
        for (const Side& side : sides) {
            paintSizes(painter, drawing.value(), x, y, side.ink);
            x += sideWidth();
        }
        y += kRowHeight;
    }
    return sheet;
}

} // namespace artwork
