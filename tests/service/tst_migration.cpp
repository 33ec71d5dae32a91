// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// A database of the version before is served at once, and its rows arrive whatever happens to the
// processes that move them.
#include "service/database/database_address.h"
#include "service/database/old_rows.h"
#include "service/password_hasher.h"
#include "tests/service/schema_2.h"
#include "tests/service/service_requests.h"
#include "tests/support/postgres_server.h"
#include "tests/support/required_programs.h"
#include "tests/support/service_process.h"
#include "tests/support/test_program.h"

#include <QElapsedTimer>
#include <QTest>

#include <memory>

using requests::statusOf;

namespace {

constexpr int kRows = 40'000;

} // namespace

class TestMigration : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase_data()
    {
        QTest::addColumn<bool>("postgres");
        QTest::addColumn<bool>("byHand");
        QTest::newRow("SQLite") << false << false;
        QTest::newRow("PostgreSQL") << true << false;
        QTest::newRow("PostgreSQL, partitioned by hand") << true << true;
    }

    void rowsArriveThoughTheServiceIsKilledAgainAndAgain()
    {
        QFETCH_GLOBAL(bool, postgres);
        QFETCH_GLOBAL(bool, byHand);
        support::ServiceProcess service;
        support::ServiceProcess other;
        support::PostgresServer server;
        QString database = service.folder() + QStringLiteral("/service.db");
        if (postgres) {
            REQUIRE_POSTGRES();
            QVERIFY(server.start());
            const auto made = server.newDatabase();
            QVERIFY(made);
            database = made.value();
        }
        service.setDatabase(database);
        const service::PasswordHasher initialised;
        const auto address = service::parseDatabaseAddress(database);
        QVERIFY(address);
        auto opened = service::DatabaseSession::open(address.value());
        QVERIFY(opened);
        service::DatabaseSession& session = *opened.value();
        QVERIFY(fill(session, byHand));

        int kills = 0;
        while (kills < 2) {
            const QString before = movedUntil(session);
            QElapsedTimer timer;
            timer.start();
            QVERIFY(service.start(database));
            QVERIFY(timer.elapsed() < 5000);
            QCOMPARE(statusOf(requests::upload(service.port(), "x", "{}")), 401);
            // The lease of the one that was killed ends before another one goes on.
            QTRY_VERIFY_WITH_TIMEOUT(movedUntil(session) != before, 60'000);
            service.kill();
            ++kills;
        }
        QVERIFY(movedUntil(session) != QString()); // in the middle, or done
        QVERIFY(service.start(database));
        QVERIFY(other.start(database));
        const auto isDone = [&] {
            const auto there = service::hasOldTable(session);
            return there && !there.value();
        };
        QTRY_VERIFY_WITH_TIMEOUT(isDone(), 120'000);
        QCOMPARE(service.summary(),
                 QStringLiteral("user 1: %1 rows, %2 seconds, 1 devices, 0 tokens\n")
                     .arg(kRows)
                     .arg(10 * kRows));
        QCOMPARE(service.stop(), std::optional(0));
        QCOMPARE(other.stop(), std::optional(0));
    }

private:
    static bool fill(service::DatabaseSession& session, bool byHand)
    {
        using schema_2::Table;
        if (!schema_2::make(session, byHand ? Table::PartitionedByHand : Table::Plain) ||
            !schema_2::addUser(session, 1, QStringLiteral("someone@example.org")))
            return false;
        const auto filled = session.inTransaction([&]() -> service::DatabaseResult<bool> {
            bool added = true;
            for (int n = 0; n < kRows; ++n)
                added = added && schema_2::addRow(session, 1, "device", schema_2::row(n, 10));
            return added;
        });
        return filled && filled.value();
    }

    /// How far the rows have been moved; empty as long as none has.
    static QString movedUntil(service::DatabaseSession& session)
    {
        auto found = session.run(QStringLiteral("select old_next from users where id = 1"));
        return found && found.value().next() ? found.value().value(0).toString() : QString();
    }
};

QUILLSTEP_TEST(TestMigration)
#include "tst_migration.moc"
