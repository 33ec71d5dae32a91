// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/desktops/wayland/toplevel_windows.h"
#include "backends/desktops/wayland/wayland_connection.h"
#include "backends/desktops/wayland/wayland_idle_time.h"
#include "tests/support/headless_sway.h"

#include <QtDebug>

#include <memory>
#include <utility>

/// Everything under test, on one connection to a desktop.
class WaylandObserver final
{
public:
    explicit WaylandObserver(std::unique_ptr<platform::wayland::WaylandConnection> opened,
                             const QString& swaySocket)
        : connection(std::move(opened))
        , windows(*connection, swaySocket)
        , idleTime(*connection)
    {
    }

    /// Null, with a warning, when nobody answers.
    static std::unique_ptr<WaylandObserver> on(const QString& display, const QString& swaySocket)
    {
        auto opened = platform::wayland::WaylandConnection::open(display);
        if (!opened) {
            qWarning("%s", qPrintable(opened.error().text));
            return nullptr;
        }
        return std::make_unique<WaylandObserver>(std::move(opened).value(), swaySocket);
    }

    static std::unique_ptr<WaylandObserver> on(const support::HeadlessSway& sway)
    {
        return on(sway.waylandDisplay(), sway.swaySocket());
    }

    const std::unique_ptr<platform::wayland::WaylandConnection> connection;
    platform::wayland::ToplevelWindows windows;
    platform::wayland::WaylandIdleTime idleTime;
};
