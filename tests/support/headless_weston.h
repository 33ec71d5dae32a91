// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/bus_daemon.h"
#include "tests/support/child_process.h"
#include "tests/support/desktop_session.h"
#include "tests/support/private_home.h"

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

namespace support {

/// Weston on a screen that nobody sees: a desktop that tells nothing of windows and input. It has
/// no seat, so nothing gets the focus there; what DesktopSession promises of focus, workspaces and
/// input fails.
/// Main thread.
class HeadlessWeston final : public DesktopSession
{
public:
    HeadlessWeston() = default;
    HeadlessWeston(const HeadlessWeston&) = delete;
    HeadlessWeston& operator=(const HeadlessWeston&) = delete;
    /// Ends it, then the bus. Windows must have been closed.
    ~HeadlessWeston() override;

    [[nodiscard]] QStringList programs() const override;
    [[nodiscard]] platform::Outcome start() override;
    [[nodiscard]] QProcessEnvironment environment() const override;
    [[nodiscard]] platform::Outcome focus(const TestWindow& window) override;
    [[nodiscard]] platform::Outcome showEmptyWorkspace() override;
    [[nodiscard]] platform::Outcome showFirstWorkspace() override;
    [[nodiscard]] platform::Outcome makeInput() override;
    void killDisplay() override;

    /// The full path of the Wayland display.
    [[nodiscard]] QString waylandDisplay() const;

private:
    PrivateHome m_home;
    BusDaemon m_bus;
    ChildProcess m_weston;
};

} // namespace support
