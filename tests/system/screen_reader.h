// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/x11_client.h"

#include <QImage>
#include <QPoint>
#include <QRect>
#include <QString>

#include <optional>

namespace support {

/// What is to be seen on an X11 screen. Main thread.
class ScreenReader final
{
public:
    explicit ScreenReader(const QString& display)
        : m_client(display)
    {
    }

    /// The whole screen as it is now; null when that fails.
    [[nodiscard]] QImage picture() const;

    /// The middle of what is exactly of this colour in the lowest `height` pixels; none when there
    /// are only a few such pixels.
    [[nodiscard]] std::optional<QPoint> find(QRgb color, int height) const;

    /// Where a menu is open: a window that no window manager manages, as large as a menu.
    [[nodiscard]] std::optional<QRect> menu() const;

private:
    X11Client m_client;
};

} // namespace support
