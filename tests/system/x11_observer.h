// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/desktops/choice/choices.h"
#include "backends/desktops/x11/x11_desktop.h"
#include "backends/xdg/application_names.h"

#include <QStringList>

#include <memory>
#include <optional>
#include <utility>

/// The X11 back-end put together as in the product, on a given desktop.
class X11Observer final
{
public:
    explicit X11Observer(std::unique_ptr<platform::x11::X11Connection> connection,
                         const QStringList& desktopEntryFolders = {})
        : m_desktop(std::move(connection), QStringLiteral("EWMH"))
        , m_names(desktopEntryFolders)
        , idleTime(m_desktop.idleTime())
        , windows(m_names)
    {
        windows.add(m_desktop);
    }

    /// On the server `display`; null when it cannot be reached.
    [[nodiscard]] static std::unique_ptr<X11Observer>
    on(const QString& display, const QStringList& desktopEntryFolders = {})
    {
        auto connection = platform::x11::X11Connection::open(display);
        if (!connection)
            return nullptr;
        return std::make_unique<X11Observer>(std::move(connection).value(), desktopEntryFolders);
    }

    [[nodiscard]] platform::x11::X11Connection& connection() { return m_desktop.connection(); }

    [[nodiscard]] std::optional<platform::Application> front()
    {
        return windows.frontmostApplication();
    }

    [[nodiscard]] std::optional<QString> frontTitle()
    {
        const auto application = front();
        return application ? windows.focusedWindowTitle(*application) : std::nullopt;
    }

    /// What the agent asks once a second.
    std::optional<QString> tick()
    {
        static_cast<void>(idleTime.secondsSinceLastInput());
        return frontTitle();
    }

private:
    platform::x11::X11Desktop m_desktop;
    platform::xdg::ApplicationNames m_names;

public:
    platform::desktop::IdleSource& idleTime;
    platform::desktop::WindowChoice windows;
};
