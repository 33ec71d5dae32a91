// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/bus_daemon.h"
#include "tests/support/desktop_session.h"
#include "tests/support/headless_x11.h"

namespace support {

/// An X11 session: Xvfb with openbox, and a session bus. Two workspaces.
class X11Session final : public DesktopSession
{
public:
    [[nodiscard]] QStringList programs() const override;
    [[nodiscard]] platform::Outcome start() override;
    [[nodiscard]] QProcessEnvironment environment() const override;
    [[nodiscard]] platform::Outcome focus(const TestWindow& window) override;
    [[nodiscard]] platform::Outcome showEmptyWorkspace() override;
    [[nodiscard]] platform::Outcome showFirstWorkspace() override;
    [[nodiscard]] platform::Outcome makeInput() override;

    void killDisplay() override { m_desktop.killServer(); }

    [[nodiscard]] HeadlessX11& desktop() { return m_desktop; }

private:
    [[nodiscard]] platform::Outcome xdotool(const QStringList& arguments) const;
    [[nodiscard]] platform::Outcome showWorkspace(int number) const;

    HeadlessX11 m_desktop;
    BusDaemon m_bus;
};

} // namespace support
