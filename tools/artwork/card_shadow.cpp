// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tools/artwork/card_shadow.h"

#include <QColor>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace artwork {

namespace {

/// A square of opacities, 0 to 1, line by line.
struct Plane
{
    explicit Plane(int width)
        : side(width)
        , values(static_cast<std::size_t>(width) * static_cast<std::size_t>(width))
    {
    }

    double& at(int x, int y)
    {
        return values[static_cast<std::size_t>(y) * static_cast<std::size_t>(side) +
                      static_cast<std::size_t>(x)];
    }

    int side;
    std::vector<double> values;
};

/// How much of the pixel whose middle is at (`x`, `y`) from the card's middle is card.
double covered(double x, double y, double half, double corner)
{
    const double beyondX = std::max(std::abs(x) - half + corner, 0.0);
    const double beyondY = std::max(std::abs(y) - half + corner, 0.0);
    return std::clamp(corner + 0.5 - std::hypot(beyondX, beyondY), 0.0, 1.0);
}

Plane card(int scale)
{
    Plane plane(CardShadow::kWhole * scale);
    const double middle = plane.side / 2.0;
    const double half = CardShadow::kCard * scale / 2.0;
    for (int y = 0; y < plane.side; ++y)
        for (int x = 0; x < plane.side; ++x)
            plane.at(x, y) =
                covered(x + 0.5 - middle, y + 0.5 - middle, half, CardShadow::kCorner * scale);
    return plane;
}

/// From the middle outwards; its sum over both sides is 1.
std::vector<double> gaussian(double deviation)
{
    std::vector<double> weights;
    double sum = 0;
    for (int i = 0; i <= std::ceil(4 * deviation); ++i) {
        weights.push_back(std::exp(-i * i / (2 * deviation * deviation)));
        sum += (i == 0 ? 1 : 2) * weights.back();
    }
    for (double& weight : weights)
        weight /= sum;
    return weights;
}

/// Blurs along the lines, and lays the result down transposed: done twice, all is blurred and
/// upright again.
Plane blurredAcross(Plane& plane, const std::vector<double>& weights)
{
    Plane result(plane.side);
    const int reach = static_cast<int>(weights.size()) - 1;
    for (int y = 0; y < plane.side; ++y) {
        for (int x = 0; x < plane.side; ++x) {
            double sum = 0;
            for (int i = std::max(-reach, -x); i <= std::min(reach, plane.side - 1 - x); ++i)
                sum += weights[static_cast<std::size_t>(std::abs(i))] * plane.at(x + i, y);
            result.at(y, x) = sum;
        }
    }
    return result;
}

} // namespace

QImage cardShadow(int scale)
{
    const std::vector<double> weights = gaussian(CardShadow::kDeviation * scale);
    Plane upright = card(scale);
    Plane lying = blurredAcross(upright, weights);
    Plane blurred = blurredAcross(lying, weights);
    QImage image(blurred.side, blurred.side, QImage::Format_ARGB32);
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            image.setPixel(
                x, y, qRgba(0, 0, 0, qRound(255 * CardShadow::kOpacity * blurred.at(x, y))));
    return image;
}

} // namespace artwork
