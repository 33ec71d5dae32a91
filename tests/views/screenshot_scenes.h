// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "tests/views/window_bench.h"

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
};

/// All of them, in the order of the documentation.
[[nodiscard]] std::vector<ScreenshotScene> screenshotScenes();

/// Opens the window of `scene` in its state, and takes its picture. Null, with a reason in
/// `failure`, when it does not show or something complains.
[[nodiscard]] QImage takeScreenshot(const ScreenshotScene& scene, QString& failure);

} // namespace support
