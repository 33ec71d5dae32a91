// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "base/result.h"
#include "tests/support/child_process.h"

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <csignal>
#include <optional>

namespace support {

/// The product's own executable in a test, with its data in a folder of the test's.
/// Main thread. Waiting runs the event loop and gives up after some seconds.
class Agent final
{
public:
    /// `environment` should hold a display and private HOME and XDG folders. `program` may be one
    /// that is the product but for some of what it is made of.
    explicit Agent(QProcessEnvironment environment, QString program = productsExecutable());

    [[nodiscard]] static QString productsExecutable();

    /// Has it started by `program` from now on, which becomes what its arguments say.
    void setLauncher(const QString& program) { m_launcher = program; }

    /// Starts it. Its lines from earlier runs are forgotten.
    [[nodiscard]] platform::Outcome start(const QStringList& arguments = {});

    /// The lines it has written to standard output since start().
    [[nodiscard]] QStringList lines();

    /// Waits until it has written `count` lines, and returns the first so many; fewer when they do
    /// not come.
    [[nodiscard]] QStringList waitForLines(qsizetype count);

    /// Waits for the next line beyond those that there are; none when it does not come.
    [[nodiscard]] std::optional<QString> nextLine();

    /// Waits until it has ended by itself; its exit code, none when it did not end or crashed.
    [[nodiscard]] std::optional<int> waitForEnd();

    /// Sends `signal` and waits for the end, as waitForEnd().
    [[nodiscard]] std::optional<int> end(int signal = SIGTERM);

    void send(int signal);

    /// What it has written to standard error in all runs.
    [[nodiscard]] QString complaints() const;

    [[nodiscard]] QString dataFile() const;

    [[nodiscard]] ChildProcess& process() { return m_child; }

private:
    QProcessEnvironment m_environment;
    QString m_program;
    QString m_errorFile;
    QString m_launcher;
    QString m_output;
    ChildProcess m_child;
};

} // namespace support
