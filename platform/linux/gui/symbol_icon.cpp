// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/gui/symbol_icon.h"

#include <QImage>
#include <QPainter>
#include <QPixmap>
#include <QSvgRenderer>

namespace platform::gui {

namespace {

constexpr int kSizes[]{16, 22, 24, 32, 48, 64};

QPixmap drawn(QSvgRenderer& drawing, int size, const QColor& color)
{
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    drawing.render(&painter);
    // The drawing's own black gives way; what it covers stays.
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(image.rect(), color);
    painter.end();
    return QPixmap::fromImage(image);
}

} // namespace

QIcon symbolIcon(const QString& name, const QColor& color)
{
    QSvgRenderer drawing(QStringLiteral(":/symbols/%1.svg").arg(name));
    if (!drawing.isValid())
        return {};
    QIcon icon;
    for (const int size : kSizes)
        icon.addPixmap(drawn(drawing, size, color));
    return icon;
}

} // namespace platform::gui
