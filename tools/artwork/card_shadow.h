// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QImage>

namespace artwork {

/// The sizes of the shadow of a card, in device-independent pixels. views/Card.qml goes by them.
struct CardShadow
{
    static constexpr int kCorner = 12;       ///< radius of the card's corners
    static constexpr double kDeviation = 2;  ///< of the Gaussian: half of the blur radius, 4
    static constexpr double kOpacity = 0.05; ///< of the black, where nothing is blurred
    static constexpr int kMargin = 16;       ///< around the card; the blur reaches half as far
    static constexpr int kCard = 64;         ///< width and height of the card that throws it
    static constexpr int kWhole = kCard + 2 * kMargin;
};

/// The shadow of a small card, right below it, for a screen with `scale` pixels to each
/// device-independent one. A picture to stretch: between its corners it is the same all along.
[[nodiscard]] QImage cardShadow(int scale);

} // namespace artwork
