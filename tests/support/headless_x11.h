// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "base/result.h"
#include "tests/support/child_process.h"
#include "tests/support/private_home.h"

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <memory>
#include <vector>

namespace support {

/// A private X11 desktop: an Xvfb of 1280x800 on a free display, openbox as its window manager and
/// an empty home. Needs the programs in programs(); see REQUIRE_PROGRAMS. Everything that it
/// started ends with it, and with the test process.
/// Main thread. Calls block until what they promise holds, for some seconds at most; a failure
/// names what did not come.
class HeadlessX11 final
{
public:
    HeadlessX11();
    HeadlessX11(const HeadlessX11&) = delete;
    HeadlessX11& operator=(const HeadlessX11&) = delete;
    /// Stops the programs, then the window manager, then the server.
    ~HeadlessX11();

    /// The programs that a desktop consists of.
    [[nodiscard]] static QStringList programs();

    /// Starts the server, with `serverArguments` besides its own, and the window manager.
    [[nodiscard]] platform::Outcome start(const QStringList& serverArguments = {});

    /// The server's name (":7"). Empty before start().
    [[nodiscard]] QString display() const { return m_display; }

    /// The environment for programs on this desktop: the test's own, with this display and with
    /// HOME and every XDG folder in home().
    [[nodiscard]] QProcessEnvironment environment() const;

    /// A temporary folder, removed at the end. Its sub-folders: config, data, cache, state,
    /// runtime.
    [[nodiscard]] QString home() const { return m_home.path(); }

    /// Starts a window manager where none runs. Returns when it manages the screen.
    [[nodiscard]] platform::Outcome startWindowManager();
    /// Ends it without a chance to clean up.
    void killWindowManager();
    /// Makes the server hang, and go on.
    void pauseServer();
    void resumeServer();
    /// Ends the server without a chance to say goodbye, whatever else still runs.
    void killServer();

    /// Starts a program on this desktop, which owns it. Returns when it runs, not when its windows
    /// are there. `environment` is environment() unless given.
    [[nodiscard]] platform::Result<ChildProcess*> startProgram(const QString& program,
                                                               const QStringList& arguments = {});
    [[nodiscard]] platform::Result<ChildProcess*>
    startProgram(const QString& program,
                 const QStringList& arguments,
                 const QProcessEnvironment& environment);
    /// Ends it (SIGTERM) and forgets it.
    void stopProgram(ChildProcess* program);

private:
    [[nodiscard]] platform::Outcome writeWindowManagerSettings() const;

    PrivateHome m_home;
    QString m_display;
    ChildProcess m_server;
    ChildProcess m_windowManager;
    std::vector<std::unique_ptr<ChildProcess>> m_programs;
};

} // namespace support
