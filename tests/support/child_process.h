// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "base/result.h"

#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

namespace support {

/// A program that a test starts and that does not outlive it, however the test ends.
/// Main thread.
class ChildProcess final
{
public:
    ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    /// Ends the program if it still runs.
    ~ChildProcess();

    /// Starts `program`, its standard error going to the file `logFile`. Waits until it runs.
    [[nodiscard]] platform::Outcome start(const QString& program,
                                          const QStringList& arguments,
                                          const QProcessEnvironment& environment,
                                          const QString& logFile = QProcess::nullDevice());

    /// Asks it to end (SIGTERM), and makes it after a few seconds. Returns when it has gone.
    void stop();

    /// Ends it at once (SIGKILL). Returns when it has gone.
    void kill();

    [[nodiscard]] bool isRunning() const;

    /// Its process number, 0 when it does not run.
    [[nodiscard]] qint64 pid() const;

    /// For its standard output, signals and exit code.
    [[nodiscard]] QProcess& process() { return m_process; }

private:
    QProcess m_process;
};

} // namespace support
