// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "tests/views/window_bench.h"

#include <QImage>
#include <QList>
#include <QRect>
#include <QString>

#include <functional>
#include <vector>

namespace support {

/// A state that a window can be in.
struct ScreenshotScene
{
    const char* name;
    const char* window;
    /// Brings everything into that state, before the window opens.
    std::function<void(ViewBench& bench)> prepare;
    /// What the user does in the open window.
    std::function<void(QQuickWindow& window)> act = [](QQuickWindow&) {
    };
    /// Of the desktop's font; texts are as large as usual up to 11.
    double points = 10;
    /// Whether it is documented for screens with two pixels to a device-independent one, too.
    bool isForDenseScreens = false;
};

/// All of them, in the order of the documentation.
[[nodiscard]] std::vector<ScreenshotScene> screenshotScenes();

/// What a window looks like.
struct Screenshot
{
    QImage picture;
    /// Where in the picture its cards are, without their shadows.
    QList<QRect> cards;
    /// Why there is no picture, or what has complained; empty when all is well.
    QString failure;
};

/// Opens the window of `scene` in its state, and takes its picture.
[[nodiscard]] Screenshot takeScreenshot(const ScreenshotScene& scene);

} // namespace support
