// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/desktops/choice/sources.h"
#include "backends/desktops/x11/x11_connection.h"
#include "backends/desktops/x11/x11_mirror.h"

#include <QString>

#include <memory>
#include <optional>

namespace platform::x11 {

/// What an X server tells: the window that the window manager calls active (EWMH), in the server's
/// own numbering, and the idle time. Absent once the connection is lost.
/// Main thread, with an event loop.
class X11Desktop final : public desktop::FrontWindowSource
{
    Q_OBJECT

public:
    /// `name` is the phrase for the user.
    X11Desktop(std::unique_ptr<X11Connection> connection, QString name);
    X11Desktop(const X11Desktop&) = delete;
    X11Desktop& operator=(const X11Desktop&) = delete;
    ~X11Desktop() override;

    [[nodiscard]] X11Connection& connection() { return *m_connection; }

    /// By the extension MIT-SCREEN-SAVER, which counts raw input of all devices; absent where the
    /// server lacks it. As X11Mirror::idleSeconds(). Not for an X server inside a Wayland desktop:
    /// it sees the input of its own windows only.
    [[nodiscard]] desktop::IdleSource& idleTime() { return m_idleTime; }

    [[nodiscard]] QString name() const override { return m_name; }

    [[nodiscard]] desktop::Presence presence() const override;

    [[nodiscard]] std::optional<desktop::FrontWindow> frontWindow() const override
    {
        return m_mirror.frontWindow();
    }

    /// As X11Mirror::update().
    void update() override { m_mirror.update(); }

private:
    class IdleTime final : public desktop::IdleSource
    {
    public:
        explicit IdleTime(X11Desktop& desktop)
            : m_desktop(desktop)
        {
        }

        [[nodiscard]] QString name() const override;
        [[nodiscard]] desktop::Presence presence() const override;
        [[nodiscard]] double secondsSinceLastInput() override;

    private:
        X11Desktop& m_desktop;
    };

    std::unique_ptr<X11Connection> m_connection;
    QString m_name;
    X11Mirror m_mirror;
    IdleTime m_idleTime;
};

} // namespace platform::x11
