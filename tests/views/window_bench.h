// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "tests/views/view_bench.h"
#include "views/qml_window_factory.h"

#include <QImage>
#include <QQuickWindow>
#include <QStringList>

namespace support {

/// The windows themselves, on the screen of the test's platform.
struct WindowBench : ViewBench
{
    WindowBench();
    ~WindowBench();
    WindowBench(const WindowBench&) = delete;
    WindowBench& operator=(const WindowBench&) = delete;

    /// The window that is open under `identifier`; null when none is.
    [[nodiscard]] static QQuickWindow* window(const QString& identifier);

    /// What that window shows.
    static QImage picture(const QString& identifier);

    /// What QML, Qt Quick and the rest have complained about.
    QStringList warnings;
    views::QmlWindowFactory factory{
        {.services = services,
         .environment = fake.facilities,
         .desktop = desktop,
         .windows = windows,
         .menu = menu,
         .setIsShowingLogin = [this](bool value) { isShowingLogin = value; },
         .serviceUrl = serviceUrl}};
};

} // namespace support
