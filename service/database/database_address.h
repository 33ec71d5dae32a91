// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/result.h"

#include <QString>

#include <cstdint>
#include <string>

namespace service {

/// Where the data are: an SQLite file or a PostgreSQL database.
struct DatabaseAddress
{
    enum class Kind : std::uint8_t {
        Sqlite,
        PostgreSql,
    };

    Kind kind = Kind::Sqlite;
    /// The file, or the name of the database.
    QString name;
    // Of PostgreSQL only. An empty host leaves it to the client library.
    QString host; ///< a host, or the folder of the server's socket
    int port = 5432;
    QString user;
    QString password;
    /// Further options of the client library, in its form ("sslmode=require;…").
    QString options;

    bool operator==(const DatabaseAddress&) const = default;
};

/// Reads "postgresql://[USER[:PASSWORD]@][HOST][:PORT]/NAME[?KEY=VALUE&…]" (parts percent-encoded;
/// "host" and "port" may stand among the keys too, a host that begins with a slash being the folder
/// of the server's socket), and anything else as the path of a file. The error does not repeat the
/// password. Any thread.
[[nodiscard]] Result<DatabaseAddress> parseDatabaseAddress(const QString& text);

} // namespace service
