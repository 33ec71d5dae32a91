// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/bus_daemon.h"
#include "tests/support/child_process.h"
#include "tests/support/desktop_session.h"
#include "tests/support/private_home.h"

#include <QJsonDocument>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

namespace support {

/// sway on a screen of 1280x800 that nobody sees, with X programs under XWayland and a keyboard,
/// without which no window gets the focus. A new window gets it, the pointer does not move it.
/// sway refuses to run as root: it is nobody's then, in a folder of nobody's, while home and
/// programs are root's.
/// Main thread.
class HeadlessSway final : public DesktopSession
{
public:
    HeadlessSway() = default;
    HeadlessSway(const HeadlessSway&) = delete;
    HeadlessSway& operator=(const HeadlessSway&) = delete;
    /// Ends the keyboard, then sway, then the bus. Windows must have been closed.
    ~HeadlessSway() override;

    [[nodiscard]] QStringList programs() const override;
    [[nodiscard]] platform::Outcome start() override;
    /// For programs under Wayland; with QT_QPA_PLATFORM or GDK_BACKEND set otherwise, for those
    /// under X, too.
    [[nodiscard]] QProcessEnvironment environment() const override;
    [[nodiscard]] platform::Outcome focus(const TestWindow& window) override;
    [[nodiscard]] platform::Outcome showEmptyWorkspace() override;
    [[nodiscard]] platform::Outcome showFirstWorkspace() override;
    /// Moves the pointer.
    [[nodiscard]] platform::Outcome makeInput() override;
    void killDisplay() override;

    /// Has sway read its settings again.
    [[nodiscard]] platform::Outcome reload();

    /// Gives the focus to the window of a process.
    [[nodiscard]] platform::Outcome focusProcess(qint64 pid);

    /// Gives the focus to the window with this title, of whatever program.
    [[nodiscard]] platform::Outcome focusTitled(const QString& title);

    /// The title of the window that has the focus; empty when none has.
    [[nodiscard]] QString focusedTitle() const;

    /// How many windows with this title are there.
    [[nodiscard]] int windowsTitled(const QString& title) const;

    /// Has sway do what a line of its settings says.
    [[nodiscard]] platform::Outcome command(const QStringList& words) const;

    /// The path of sway's own socket.
    [[nodiscard]] const QString& swaySocket() const { return m_swaySocket; }

    /// The full path of the Wayland display.
    [[nodiscard]] QString waylandDisplay() const
    {
        return m_home.filePath(QStringLiteral("runtime/") + m_display);
    }

    /// The X display (":0").
    [[nodiscard]] const QString& xDisplay() const { return m_xDisplay; }

    /// Of programs that are not TestWindows.
    [[nodiscard]] QString logFile(const QString& program) const { return m_home.logFile(program); }

private:
    [[nodiscard]] platform::Outcome prepareFolder() const;
    [[nodiscard]] platform::Outcome startCompositor();
    [[nodiscard]] platform::Outcome findSockets();
    [[nodiscard]] platform::Outcome findXDisplay();
    [[nodiscard]] platform::Outcome plugKeyboardIn();
    [[nodiscard]] platform::Outcome showWorkspace(const QString& name);
    [[nodiscard]] QJsonDocument ask(const QString& question) const;
    [[nodiscard]] QJsonObject focusedNode() const;

    QTemporaryDir m_folder; // sway's own
    PrivateHome m_home;
    BusDaemon m_bus;
    ChildProcess m_sway;
    ChildProcess m_keyboard;
    QString m_display;
    QString m_swaySocket;
    QString m_xDisplay;
};

} // namespace support
