// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/database/database_address.h"
#include "service/result.h"

#include <QScopeGuard>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QString>
#include <QVariantList>

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <tuple>
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
    /// What the session is for decides what it may do and how long it may take. Statements of
    /// `Reports` end after 3 seconds (PostgreSQL; SQLite knows no limit) and change nothing.
    /// `Commands` have no limit for a statement; they wait for locks of others for 5 seconds.
    enum class Purpose : std::uint8_t { Reading, Writing, Reports, Commands };

    /// Connects. What a commit has acknowledged survives a crash and the loss of power. An SQLite
    /// file that is not there is made, for its owner only, but not for `Reports`.
    [[nodiscard]] static Result<std::unique_ptr<DatabaseSession>>
    open(const DatabaseAddress& address, Purpose purpose = Purpose::Commands);

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

    /// After the last row of what a statement yielded: whether it was that, or what followed could
    /// not be read any more.
    [[nodiscard]] static DatabaseResult<std::monostate> allRead(const QSqlQuery& query);

    /// Runs one statement that is kept prepared for the next time; only one that comes again in the
    /// same words. What it yields has to be read, and finish() called, before it is run again.
    [[nodiscard]] DatabaseResult<QSqlQuery*> runKept(const QString& statement,
                                                     const QVariantList& values);

    /// Such a statement before it is run.
    [[nodiscard]] DatabaseResult<QSqlQuery*> prepareKept(const QString& statement);

    [[nodiscard]] bool isPostgreSql() const { return m_kind == DatabaseAddress::Kind::PostgreSql; }

    /// The months whose partitions this session knows to be there.
    [[nodiscard]] std::set<int>& knownMonths() { return m_knownMonths; }

    /// Runs `work`, which returns a DatabaseResult, in a transaction that is rolled back when it
    /// fails.
    template <typename Work> [[nodiscard]] auto inTransaction(Work work) -> decltype(work())
    {
        return finish(begin(), std::move(work));
    }

    /// The same for `work` that only reads, and sees nothing of what others do meanwhile. In SQLite
    /// it may write to temporary tables.
    template <typename Work> [[nodiscard]] auto inSnapshot(Work work) -> decltype(work())
    {
        return finish(beginSnapshot(), std::move(work));
    }

    /// The same as inTransaction(); meanwhile no other process is in a transaction begun by this
    /// function.
    template <typename Work>
    [[nodiscard]] auto inExclusiveTransaction(Work work) -> decltype(work())
    {
        return finish(beginExclusive(), std::move(work));
    }

private:
    DatabaseSession(const DatabaseAddress& address, Purpose purpose, QString connection);

    [[nodiscard]] Outcome connect(const DatabaseAddress& address);
    [[nodiscard]] Outcome prepareSqlite();
    [[nodiscard]] Outcome preparePostgreSql();
    [[nodiscard]] DatabaseResult<QSqlQuery> begin();
    [[nodiscard]] DatabaseResult<QSqlQuery> beginExclusive();
    [[nodiscard]] DatabaseResult<QSqlQuery> beginSnapshot();

    template <typename Work>
    [[nodiscard]] auto finish(const DatabaseResult<QSqlQuery>& begun, Work work) -> decltype(work())
    {
        if (!begun)
            return begun.error();
        // Also when it throws, which its caller knows about and the next one must not notice.
        bool done = false;
        const auto undo = qScopeGuard([&] {
            if (!done)
                std::ignore = run(QStringLiteral("rollback"));
        });
        auto result = work();
        if (!result)
            return result;
        done = true;
        const auto ended = run(QStringLiteral("commit"));
        if (!ended)
            return ended.error();
        return result;
    }

    DatabaseAddress::Kind m_kind;
    Purpose m_purpose;
    QString m_connection;
    QSqlDatabase m_database;
    std::map<QString, QSqlQuery> m_kept; // goes before the connection
    std::set<int> m_knownMonths;
};

} // namespace service
