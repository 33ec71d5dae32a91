// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/x11/x11_connection.h"
#include "platform/linux/x11/x11_frontmost_application.h"
#include "platform/linux/x11/x11_idle_time.h"
#include "platform/linux/x11/x11_mirror.h"
#include "platform/linux/x11/x11_window_title.h"
#include "platform/linux/xdg/application_names.h"

#include <QStringList>

#include <memory>
#include <optional>

/// The X11 back-end put together as in the product, on a given desktop.
class X11Observer final
{
public:
    explicit X11Observer(std::unique_ptr<platform::x11::X11Connection> connection,
                         const QStringList& desktopEntryFolders = {})
        : m_connection(std::move(connection))
        , m_mirror(*m_connection)
        , m_names(desktopEntryFolders)
        , idleTime(*m_connection, m_mirror)
        , frontmostApplication(m_mirror, m_names)
        , windowTitle(m_mirror)
    {
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

    [[nodiscard]] platform::x11::X11Connection& connection() { return *m_connection; }

    [[nodiscard]] std::optional<platform::Application> front()
    {
        return frontmostApplication.frontmostApplication();
    }

    [[nodiscard]] std::optional<QString> frontTitle()
    {
        const auto application = front();
        return application ? windowTitle.focusedWindowTitle(*application) : std::nullopt;
    }

    /// What the agent asks once a second.
    std::optional<QString> tick()
    {
        static_cast<void>(idleTime.secondsSinceLastInput());
        return frontTitle();
    }

private:
    std::unique_ptr<platform::x11::X11Connection> m_connection;
    platform::x11::X11Mirror m_mirror;
    platform::xdg::ApplicationNames m_names;

public:
    platform::x11::X11IdleTime idleTime;
    platform::x11::X11FrontmostApplication frontmostApplication;
    platform::x11::X11WindowTitle windowTitle;
};
