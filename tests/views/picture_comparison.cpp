// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/views/picture_comparison.h"

#include <algorithm>
#include <cstdlib>

namespace support {

namespace {

constexpr int kAll = 1'000'000;

/// Of a colour channel.
constexpr int kPlain = 48;
constexpr int kSlight = 3;

/// Of a million pixels.
constexpr int kTolerablePlain = 200;
constexpr int kTolerableSlight = 700;

int perMillion(qint64 count, const QImage& image)
{
    return static_cast<int>(count * kAll /
                            std::max<qint64>(1, qint64(image.width()) * image.height()));
}

} // namespace

bool PictureDifference::isTolerable() const
{
    return plain <= kTolerablePlain && slight <= kTolerableSlight;
}

PictureDifference difference(const QImage& one, const QImage& other)
{
    if (one.size() != other.size() || one.isNull())
        return {.plain = kAll, .slight = kAll};
    qint64 plain = 0;
    qint64 slight = 0;
    for (int y = 0; y < one.height(); ++y) {
        for (int x = 0; x < one.width(); ++x) {
            const QRgb a = one.pixel(x, y);
            const QRgb b = other.pixel(x, y);
            const int apart = std::max({std::abs(qRed(a) - qRed(b)),
                                        std::abs(qGreen(a) - qGreen(b)),
                                        std::abs(qBlue(a) - qBlue(b))});
            plain += apart > kPlain;
            slight += apart > kSlight;
        }
    }
    return {.plain = perMillion(plain, one), .slight = perMillion(slight, one)};
}

} // namespace support
