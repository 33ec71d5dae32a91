// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "views/symbol_images.h"

#include <QColor>
#include <QPainter>
#include <QSvgRenderer>

namespace views {

namespace {

constexpr QSize kDefaultSize(24, 24);

} // namespace

SymbolImages::SymbolImages()
    : QQuickImageProvider(QQuickImageProvider::Image)
{
}

QImage SymbolImages::requestImage(const QString& id, QSize* size, const QSize& requestedSize)
{
    const qsizetype mark = id.indexOf(u'?');
    const QString name = id.left(mark);
    const QColor colour(mark < 0 ? QString() : id.mid(mark + 1));
    QSvgRenderer symbol(QStringLiteral(":/symbols/%1.svg").arg(name));
    if (!symbol.isValid() || !colour.isValid())
        return {};

    const QSize wanted = requestedSize.isEmpty() ? kDefaultSize : requestedSize;
    QImage image(wanted, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    symbol.render(&painter);
    // The symbols are black: what they cover takes the colour.
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(image.rect(), colour);
    painter.end();
    *size = wanted;
    return image;
}

} // namespace views
