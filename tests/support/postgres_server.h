// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "base/result.h"
#include "tests/support/child_process.h"

#include <QString>
#include <QTemporaryDir>

namespace support {

/// A PostgreSQL server of the test's own, in a temporary folder and on a socket there. It ends with
/// the test, however that ends.
/// Main thread. Calls block until what they promise holds, for some seconds at most.
class PostgresServer final
{
public:
    PostgresServer() = default;
    PostgresServer(const PostgresServer&) = delete;
    PostgresServer& operator=(const PostgresServer&) = delete;
    ~PostgresServer();

    /// Why there cannot be one here, empty when there can.
    [[nodiscard]] static QString missing();

    /// Makes an empty cluster and starts it. As root it runs as another user, since PostgreSQL
    /// refuses to run as root.
    [[nodiscard]] platform::Outcome start();

    /// Ends it at once, with the connections it has, and starts it again.
    [[nodiscard]] platform::Outcome restart();

    /// Ends it at once.
    void stop();

    /// Starts it again after stop().
    [[nodiscard]] platform::Outcome resume();

    /// Makes an empty database and returns its address for the service.
    [[nodiscard]] platform::Result<QString> newDatabase();

private:
    [[nodiscard]] QString file(const QString& name) const { return m_folder.filePath(name); }

    [[nodiscard]] platform::Outcome run(const QString& program, const QStringList& arguments);

    QTemporaryDir m_folder;
    ChildProcess m_server;
    int m_databases = 0;
};

} // namespace support

/// Ends the test function when there is no PostgreSQL here.
#define REQUIRE_POSTGRES()                                                                         \
    do {                                                                                           \
        const QString missing = support::PostgresServer::missing();                                \
        if (!missing.isEmpty() && support::missingProgramsAreFailures())                           \
            QFAIL(qPrintable(missing));                                                            \
        if (!missing.isEmpty())                                                                    \
            QSKIP(qPrintable(missing));                                                            \
    } while (false)
