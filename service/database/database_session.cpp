// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/database/database_session.h"

#include <QFile>
#include <QSqlError>
#include <QStringList>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace service {

namespace {

// The number that instances of the service agree on for PostgreSQL's advisory lock.
constexpr auto kAdvisoryLock = "select pg_advisory_xact_lock(8608541237)";
constexpr int kAttemptsToSwitch = 50;

QString nextConnectionName()
{
    static std::atomic<int> last = 0;
    return QStringLiteral("service %1").arg(++last);
}

/// Makes the file if there is none and `mayMake`, in any case for its owner only: it holds personal
/// data.
/// One that is there is never opened here: closing it again would drop the locks that SQLite has on
/// it in this process (POSIX), and with them the data of another process.
Outcome makePrivateFile(const QString& path, bool mayMake)
{
    const QByteArray name = QFile::encodeName(path);
    constexpr int kNew = O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC;
    const int file = mayMake ? ::open(name.constData(), kNew, S_IRUSR | S_IWUSR) : -1;
    if (file >= 0) {
        ::close(file);
        return success();
    }
    if ((!mayMake || errno == EEXIST) && ::chmod(name.constData(), S_IRUSR | S_IWUSR) == 0)
        return success();
    return Error{"cannot open the database " + path.toStdString() + ": " +
                 std::strerror(errno)}; // NOLINT(concurrency-mt-unsafe)
}

/// What happened, without the server's words, which may repeat the values.
std::string safeText(const QSqlError& error)
{
    const char* const kinds[] = {
        "none", "connection lost", "statement failed", "transaction failed", "failed"};
    const auto kind = static_cast<std::size_t>(error.type());
    return std::string("database: ") + (kind < std::size(kinds) ? kinds[kind] : "failed") +
           " (code " + error.nativeErrorCode().toStdString() + ")";
}

} // namespace

Result<std::unique_ptr<DatabaseSession>> DatabaseSession::open(const DatabaseAddress& address,
                                                               Purpose purpose)
{
    std::unique_ptr<DatabaseSession> session(
        new DatabaseSession(address, purpose, nextConnectionName()));
    if (const Outcome connected = session->connect(address); !connected)
        return connected.error();
    return session;
}

DatabaseSession::DatabaseSession(const DatabaseAddress& address,
                                 Purpose purpose,
                                 QString connection)
    : m_kind(address.kind)
    , m_purpose(purpose)
    , m_connection(std::move(connection))
    , m_database(QSqlDatabase::addDatabase(m_kind == DatabaseAddress::Kind::Sqlite
                                               ? QStringLiteral("QSQLITE")
                                               : QStringLiteral("QPSQL"),
                                           m_connection))
{
}

DatabaseSession::~DatabaseSession()
{
    m_kept.clear();
    m_database.close();
    m_database = QSqlDatabase();
    QSqlDatabase::removeDatabase(m_connection);
}

Outcome DatabaseSession::connect(const DatabaseAddress& address)
{
    const bool sqlite = m_kind == DatabaseAddress::Kind::Sqlite;
    if (!m_database.isValid())
        return Error{std::string("Qt has no driver for ") + (sqlite ? "SQLite" : "PostgreSQL")};
    m_database.setDatabaseName(address.name);
    if (sqlite) {
        const bool mayMake = m_purpose != Purpose::Reports; // an empty one would have none
        if (Outcome made = makePrivateFile(address.name, mayMake); !made)
            return made;
        m_database.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=15000"));
    } else {
        m_database.setHostName(address.host);
        m_database.setPort(address.port);
        m_database.setUserName(address.user);
        m_database.setPassword(address.password);
        // A server that vanishes without a word must not hold a request for ever.
        QString options = address.options;
        if (!options.contains(QStringLiteral("connect_timeout")))
            options += (options.isEmpty() ? QString() : QStringLiteral(";")) +
                       QStringLiteral("connect_timeout=10");
        m_database.setConnectOptions(options +
                                     QStringLiteral(";keepalives_idle=20;tcp_user_timeout=30000"));
    }
    if (!m_database.open())
        return Error{"cannot open the database: " +
                     m_database.lastError().databaseText().trimmed().toStdString()};
    return sqlite ? prepareSqlite() : preparePostgreSql();
}

Outcome DatabaseSession::prepareSqlite()
{
    // The switch of a new file does not wait for other processes that are about to do the same.
    for (int attempt = 1;; ++attempt) {
        auto mode = run(QStringLiteral("pragma journal_mode = wal"));
        if (mode && mode.value().next() &&
            mode.value().value(0).toString() == QStringLiteral("wal"))
            break;
        if (!mode && mode.error().text.find("(code 5)") == std::string::npos)
            return Error{"cannot use the database: " +
                         m_database.lastError().databaseText().toStdString()};
        if (attempt == kAttemptsToSwitch)
            return Error{"cannot use the database: " +
                         (mode ? "no write-ahead log possible" : mode.error().text)};
        ::usleep(100'000);
    }
    QStringList pragmas = {QStringLiteral("pragma synchronous = full"),
                           QStringLiteral("pragma foreign_keys = on"),
                           QStringLiteral("pragma cache_size = -16384"), // KiB
                           QStringLiteral("pragma temp_store = file")};
    if (m_purpose == Purpose::Reports)
        pragmas.append(QStringLiteral("pragma query_only = on"));
    for (const QString& pragma : pragmas) {
        if (const auto done = run(pragma); !done)
            return Error{done.error().text};
    }
    return success();
}

Outcome DatabaseSession::preparePostgreSql()
{
    QStringList settings = {
        QStringLiteral("set idle_in_transaction_session_timeout = '120s'"),
        QStringLiteral("set standard_conforming_strings = on"),
        QStringLiteral("set client_min_messages = warning"),
        // Not what the server's owner may have chosen: see the contract.
        QStringLiteral("set synchronous_commit = on"),
    };
    switch (m_purpose) {
    case Purpose::Reading:
    case Purpose::Writing:
        settings.append(QStringLiteral("set statement_timeout = '120s'"));
        break;
    case Purpose::Reports:
        settings.append(QStringLiteral("set statement_timeout = '3s'"));
        settings.append(QStringLiteral("set default_transaction_read_only = on"));
        break;
    case Purpose::Commands:
        settings.append(QStringLiteral("set statement_timeout = 0"));
        settings.append(QStringLiteral("set lock_timeout = '5s'"));
        break;
    }
    for (const QString& setting : std::as_const(settings)) {
        if (const auto done = run(setting); !done)
            return Error{done.error().text};
    }
    return success();
}

DatabaseResult<QSqlQuery> DatabaseSession::run(const QString& statement, const QVariantList& values)
{
    if (!values.isEmpty()) {
        auto prepared = prepare(statement);
        if (!prepared)
            return prepared;
        if (const auto done = execute(prepared.value(), values); !done)
            return done.error();
        return prepared;
    }
    QSqlQuery query(m_database);
    if (!query.exec(statement))
        return DatabaseFailure{safeText(query.lastError())};
    return query;
}

DatabaseResult<QSqlQuery> DatabaseSession::prepare(const QString& statement)
{
    QSqlQuery query(m_database);
    query.setForwardOnly(true);
    if (!query.prepare(statement))
        return DatabaseFailure{safeText(query.lastError())};
    return query;
}

DatabaseResult<QSqlQuery*> DatabaseSession::prepareKept(const QString& statement)
{
    auto kept = m_kept.find(statement);
    if (kept == m_kept.end()) {
        auto prepared = prepare(statement);
        if (!prepared)
            return prepared.error();
        kept = m_kept.emplace(statement, std::move(prepared).value()).first;
    }
    return &kept->second;
}

DatabaseResult<QSqlQuery*> DatabaseSession::runKept(const QString& statement,
                                                    const QVariantList& values)
{
    auto kept = prepareKept(statement);
    if (!kept)
        return kept;
    if (const auto done = execute(*kept.value(), values); !done)
        return done.error();
    return kept;
}

DatabaseResult<std::monostate> DatabaseSession::execute(QSqlQuery& prepared,
                                                        const QVariantList& values)
{
    for (qsizetype i = 0; i < values.size(); ++i)
        prepared.bindValue(static_cast<int>(i), values.at(i));
    if (!prepared.exec())
        return DatabaseFailure{safeText(prepared.lastError())};
    return std::monostate();
}

DatabaseResult<std::monostate> DatabaseSession::allRead(const QSqlQuery& query)
{
    if (query.lastError().isValid())
        return DatabaseFailure{safeText(query.lastError())};
    return std::monostate();
}

DatabaseResult<QSqlQuery> DatabaseSession::begin()
{
    // At once a writer: a reader that becomes one may find that another was faster.
    return run(m_kind == DatabaseAddress::Kind::Sqlite ? QStringLiteral("begin immediate")
                                                       : QStringLiteral("begin"));
}

DatabaseResult<QSqlQuery> DatabaseSession::beginExclusive()
{
    auto begun = begin();
    if (!begun || m_kind == DatabaseAddress::Kind::Sqlite)
        return begun;
    return run(QString::fromLatin1(kAdvisoryLock));
}

DatabaseResult<QSqlQuery> DatabaseSession::beginSnapshot()
{
    return run(m_kind == DatabaseAddress::Kind::Sqlite
                   ? QStringLiteral("begin")
                   : QStringLiteral("begin isolation level repeatable read, read only"));
}

} // namespace service
