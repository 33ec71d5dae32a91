// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/resources/symbol_faults.h"

#include "tools/artwork/drawing.h"

#include <QImage>
#include <QRectF>

#include <cmath>

namespace resources {

namespace {

constexpr QRectF kBox(0, 0, 24, 24);
/// A plane larger than the box, to see what is painted beside it.
constexpr QRectF kPlane(-12, -12, 48, 48);
constexpr int kPixelsPerUnit = 8;

/// Keeps what Qt says while it lives.
class Messages final
{
public:
    Messages() { s_texts.clear(); }

    Messages(const Messages&) = delete;
    Messages& operator=(const Messages&) = delete;

    ~Messages() { qInstallMessageHandler(m_before); }

    [[nodiscard]] static const QStringList& texts() { return s_texts; }

private:
    static void keep(QtMsgType, const QMessageLogContext&, const QString& text) { s_texts += text; }

    inline static QStringList s_texts;
    QtMessageHandler m_before = qInstallMessageHandler(keep);
};

struct Ink
{
    QRectF bounds; ///< in units
    bool isOpaque = false;
    bool isBlack = true;
};

Ink inkOf(const QImage& image)
{
    Ink ink;
    QRect bounds;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) {
            const QRgb pixel = image.pixel(x, y);
            if (qAlpha(pixel) == 0)
                continue;
            bounds |= QRect(x, y, 1, 1);
            ink.isOpaque = ink.isOpaque || qAlpha(pixel) == 255;
            ink.isBlack = ink.isBlack && (pixel & RGB_MASK) == 0;
        }
    const qreal unit = kPixelsPerUnit;
    ink.bounds = QRectF(bounds.x() / unit + kPlane.x(),
                        bounds.y() / unit + kPlane.y(),
                        bounds.width() / unit,
                        bounds.height() / unit);
    return ink;
}

QStringList faultsOfInk(const Ink& ink)
{
    if (ink.bounds.isEmpty())
        return {QStringLiteral("it is empty")};
    QStringList faults;
    const auto expect = [&](bool holds, const QString& fault) {
        if (!holds)
            faults += fault;
    };
    const QPointF off = ink.bounds.center() - kBox.center();
    const qreal extent = qMax(ink.bounds.width(), ink.bounds.height());
    expect(kBox.contains(ink.bounds), QStringLiteral("it paints outside its box"));
    expect(ink.isBlack, QStringLiteral("it has another colour than black"));
    expect(ink.isOpaque, QStringLiteral("it is nowhere opaque"));
    expect(std::abs(off.x()) <= 1.5 && std::abs(off.y()) <= 1, QStringLiteral("it is off centre"));
    expect(extent >= 17.5, QStringLiteral("it is too small"));
    return faults;
}

} // namespace

QStringList symbolFaults(const QByteArray& svg)
{
    const Messages messages;
    const auto drawing = artwork::Drawing::fromSvg(svg);
    if (!drawing)
        return {drawing.error().text};
    const QSize size = (kPlane.size() * kPixelsPerUnit).toSize();
    QStringList faults = faultsOfInk(inkOf(drawing.value().painted(size, kPlane)));
    if (drawing.value().box() != kBox)
        faults += QStringLiteral("its viewBox is not 0 0 24 24");
    for (const QString& text : Messages::texts())
        faults += QStringLiteral("Qt says: ") + text;
    return faults;
}

} // namespace resources
