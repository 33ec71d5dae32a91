// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/database/database_address.h"
#include "service/result.h"

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QString>
#include <QVariantList>

#include <memory>
#include <string>
#include <type_traits>
#include <variant>

namespace service {

/// That the database could not do what was asked: it is away, or too busy. After it the session is
/// of no more use. `text` is for the operator; it holds neither values nor passwords.
struct DatabaseFailure
{
    std::string text;
};

template <typename T> using DatabaseResult = Result<T, DatabaseFailure>;

/// One connection to the database. Only on the thread that opened it; calls block on the database.
class DatabaseSession final
{
public:
    /// Connects. What a commit has acknowledged survives a crash and the loss of power. A new
    /// SQLite file is for its owner only.
    [[nodiscard]] static Result<std::unique_ptr<DatabaseSession>>
    open(const DatabaseAddress& address);

    DatabaseSession(const DatabaseSession&) = delete;
    DatabaseSession& operator=(const DatabaseSession&) = delete;
    ~DatabaseSession();

    /// Runs one statement with its values; the query stands before its first row.
    [[nodiscard]] DatabaseResult<QSqlQuery> run(const QString& statement,
                                                const QVariantList& values = {});

    /// The same in two steps, for a statement that is run several times.
    [[nodiscard]] DatabaseResult<QSqlQuery> prepare(const QString& statement);
    [[nodiscard]] static DatabaseResult<std::monostate> execute(QSqlQuery& prepared,
                                                                const QVariantList& values);

    /// Runs `work`, which returns a DatabaseResult, in a transaction that is rolled back when it
    /// fails.
    template <typename Work> [[nodiscard]] auto inTransaction(Work work) -> decltype(work())
    {
        return finish(begin(), std::move(work));
    }

    /// The same; meanwhile no other process is in a transaction begun by this function.
    template <typename Work>
    [[nodiscard]] auto inExclusiveTransaction(Work work) -> decltype(work())
    {
        return finish(beginExclusive(), std::move(work));
    }

private:
    DatabaseSession(const DatabaseAddress& address, QString connection);

    [[nodiscard]] Outcome connect(const DatabaseAddress& address);
    [[nodiscard]] Outcome prepareSqlite();
    [[nodiscard]] Outcome preparePostgreSql();
    [[nodiscard]] DatabaseResult<QSqlQuery> begin();
    [[nodiscard]] DatabaseResult<QSqlQuery> beginExclusive();

    template <typename Work>
    [[nodiscard]] auto finish(const DatabaseResult<QSqlQuery>& begun, Work work) -> decltype(work())
    {
        if (!begun)
            return begun.error();
        auto result = work();
        const auto ended = run(result ? QStringLiteral("commit") : QStringLiteral("rollback"));
        if (result && !ended)
            return ended.error();
        return result;
    }

    DatabaseAddress::Kind m_kind;
    QString m_connection;
    QSqlDatabase m_database;
};

} // namespace service
