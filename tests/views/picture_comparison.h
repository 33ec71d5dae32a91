// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QImage>

namespace support {

/// How far two pictures are apart.
struct PictureDifference
{
    /// Of a million pixels: how many look different at a glance, as ink does that has moved.
    int plain = 0;
    /// Of a million pixels: how many are not quite the same, as a white card on the nearly white
    /// ground is when it has moved.
    int slight = 0;

    /// Whether this can come from the raster of the fonts, which differs a little between versions
    /// of its library. A card that is elsewhere or missing is more.
    [[nodiscard]] bool isTolerable() const;
};

/// Everything is different when the sizes are.
[[nodiscard]] PictureDifference difference(const QImage& one, const QImage& other);

} // namespace support
