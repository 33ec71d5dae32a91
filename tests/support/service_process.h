// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "base/result.h"
#include "tests/support/child_process.h"

#include <QByteArray>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <csignal>
#include <optional>

namespace support {

/// The web service's own executable in a test, on a free port of this machine. It ends with the
/// test, however that ends.
/// Main thread. Calls block until what they promise holds, for some seconds at most.
class ServiceProcess final
{
public:
    ServiceProcess() = default;
    ServiceProcess(const ServiceProcess&) = delete;
    ServiceProcess& operator=(const ServiceProcess&) = delete;
    ~ServiceProcess() = default;

    /// A temporary folder, removed at the end.
    [[nodiscard]] QString folder() const { return m_folder.path(); }

    /// Starts it on `database`, a file or an address. Returns when it listens. The port is a free
    /// one unless the arguments name one.
    [[nodiscard]] platform::Outcome
    start(const QString& database,
          const QStringList& arguments = {},
          const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment());

    /// "http://127.0.0.1:PORT"; empty before start().
    [[nodiscard]] QString baseUrl() const { return m_baseUrl; }

    [[nodiscard]] int port() const;

    /// That of --metrics; 0 without it.
    [[nodiscard]] int metricsPort() const { return m_metricsPort; }

    /// Asks it to end (SIGTERM), and waits; its exit code, none when it crashed or did not end.
    [[nodiscard]] std::optional<int> stop(int signal = SIGTERM);

    /// Ends it at once (SIGKILL).
    void kill();

    /// What it has written to standard error in all runs.
    [[nodiscard]] QString log() const;

    [[nodiscard]] ChildProcess& process() { return m_child; }

    /// Adds a user to the database of the last start().
    [[nodiscard]] platform::Outcome
    addUser(const QString& email, const QString& name, const QString& password);

    /// The lines that tell what is stored; empty when that fails.
    [[nodiscard]] QString summary();

    /// How a run for a single purpose ended.
    struct Run
    {
        std::optional<int> code; ///< none when it crashed or did not end
        QString output;
        QString complaint;
    };

    /// Runs it with these arguments and this standard input to its end.
    [[nodiscard]] Run run(const QStringList& arguments, const QByteArray& input = {}) const;

    /// From here on the database that addUser() and summary() mean.
    void setDatabase(const QString& database) { m_database = database; }

    [[nodiscard]] QString database() const { return m_database; }

private:
    QTemporaryDir m_folder;
    QString m_database;
    QString m_baseUrl;
    int m_metricsPort = 0;
    ChildProcess m_child;
};

} // namespace support
