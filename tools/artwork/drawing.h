// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "base/result.h"

#include <QColor>
#include <QImage>
#include <QRectF>
#include <QSize>
#include <QString>

#include <memory>

class QByteArray;
class QSvgRenderer;

namespace artwork {

/// An SVG image, as Qt draws it: the product shows its symbols with the same code.
class Drawing final
{
public:
    /// Fails when the file cannot be read or is no SVG image that Qt draws.
    [[nodiscard]] static platform::Result<Drawing> fromFile(const QString& path);

    /// Fails when `svg` is no SVG image that Qt draws.
    [[nodiscard]] static platform::Result<Drawing> fromSvg(const QByteArray& svg);

    Drawing(Drawing&& other) noexcept;
    Drawing& operator=(Drawing&& other) noexcept;
    ~Drawing();

    /// Its viewBox, in units of the drawing.
    [[nodiscard]] QRectF box() const;

    /// The width that goes with `height` pixels, and that height.
    [[nodiscard]] QSize sizeForHeight(int height) const;

    /// What is painted in the part `box` of the plane, which may be larger than the viewBox, on
    /// transparent.
    [[nodiscard]] QImage painted(QSize size, const QRectF& box) const;

    /// The whole viewBox, on transparent.
    [[nodiscard]] QImage painted(QSize size) const { return painted(size, box()); }

private:
    explicit Drawing(std::unique_ptr<QSvgRenderer> renderer);

    std::unique_ptr<QSvgRenderer> m_renderer;
};

/// `image` with `colour` wherever something is painted, as opaque as it was.
[[nodiscard]] QImage recoloured(QImage image, const QColor& colour);

} // namespace artwork
