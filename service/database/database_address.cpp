// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/database/database_address.h"

#include <QStringList>
#include <QUrl>
#include <QUrlQuery>

namespace service {

namespace {

constexpr int kMostPort = 65535;

// What may stand behind the question mark. Each is a word of the client library.
const QStringList& knownOptions()
{
    static const QStringList known = {
        QStringLiteral("sslmode"),
        QStringLiteral("sslrootcert"),
        QStringLiteral("sslcert"),
        QStringLiteral("sslkey"),
        QStringLiteral("application_name"),
        QStringLiteral("connect_timeout"),
        QStringLiteral("target_session_attrs"),
    };
    return known;
}

/// Takes one key of the query; false when it is unknown or not valid.
bool takeOption(DatabaseAddress& address, const QString& key, const QString& value)
{
    if (key == QStringLiteral("host")) {
        address.host = value;
        return true;
    }
    if (key == QStringLiteral("port")) {
        bool valid = false;
        address.port = value.toInt(&valid);
        return valid && address.port > 0 && address.port <= kMostPort;
    }
    // The options are one text in which these characters separate.
    if (!knownOptions().contains(key) || value.contains(QLatin1Char(';')) ||
        value.contains(QLatin1Char(' ')) || value.contains(QLatin1Char('\'')))
        return false;
    if (!address.options.isEmpty())
        address.options += QLatin1Char(';');
    address.options += key + QLatin1Char('=') + value;
    return true;
}

} // namespace

Result<DatabaseAddress> parseDatabaseAddress(const QString& text)
{
    if (text.isEmpty())
        return Error{"the database has no name"};
    const QString scheme = text.section(QStringLiteral("://"), 0, 0);
    if (scheme == text)
        return DatabaseAddress{.kind = DatabaseAddress::Kind::Sqlite,
                               .name = text,
                               .host = {},
                               .user = {},
                               .password = {},
                               .options = {}};
    if (scheme != QStringLiteral("postgresql") && scheme != QStringLiteral("postgres"))
        return Error{"unknown kind of database \"" + scheme.toStdString() +
                     "\": give a file or postgresql://…"};
    const QUrl url(text, QUrl::StrictMode);
    if (!url.isValid())
        return Error{"the database address is not valid"};
    DatabaseAddress address{
        .kind = DatabaseAddress::Kind::PostgreSql,
        .name = url.path(QUrl::FullyDecoded).mid(1),
        .host = url.host(QUrl::FullyDecoded),
        .port = url.port(5432),
        .user = url.userName(QUrl::FullyDecoded),
        .password = url.password(QUrl::FullyDecoded),
        .options = {},
    };
    const QUrlQuery query(url);
    for (const auto& [key, value] : query.queryItems(QUrl::FullyDecoded)) {
        if (!takeOption(address, key, value))
            return Error{"the option \"" + key.toStdString() +
                         "\" of the database address is unknown or not valid"};
    }
    if (address.name.isEmpty())
        return Error{"the database address names no database: postgresql://HOST/NAME"};
    return address;
}

} // namespace service
