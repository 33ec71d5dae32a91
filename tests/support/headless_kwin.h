// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/bus_daemon.h"
#include "tests/support/child_process.h"
#include "tests/support/desktop_session.h"
#include "tests/support/kwin_scripts.h"
#include "tests/support/private_home.h"

#include <cstdint>

namespace support {

/// KWin as a Wayland compositor of 1280x800 without a screen, alone on a session bus. Everybody may
/// make input there.
/// Main thread.
class HeadlessKWin final : public DesktopSession
{
public:
    enum class Extra : std::uint8_t {
        None,
        XWayland,   ///< An X server for X programs.
        LockScreen, ///< The screen may be locked.
    };

    explicit HeadlessKWin(Extra extra = Extra::None);
    /// Ends KWin, then the bus.
    ~HeadlessKWin() override = default;

    [[nodiscard]] QStringList programs() const override;
    /// Starts everything. After killDisplay(): KWin alone, on the same bus.
    [[nodiscard]] platform::Outcome start() override;
    [[nodiscard]] QProcessEnvironment environment() const override;
    [[nodiscard]] platform::Outcome focus(const TestWindow& window) override;
    [[nodiscard]] platform::Outcome showEmptyWorkspace() override;
    [[nodiscard]] platform::Outcome showFirstWorkspace() override;
    [[nodiscard]] platform::Outcome makeInput() override;
    void killDisplay() override;

    /// Ends the session bus at once.
    void killBus() { m_bus.kill(); }

    [[nodiscard]] const QString& busAddress() const { return m_bus.address(); }

    /// Its Wayland socket.
    [[nodiscard]] QString waylandDisplay() const;

    /// KWin's process.
    [[nodiscard]] qint64 pid() const { return m_kwin.pid(); }

    [[nodiscard]] KWinScripts& scripts() { return m_scripts; }

    [[nodiscard]] PrivateHome& home() { return m_home; }

    /// Has KWin read its settings anew, as its settings dialog does, and start what scripts they
    /// name.
    [[nodiscard]] platform::Outcome restartScripting();

private:
    [[nodiscard]] platform::Outcome prepare();
    [[nodiscard]] platform::Outcome startKWin();
    [[nodiscard]] platform::Outcome learnXDisplay();
    [[nodiscard]] QProcessEnvironment kwinEnvironment() const;
    [[nodiscard]] platform::Outcome showWorkspace(int number, const char* wanted);

    Extra m_extra;
    PrivateHome m_home;
    BusDaemon m_bus;
    ChildProcess m_kwin;
    KWinScripts m_scripts;
    QString m_xDisplay;
    QString m_xAuthority;
};

} // namespace support
