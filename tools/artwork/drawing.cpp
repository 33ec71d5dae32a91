// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tools/artwork/drawing.h"

#include <QByteArray>
#include <QFile>
#include <QPainter>
#include <QSvgRenderer>

#include <utility>

namespace artwork {

platform::Result<Drawing> Drawing::fromFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return platform::Error{path + QStringLiteral(": ") + file.errorString()};
    auto drawing = fromSvg(file.readAll());
    if (!drawing)
        return platform::Error{path + QStringLiteral(": ") + drawing.error().text};
    return drawing;
}

platform::Result<Drawing> Drawing::fromSvg(const QByteArray& svg)
{
    auto renderer = std::make_unique<QSvgRenderer>();
    if (!renderer->load(svg) || renderer->viewBoxF().isEmpty())
        return platform::Error{QStringLiteral("not an SVG image")};
    return Drawing(std::move(renderer));
}

Drawing::Drawing(std::unique_ptr<QSvgRenderer> renderer)
    : m_renderer(std::move(renderer))
{
}

Drawing::Drawing(Drawing&& other) noexcept = default;
Drawing& Drawing::operator=(Drawing&& other) noexcept = default;
Drawing::~Drawing() = default;

QRectF Drawing::box() const
{
    return m_renderer->viewBoxF();
}

QSize Drawing::sizeForHeight(int height) const
{
    return {qRound(height * box().width() / box().height()), height};
}

QImage Drawing::painted(QSize size, const QRectF& box) const
{
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(size.width() / box.width(), size.height() / box.height());
    painter.translate(-box.topLeft());
    m_renderer->render(&painter, this->box());
    return image;
}

QImage recoloured(QImage image, const QColor& colour)
{
    QPainter painter(&image);
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(image.rect(), colour);
    return image;
}

} // namespace artwork
