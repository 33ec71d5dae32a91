// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// What the tables hold after uploads, retries, deletions and the passing of time, on both
// databases.
#include "service/database/accounts.h"
#include "service/database/activity_rows.h"
#include "service/database/database.h"
#include "service/database/database_text.h"
#include "service/database/days.h"
#include "service/database/devices.h"
#include "service/database/job_runner.h"
#include "service/database/old_rows.h"
#include "service/database/partitions.h"
#include "service/database/retention.h"
#include "service/database/schema.h"
#include "service/database/stored_bytes.h"
#include "service/database/stored_runs.h"
#include "service/database/summary.h"
#include "service/database/usual_jobs.h"
#include "service/password_hasher.h"
#include "tests/service/pack_of.h"
#include "tests/service/schema_2.h"
#include "tests/support/postgres_server.h"
#include "tests/support/required_programs.h"
#include "tests/support/test_program.h"

#include <QDeadlineTimer>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <atomic>
#include <latch>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <semaphore>
#include <stdexcept>
#include <thread>
#include <unordered_map>
#include <vector>

using namespace service;

namespace {

constexpr std::int64_t kDay = 20'400;
constexpr std::int64_t kMidnight = kDay * kSecondsOfADay;

UploadedActivity activity(std::int64_t start, std::int64_t seconds, const std::string& app = "app")
{
    return {.appName = app,
            .windowTitle = "title of " + app,
            .url = std::nullopt,
            .durationSeconds = seconds,
            .startTime = start};
}

/// Gives the portions one after the other.
NextRows portions(std::vector<std::vector<UploadedActivity>> all)
{
    return [all = std::move(all), next = std::size_t(0)]() mutable {
        return next < all.size() ? all[next++] : std::vector<UploadedActivity>();
    };
}

const UploadHead kHead = {.deviceId = "device", .syncTimestamp = 0, .intervalMinutes = 5};

/// Two rows of 10 and 20 seconds that differ in the application, which their keys do not show.
std::vector<UploadedActivity> rowsWithTheSameKey()
{
    std::unordered_map<std::int32_t, int> seen;
    for (int n = 0;; ++n) {
        const UploadedActivity row = activity(kMidnight, 20, std::to_string(n));
        const auto [there, isNew] = seen.emplace(keyOfRow(kHead.deviceId, row).digest, n);
        if (!isNew)
            return {activity(kMidnight, 10, std::to_string(there->second)), row};
    }
}

} // namespace

class TestStoredHistory : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase_data()
    {
        QTest::addColumn<bool>("postgres");
        QTest::newRow("SQLite") << false;
        QTest::newRow("PostgreSQL") << true;
    }

    void init()
    {
        QFETCH_GLOBAL(bool, postgres);
        if (postgres)
            REQUIRE_POSTGRES();
        QVERIFY(newDatabase());
        m_session = open();
        QVERIFY(m_session);
        if (QByteArray(QTest::currentTestFunction()).startsWith("old"))
            return;
        QVERIFY(prepareSchema(*m_session));
        const auto user = service::addUser(*m_session, "a@example.org", "A", "hash");
        QVERIFY(user && user.value() == 1);
    }

    void cleanup() { m_session.reset(); }

    void aRowThatComesAgainKeepsTheGreaterDuration()
    {
        for (const std::int64_t seconds : {10, 25, 7}) {
            const auto stored = store({{activity(kMidnight, seconds)}});
            QVERIFY(stored);
            QCOMPARE(stored.value(), 1);
        }
        QCOMPARE(summaryText(), std::string("user 1: 1 rows, 25 seconds, 1 devices, 0 tokens\n"));
        QCOMPARE(packOfDay(kDay).seconds(), 25);
    }

    void equalRowsInDifferentPortionsAreAddedUp()
    {
        constexpr auto kMost = std::numeric_limits<std::int64_t>::max();
        const std::vector<std::vector<UploadedActivity>> all = {
            {activity(kMidnight, 10), activity(kMidnight, 5), activity(-5, kMost, "\"b\\")},
            {activity(kMidnight, 20), activity(kMidnight - 10, 30, "c")},
            {activity(-5, 9, "\"b\\"), activity(-7, -kMost - 1, "d")},
            {activity(-7, -8, "d")}};
        for (int times = 0; times < 2; ++times) {
            const auto stored = store(all);
            QVERIFY(stored);
            QCOMPARE(stored.value(), 8);
        }
        // 35 + 30 + the most - (the most + 1)
        QCOMPARE(summaryText(), std::string("user 1: 4 rows, 64 seconds, 1 devices, 0 tokens\n"));
        QCOMPARE(packOfDay(kDay).seconds(), 35 + 20);
        QCOMPARE(packOfDay(kDay - 1).seconds(), 10);
        QVERIFY(store({{activity(kMidnight, 36)}}));
        QCOMPARE(packOfDay(kDay).seconds(), 36 + 20);
    }

    void rowsWhoseKeysAgreeCountAsOne()
    {
        const std::vector<UploadedActivity> rows = rowsWithTheSameKey();
        QVERIFY(store({rows}));
        QCOMPARE(summaryText(), std::string("user 1: 1 rows, 30 seconds, 1 devices, 0 tokens\n"));
        QVERIFY(store({{rows[0]}, {rows[1]}}));
        QCOMPARE(summaryText(), std::string("user 1: 1 rows, 30 seconds, 1 devices, 0 tokens\n"));
    }

    void rowsOfAllTimesAreReadInTheirOrder()
    {
        constexpr std::int64_t kYear = 31'556'952;
        const std::vector<std::int64_t> starts = {-999'999'999 * kYear,
                                                  -6'000'000 * kYear,
                                                  -5'000'000 * kYear,
                                                  -86'401,
                                                  -86'400,
                                                  -1,
                                                  0,
                                                  kFirstCountedSecond - 1,
                                                  kFirstCountedSecond,
                                                  kMidnight - 1,
                                                  kMidnight,
                                                  kMidnight + 86'399,
                                                  kEndOfCountedSeconds - 1,
                                                  kEndOfCountedSeconds,
                                                  5'000'000 * kYear,
                                                  999'999'999 * kYear};
        std::vector<UploadedActivity> rows;
        std::vector<RunKey> keys;
        for (const std::int64_t start : starts) {
            rows.push_back(activity(start, 1));
            keys.push_back(keyOfRow(kHead.deviceId, rows.back()));
        }
        // Those that are held at the first day are in the order of their digests.
        std::ranges::sort(keys);
        QVERIFY(store({rows}));
        std::vector<RunKey> read;
        std::optional<StoredRun> last;
        do {
            const auto some = runsBehind(*m_session, 1, last, 3);
            QVERIFY(some);
            last.reset();
            for (const StoredRun& run : some.value()) {
                read.push_back(run.key);
                last = run;
            }
        } while (last);
        QCOMPARE(read, keys);
        QCOMPARE(summaryText(), std::string("user 1: 16 rows, 16 seconds, 1 devices, 0 tokens\n"));
        QCOMPARE(bytesOfRows(*m_session, 1).value(), 16 * (100 + 3 + 12));
    }

    void textsAreStoredAsTheyAreButForTheZero()
    {
        const std::vector<std::pair<std::string, std::string>> texts = {
            {"", ""},
            {"NULL", "NULL"},
            {"\"", "\""},
            {"a\\\"b,{}'\\", "a\\\"b,{}'\\"},
            {"\xC3\xA4\xF0\x9F\x8C\x99\n", "\xC3\xA4\xF0\x9F\x8C\x99\n"},
            {std::string("\0a\0", 3),
             "\xE2\x90\x80"
             "a\xE2\x90\x80"}};
        std::vector<UploadedActivity> rows;
        for (const auto& [given, stored] : texts) {
            rows.push_back(activity(kMidnight + static_cast<std::int64_t>(rows.size()), 1, given));
            rows.back().windowTitle = given;
        }
        rows.push_back(activity(kMidnight + static_cast<std::int64_t>(rows.size()), 1, "none"));
        rows.back().windowTitle.reset();
        QVERIFY(store({rows}));
        auto found =
            m_session->run(QStringLiteral("select app_name, window_title, url from runs where "
                                          "user_id = 1 order by start_day, start_second"));
        QVERIFY(found);
        for (const auto& [given, stored] : texts) {
            QVERIFY(found.value().next());
            QCOMPARE(found.value().value(0).toString().toStdString(), stored);
            QVERIFY(!found.value().isNull(1));
            QCOMPARE(found.value().value(1).toString().toStdString(), stored);
            QVERIFY(found.value().isNull(2));
        }
        QVERIFY(found.value().next());
        QVERIFY(found.value().isNull(1));
    }

    void anUploadOfWhichTheRestCannotBeReadLeavesNothing()
    {
        Database database(m_address);
        int portion = 0;
        const auto next = [&]() -> std::vector<UploadedActivity> {
            if (++portion == 3)
                throw std::runtime_error("cut off");
            return {activity(kMidnight + portion, 5)};
        };
        QVERIFY_THROWS_EXCEPTION(std::runtime_error, std::ignore = database.store(1, kHead, next));
        QCOMPARE(summaryText(), std::string("user 1: 0 rows, 0 seconds, 0 devices, 0 tokens\n"));
        const auto stored = database.store(1, kHead, portions({{activity(kMidnight, 5)}}));
        QVERIFY(stored);
        QCOMPARE(summaryText(), std::string("user 1: 1 rows, 5 seconds, 1 devices, 0 tokens\n"));
        QVERIFY(!database.store(2, kHead, portions({{activity(kMidnight, 5)}})));
    }

    void theGreatestDurationsOfManyRowsAddUp()
    {
        constexpr int kRows = 1'000'001; // more than the millions of which 64 bits can hold
        QVERIFY(store({{activity(kFirstCountedSecond - 1, 5)}}));
        QVERIFY(m_session->run(
            QStringLiteral("with recursive n (i) as (select 1 union all select i + 1 from n where "
                           "i < %1) insert into runs (user_id, start_day, start_second, digest, "
                           "duration_seconds, device, app_name) select 1, 1, 2, i, "
                           "9223372036854775807, 1, 'app' from n")
                .arg(kRows)));
        QCOMPARE(summaryText(),
                 std::string("user 1: 1000002 rows, 9223381260226812661775812 seconds, 1 devices, "
                             "0 tokens\n"));
        while (packSomeDays(*m_session, secondsNow()).value()) {
        }
        // What is kept of a day has a bound.
        QCOMPARE(summaryText(),
                 std::string("user 1: 1000002 rows, 100000000000000000000 seconds, 1 devices, "
                             "0 tokens\n"));
    }

    void longUploadsKeepNobodyFromSigningIn()
    {
        Database database(m_address);
        constexpr int kUploads = 4;
        std::counting_semaphore<> mayGoOn(0);
        std::atomic<int> inHand = 0;
        std::atomic<std::int64_t> stored = 0;
        std::atomic<bool> written = false;
        std::vector<std::jthread> threads;
        const auto goOn = qScopeGuard([&] { mayGoOn.release(kUploads); });
        for (int i = 0; i < kUploads; ++i)
            threads.emplace_back([&, i] {
                int portion = 0;
                const auto next = [&]() -> std::vector<UploadedActivity> {
                    if (++portion > 3)
                        return {};
                    if (portion == 3) {
                        ++inHand;
                        mayGoOn.acquire();
                    }
                    return {activity(kMidnight + 10 * portion, 5)};
                };
                const auto done = database.store(1, {.deviceId = std::to_string(i)}, next);
                stored += done ? done.value() : 0;
            });
        QTRY_VERIFY_WITH_TIMEOUT(inHand > 0, 30'000);
        threads.emplace_back([&] {
            written = static_cast<bool>(database.write([](DatabaseSession& session) {
                return addFailure(session, "account", "network");
            }));
        });
        QTRY_VERIFY_WITH_TIMEOUT(written, 30'000);
        QCOMPARE(stored, 0);
        mayGoOn.release(kUploads);
        threads.clear();
        QCOMPARE(stored, 3 * kUploads);
        QCOMPARE(summaryText(), std::string("user 1: 12 rows, 60 seconds, 4 devices, 0 tokens\n"));
    }

    void whatAnUploadTellsOfItsDeviceIsKept()
    {
        const std::int64_t now = secondsNow();
        for (const char* device : {"one", "two", "one", "three"})
            QVERIFY(
                storeUpload(*m_session,
                            1,
                            {.deviceId = device, .syncTimestamp = now + 100, .intervalMinutes = 7},
                            portions({})));
        QVERIFY(renameDevice(*m_session, 1, 2, "Laptop").value());
        QVERIFY(!renameDevice(*m_session, 1, 9, "Laptop").value());
        const auto devices = listDevices(*m_session, 1);
        QVERIFY(devices);
        QCOMPARE(devices.value().size(), 3u);
        QCOMPARE(devices.value()[0].name, std::string("Desktop"));
        QCOMPARE(devices.value()[1].name, std::string("Laptop"));
        QCOMPARE(devices.value()[2].name, std::string("Desktop 3"));
        QCOMPARE(devices.value()[0].intervalMinutes, std::optional<std::int64_t>(7));
        QVERIFY(devices.value()[0].lastSeen.value() >= now);
        QVERIFY(std::abs(devices.value()[0].clockSkewSeconds.value() - 100) < 60);
    }

    void aDeviceIsCountedAsSilentAfterThreeOfItsIntervals()
    {
        QVERIFY(store({}));
        const auto devices = listDevices(*m_session, 1);
        QVERIFY(devices && devices.value().size() == 1);
        const std::int64_t last = devices.value()[0].lastSeen.value() + 3 * 5 * 60;
        const auto atLast = countAll(*m_session, last);
        QVERIFY(atLast);
        QCOMPARE(atLast.value().devicesReporting, 1);
        QCOMPARE(atLast.value().devicesSilent, 0);
        const auto after = countAll(*m_session, last + 1);
        QVERIFY(after);
        QCOMPARE(after.value().devicesReporting, 0);
        QCOMPARE(after.value().devicesSilent, 1);
    }

    void theSiteIsThatOfTheDashboard()
    {
        std::vector<UploadedActivity> rows = {
            activity(kMidnight, 1, "a"), activity(kMidnight, 1, "b"), activity(kMidnight, 1, "c")};
        rows[0].url = "https://user@www.example.org:8/x";
        rows[1].url = "file:///x";
        rows[2].url = "";
        QVERIFY(store({rows}));
        const DayPack pack = packOfDay(kDay);
        QCOMPARE(pack.sites, (std::vector<std::string>{"file:///x", "www.example.org"}));
        QVERIFY(!pack.entries[2].site);
    }

    void aLongAddressWithoutAHostIsCutToASite()
    {
        UploadedActivity row = activity(kMidnight, 1);
        row.url = "file:///" + std::string(5000, 'x');
        QVERIFY(store({{row}}));
        QCOMPARE(packOfDay(kDay).sites, std::vector<std::string>{row.url->substr(0, 255)});
    }

    void anUploadClearsThePacksOfItsDaysOnly()
    {
        QVERIFY(store({{activity(kMidnight, 10), activity(kMidnight + 3 * kSecondsOfADay, 10)}}));
        const auto before = daysOfAll();
        QCOMPARE(before.size(), 2u);
        QCOMPARE(daysWithoutPack(), 0);
        QVERIFY(store({{activity(kMidnight - 10, 20)}})); // reaches into the day
        QCOMPARE(daysWithoutPack(), 2);
        const auto after = daysOfAll();
        QCOMPARE(after.size(), 3u);
        QVERIFY(after[1].version > before[0].version);
        QCOMPARE(after[2].version, before[1].version);
        QCOMPARE(after[1].pack.seconds(), 20);
    }

    void aPackThatIsNoLongerRightIsNotKept()
    {
        QVERIFY(store({{activity(kMidnight, 10)}}));
        std::vector<PackToKeep> late;
        QVERIFY(readDays(*m_session, 1, {.first = kDay, .last = kDay}, late));
        QCOMPARE(late.size(), 1u);
        QVERIFY(store({{activity(kMidnight, 11)}}));
        QVERIFY(keepPacks(*m_session, late));
        QCOMPARE(daysWithoutPack(), 1);
        QCOMPARE(packOfDay(kDay).seconds(), 11);
    }

    void newRulesForCategoriesPackAllDaysAnew()
    {
        QVERIFY(store({{activity(kMidnight, 10, "code"), activity(kMidnight, 5, "mail")}}));
        QVERIFY(packOfDay(kDay).categories.empty());
        const std::vector<CategoryRule> rules = {
            {.name = "work", .field = CategoryRule::Field::App, .how = {}, .pattern = "CODE"}};
        QVERIFY(setCategories(*m_session, 1, rules));
        QCOMPARE(listCategories(*m_session, 1).value(), rules);
        QCOMPARE(packOfDay(kDay).categories, std::vector<std::string>{"work"});
    }

    /// A day that an upload begins while the rules change is packed by the new ones.
    void newRulesReachADayThatIsJustBeginning()
    {
        if (!m_session->isPostgreSql())
            return; // SQLite has one writer at a time
        QVERIFY(store({{activity(kMidnight, 10, "code")}}));
        auto other = open();
        const auto observer = open();
        QVERIFY(other && observer);
        const auto waiting = [&] {
            auto found = observer->run(
                QStringLiteral("select count(*) from pg_stat_activity where "
                               "wait_event_type = 'Lock' and datname = current_database()"));
            return found && found.value().next() ? found.value().value(0).toInt() : -1;
        };
        // The upload has begun the day before, and waits with this one.
        QVERIFY(other->run(QStringLiteral("begin")));
        QVERIFY(other->run(QStringLiteral("select day from days where user_id = 1 for update")));
        std::atomic<bool> stored = false;
        std::jthread upload([&] {
            const auto session = open();
            const std::vector<UploadedActivity> rows = {
                activity(kMidnight - kSecondsOfADay, 60, "code"), activity(kMidnight, 20, "code")};
            stored = session && session->run(QStringLiteral("set lock_timeout = 0")) &&
                     storeUpload(*session, 1, kHead, portions({rows}));
        });
        const auto letGo = qScopeGuard([&] { other.reset(); });
        QTRY_COMPARE_WITH_TIMEOUT(waiting(), 1, 30'000);
        std::atomic<bool> changed = false;
        std::jthread rules([&] {
            const auto session = open();
            changed = session && setCategories(*session, 1, {{.name = "work", .pattern = "code"}});
        });
        QTRY_COMPARE_WITH_TIMEOUT(waiting(), 2, 30'000);
        other.reset();
        upload.join();
        rules.join();
        QVERIFY(stored);
        QVERIFY(changed);
        // Both days were last changed by the transaction of the rules.
        auto changes = m_session->run(QStringLiteral(
            "select count(*), count(distinct cast(xmin as text)) from days where user_id = 1"));
        QVERIFY(changes && changes.value().next());
        QCOMPARE(changes.value().value(0).toInt(), 2);
        QCOMPARE(changes.value().value(1).toInt(), 1);
        QCOMPARE(packOfDay(kDay - 1).categories, std::vector<std::string>{"work"});
    }

    /// However long the rows of many portions take in one statement.
    void anUploadInPortionsHasNoTimeLimit()
    {
        if (!m_session->isPostgreSql())
            return; // SQLite knows none
        QVERIFY(store({{activity(kMidnight, 10)}}));
        auto other = open();
        const auto observer = open();
        QVERIFY(other && observer);
        QVERIFY(other->run(QStringLiteral("begin")));
        QVERIFY(other->run(QStringLiteral("select day from days where user_id = 1 for update")));
        std::atomic<bool> stored = false;
        std::jthread upload([&] {
            const auto session = open();
            stored =
                session && session->run(QStringLiteral("set lock_timeout = 0")) &&
                session->run(QStringLiteral("set statement_timeout = '1s'")) &&
                storeUpload(*session,
                            1,
                            kHead,
                            portions({{activity(kMidnight, 20)}, {activity(kMidnight + 1, 5)}}));
        });
        const auto letGo = qScopeGuard([&] { other.reset(); });
        const auto waitsForLong = [&] {
            auto found = observer->run(
                QStringLiteral("select count(*) from pg_stat_activity where wait_event_type = "
                               "'Lock' and datname = current_database() and "
                               "clock_timestamp() - query_start > interval '1500 ms'"));
            return found && found.value().next() && found.value().value(0).toInt() == 1;
        };
        QTRY_VERIFY_WITH_TIMEOUT(waitsForLong(), 30'000);
        other.reset();
        upload.join();
        QVERIFY(stored);
        QCOMPARE(packOfDay(kDay).seconds(), 25);
    }

    /// Two writers and two readers; whatever they did, each pack is what the rows add up to.
    void packsAreTheRecountAfterAnyHistory()
    {
        const unsigned seed = std::random_device()();
        qInfo("seed %u", seed);
        std::atomic<bool> failed = false;
        std::latch begin(2);
        const auto work = [&](unsigned number) {
            std::mt19937 random(seed + number);
            const auto session = open();
            begin.arrive_and_wait();
            for (int step = 0; step < 150 && session != nullptr; ++step)
                failed = failed || !randomStep(*session, random);
            failed = failed || session == nullptr;
        };
        {
            const std::jthread one(work, 1U);
            const std::jthread two(work, 2U);
        }
        QVERIFY(!failed);
        const auto days = daysOfAll();
        QVERIFY(days.size() > 3);
        for (const PackedDay& day : days) {
            const auto runs = runsOfDay(*m_session, 1, day.day);
            QVERIFY(runs);
            QCOMPARE(day.pack, packOf(day.day, runs.value(), {}));
        }
        // The kept sums are those of the rows, too.
        auto counted = m_session->run(QStringLiteral(
            "select count(*), cast(sum(duration_seconds) as bigint) from runs where user_id = 1"));
        QVERIFY(counted && counted.value().next());
        const std::string line = "user 1: " + counted.value().value(0).toString().toStdString() +
                                 " rows, " + counted.value().value(1).toString().toStdString() +
                                 " seconds,";
        QVERIFY2(summaryText().starts_with(line), summaryText().c_str());
    }

    void rowsGoWithTheirMonthAndTheSumsOfTheirDaysStay()
    {
        const std::int64_t now = secondsNow();
        const std::int64_t today = now / kSecondsOfADay;
        const std::vector<std::int64_t> ages = {500, 400, 100, 20, 0};
        std::vector<UploadedActivity> rows;
        for (const std::int64_t age : ages)
            rows.push_back(activity((today - age) * kSecondsOfADay, 60));
        rows.push_back(activity(5, 7, "absurd"));
        QVERIFY(store({rows}));
        const Retention retention = {.keepRunsDays = 50, .keepDaysDays = 450};
        const auto planned = countToPrune(*m_session, retention, now);
        QVERIFY(planned);
        QCOMPARE(planned.value().days, 1);
        const auto pruned = prune(*m_session, retention, now);
        QVERIFY(pruned);
        QCOMPARE(pruned.value(), planned.value());
        QCOMPARE(pruned.value().partitions, m_session->isPostgreSql() ? 3 : 0);
        QCOMPARE(pruned.value().runs, m_session->isPostgreSql() ? 1 : 4);
        const auto days = daysOfAll();
        QCOMPARE(days.size(), 4u);
        for (const PackedDay& day : days)
            QCOMPARE(day.pack.seconds(), 60);
        // What comes late into a day whose rows have gone neither takes its sums away nor stays.
        QVERIFY(store({{activity((today - 400) * kSecondsOfADay + 100, 5)}}));
        QCOMPARE(daysOfAll().front().pack.seconds(), 60);
        QVERIFY(prune(*m_session, retention, now));
        auto left = m_session->run(QStringLiteral("select count(*) from runs where user_id = 1"));
        QVERIFY(left && left.value().next());
        QCOMPARE(left.value().value(0).toInt(), 2);
        QCOMPARE(daysOfAll().front().pack.seconds(), 60);
    }

    /// What is stored into a month while it is about to go is added up before.
    void anUploadInFlightIsNotLostWithItsMonth()
    {
        if (!m_session->isPostgreSql())
            return; // SQLite has no months, and one writer at a time
        const std::int64_t now = kMidnight;
        const std::int64_t old = now - 200 * kSecondsOfADay;
        QVERIFY(store({{activity(now, 1)}}));
        auto other = open();
        const auto observer = open();
        QVERIFY(other && observer);
        const auto waitsFor = [&](const char* mode) {
            auto found = observer->run(
                QStringLiteral("select count(*) from pg_locks where not granted and mode = ?"),
                {QString::fromLatin1(mode)});
            return found && found.value().next() && found.value().value(0).toInt() > 0;
        };
        // The upload has put its row into the old month, and waits with today's day.
        QVERIFY(other->run(QStringLiteral("begin")));
        QVERIFY(other->run(QStringLiteral("select day from days where user_id = 1 for update")));
        std::atomic<bool> stored = false;
        std::jthread upload([&] {
            const auto session = open();
            stored =
                session &&
                storeUpload(*session, 1, kHead, portions({{activity(old, 60), activity(now, 2)}}));
        });
        const auto letGo = qScopeGuard([&] { other.reset(); });
        QTRY_VERIFY_WITH_TIMEOUT(waitsFor("ShareLock"), 30'000);
        std::atomic<bool> pruned = false;
        std::jthread pruner([&] {
            const auto session = open();
            for (int tries = 0; tries < 100 && session && !pruned; ++tries) {
                const auto done = prune(*session, {.keepRunsDays = 50, .keepDaysDays = {}}, now);
                pruned = done && done.value().partitions == 1;
            }
        });
        QTRY_VERIFY_WITH_TIMEOUT(waitsFor("AccessExclusiveLock"), 30'000);
        other.reset();
        upload.join();
        pruner.join();
        QVERIFY(stored);
        QVERIFY(pruned);
        QCOMPARE(packOfDay(old / kSecondsOfADay).seconds(), 60);
        QCOMPARE(packOfDay(kDay).seconds(), 2);
    }

    void jobsAreDoneByOneAtATimeAndTellHowTheyEnded()
    {
        std::atomic<int> steps = 0;
        std::atomic<int> inside = 0;
        std::atomic<bool> together = false;
        const std::vector<Job> jobs = {
            {.name = "counted",
             .period = std::chrono::hours(1),
             .step = [&](DatabaseSession&) -> DatabaseResult<Job::Step> {
                 together = together || ++inside != 1;
                 std::this_thread::yield();
                 --inside;
                 const int step = ++steps;
                 return Job::Step{.more = step < 50, .result = "step " + std::to_string(step)};
             }},
            {.name = "failing",
             .period = std::chrono::hours(1),
             .step = [](DatabaseSession&) -> DatabaseResult<Job::Step> {
                 return DatabaseFailure{"it failed"};
             }}};
        const JobRunner one(m_address, jobs);
        const JobRunner two(m_address, jobs);
        const auto ended = [&] {
            const auto lines = listJobs(*m_session);
            return lines && lines.value().size() == 2 && lines.value()[0].result == "step 50" &&
                   lines.value()[1].result == "it failed" && lines.value()[0].finished;
        };
        QTRY_VERIFY_WITH_TIMEOUT(ended(), 30'000);
        QCOMPARE(steps, 50);
        QVERIFY(!together);
    }

    void aJobThatThrowsIsNotedAndTheOthersGoOn()
    {
        std::atomic<int> spoilt = 0;
        std::atomic<bool> usable = false;
        const std::vector<Job> jobs = {
            {.name = "throwing",
             .period = std::chrono::hours(1),
             .step = [](DatabaseSession&) -> DatabaseResult<Job::Step> {
                 throw std::runtime_error("text of a row");
             }},
            {.name = "spoiling", // leaves a transaction open
             .period = std::chrono::hours(1),
             .step = [&](DatabaseSession& session) -> DatabaseResult<Job::Step> {
                 ++spoilt;
                 std::ignore = session.run(QStringLiteral("begin"));
                 std::ignore = session.run(QStringLiteral("select nothing from nowhere"));
                 return DatabaseFailure{"spoilt"};
             }},
            {.name = "usable",
             .period = std::chrono::hours(1),
             .step = [&](DatabaseSession& session) -> DatabaseResult<Job::Step> {
                 usable = static_cast<bool>(
                     session.inTransaction([&] { return bumpDays(session, 1, {kDay}); }));
                 return Job::Step{.more = false, .result = "done"};
             }}};
        const std::int64_t begun = secondsNow();
        const JobRunner runner(m_address, jobs);
        const auto ended = [&] {
            const auto lines = listJobs(*m_session);
            return lines && lines.value().size() == 3 &&
                   std::ranges::all_of(lines.value(), [](const JobLine& line) {
                       return (line.finished || line.failures == 1) && !line.isRunning;
                   });
        };
        QTRY_VERIFY_WITH_TIMEOUT(ended(), 30'000);
        QVERIFY(usable);
        QCOMPARE(spoilt, 1);
        const auto lines = listJobs(*m_session);
        QVERIFY(lines);
        QCOMPARE(lines.value()[0].result, std::string("spoilt"));
        QCOMPARE(lines.value()[1].result, std::string("ended by an exception"));
        for (const int failed : {0, 1}) {
            const JobLine& line = lines.value()[static_cast<std::size_t>(failed)];
            QVERIFY(line.due >= begun + 60);
            QVERIFY2(!line.finished, "what has failed looks as if it were done");
        }
        QVERIFY(lines.value()[2].finished);
    }

    void aJobThatFailsIsReportedEachTimeAndKeepsWhenItWasDone()
    {
        std::atomic<int> runs = 0;
        std::mutex mutex;
        std::vector<std::string> reports;
        const std::vector<Job> jobs = {{.name = "sometimes",
                                        .period = std::chrono::hours(1),
                                        .step = [&](DatabaseSession&) -> DatabaseResult<Job::Step> {
                                            if (++runs % 3 != 1)
                                                return DatabaseFailure{"it failed"};
                                            return Job::Step{.more = false, .result = "done"};
                                        }}};
        const JobRunner runner(m_address, jobs, [&](const std::string& text) {
            {
                const std::lock_guard lock(mutex);
                reports.push_back(text);
            }
            throw std::runtime_error("a log without memory"); // which ends nothing
        });
        const auto line = [&] {
            const auto lines = listJobs(*m_session);
            return lines && lines.value().size() == 1 ? lines.value().front() : JobLine();
        };
        QTRY_VERIFY_WITH_TIMEOUT(line().finished, 30'000);
        QVERIFY(m_session->run(QStringLiteral("update jobs set due = 0, finished = 77")));
        const auto reported = [&] {
            const std::lock_guard lock(mutex);
            return reports;
        };
        for (std::size_t times = 1; times <= 2; ++times) {
            QTRY_COMPARE_WITH_TIMEOUT(reported().size(), times, 30'000);
            QCOMPARE(line().finished, std::optional<std::int64_t>(77));
            QCOMPARE(line().failures, static_cast<std::int64_t>(times));
            QVERIFY(m_session->run(QStringLiteral("update jobs set due = 0")));
        }
        QCOMPARE(reported().front(), std::string("the job \"sometimes\" failed: it failed"));
        QTRY_COMPARE_WITH_TIMEOUT(line().failures, 0, 30'000);
        QVERIFY(line().finished != std::optional<std::int64_t>(77));
    }

    void aJobThatFailsAgainWaitsTwiceAsLong()
    {
        const std::vector<Job> jobs = {{.name = "failing",
                                        .period = std::chrono::hours(1),
                                        .step = [](DatabaseSession&) -> DatabaseResult<Job::Step> {
                                            return DatabaseFailure{"it failed"};
                                        }}};
        int failures = 0;
        for (const std::int64_t pause : {60, 120, 240}) {
            ++failures;
            QVERIFY(m_session->run(QStringLiteral("update jobs set due = 0")));
            const std::int64_t begun = secondsNow();
            const JobRunner runner(m_address, jobs);
            const auto ended = [&] {
                const auto lines = listJobs(*m_session);
                return lines && lines.value().size() == 1 && lines.value()[0].failures == failures;
            };
            QTRY_VERIFY_WITH_TIMEOUT(ended(), 30'000);
            const JobLine line = listJobs(*m_session).value()[0];
            QVERIFY(line.due >= begun + pause && line.due <= secondsNow() + pause);
        }
    }

    void aJobMayBeDueAgainSooner()
    {
        const std::vector<Job> jobs = {{.name = "waiting",
                                        .period = std::chrono::hours(24),
                                        .step = [](DatabaseSession&) -> DatabaseResult<Job::Step> {
                                            return Job::Step{.more = false,
                                                             .result = "it waits",
                                                             .again = std::chrono::minutes(10)};
                                        }}};
        const JobRunner runner(m_address, jobs);
        const auto ended = [&] {
            const auto lines = listJobs(*m_session);
            return lines && lines.value().size() == 1 && lines.value()[0].finished;
        };
        QTRY_VERIFY_WITH_TIMEOUT(ended(), 30'000);
        const JobLine line = listJobs(*m_session).value()[0];
        QCOMPARE(line.result, std::string("it waits"));
        QCOMPARE(line.due - *line.finished, 600);
    }

    void aJobThatAnotherOneHasTakenMeanwhileIsLeftToIt()
    {
        std::atomic<int> steps = 0;
        const std::vector<Job> jobs = {
            {.name = "taken",
             .period = std::chrono::hours(1),
             .step = [&](DatabaseSession& session) -> DatabaseResult<Job::Step> {
                 ++steps;
                 const auto taken =
                     session.run(QStringLiteral("update jobs set taken_by = 'another'"));
                 return taken ? DatabaseResult<Job::Step>(Job::Step{.more = true, .result = "mine"})
                              : DatabaseFailure{"not taken"};
             }},
            {.name = "last",
             .period = std::chrono::hours(1),
             .step = [](DatabaseSession&) -> DatabaseResult<Job::Step> {
                 return Job::Step{.more = false, .result = "done"};
             }}};
        // Written by a clock that was far ahead.
        QVERIFY(m_session->run(QStringLiteral("insert into jobs (name, due, taken_until) values "
                                              "('taken', 99999999999, 99999999999)")));
        const JobRunner runner(m_address, jobs);
        const auto ended = [&] {
            const auto lines = listJobs(*m_session);
            return lines && lines.value().size() == 2 && lines.value()[0].result == "done";
        };
        QTRY_VERIFY_WITH_TIMEOUT(ended(), 30'000);
        QCOMPARE(steps, 1);
        QVERIFY(!listJobs(*m_session).value()[1].finished);
    }

    void stepsLeaveUploadsAsMuchTimeInSqlite()
    {
        using Clock = std::chrono::steady_clock;
        std::mutex mutex;
        std::vector<std::pair<Clock::time_point, Clock::time_point>> steps;
        const std::vector<Job> jobs = {
            {.name = "long",
             .period = std::chrono::hours(1),
             .step = [&](DatabaseSession&) -> DatabaseResult<Job::Step> {
                 const auto begun = Clock::now();
                 while (Clock::now() - begun < std::chrono::milliseconds(60))
                     std::this_thread::yield();
                 const std::lock_guard lock(mutex);
                 steps.emplace_back(begun, Clock::now());
                 return Job::Step{.more = steps.size() < 3, .result = {}};
             }}};
        const JobRunner runner(m_address, jobs);
        const auto ended = [&] {
            const std::lock_guard lock(mutex);
            return steps.size() == 3;
        };
        QTRY_VERIFY_WITH_TIMEOUT(ended(), 30'000);
        for (std::size_t i = 1; i < 3 && !m_session->isPostgreSql(); ++i)
            QVERIFY(steps[i].first - steps[i - 1].second >= std::chrono::milliseconds(60));
    }

    void whatIsPostedAndThrowsEndsNothing()
    {
        DatabaseLane lane(m_address, DatabaseSession::Purpose::Writing, 1);
        lane.post(
            [](DatabaseSession&) -> bool { throw std::runtime_error("nobody waits for it"); });
        QVERIFY(lane.run([](DatabaseSession& session) { return hasOldTable(session); }));
    }

    void tablesAsTheyShouldBeAreUsedWhileAnotherHoldsTheLock()
    {
        const auto other = open();
        QVERIFY(m_session->inExclusiveTransaction([&]() -> DatabaseResult<std::monostate> {
            if (!prepareSchema(*other))
                return DatabaseFailure{"waited in vain"};
            return std::monostate();
        }));
        // Those of a newer program are still refused.
        QVERIFY(m_session->run(QStringLiteral("insert into schema_version (version) values (4)")));
        QVERIFY(!prepareSchema(*other));
        QCOMPARE(hasCurrentSchema(*other).value(), false);
    }

    void whatNobodyWaitsForIsDroppedAtTheEnd()
    {
        std::latch begun(1);
        std::latch ending(1);
        std::atomic<int> done = 0;
        auto held = std::make_shared<int>(); // by what is posted, until it is dropped
        const std::weak_ptr<int> waits = held;
        std::jthread ender;
        {
            DatabaseLane lane(m_address, DatabaseSession::Purpose::Writing, 1);
            QVERIFY(lane.post([&](DatabaseSession&) {
                begun.count_down();
                ending.wait();
                return ++done > 0;
            }));
            begun.wait();
            for (int i = 0; i < 50; ++i)
                QVERIFY(lane.post([&done, held](DatabaseSession&) { return ++done > 0; }));
            held.reset();
            ender = std::jthread([&] {
                const QDeadlineTimer limit(10'000);
                while (!waits.expired() && !limit.hasExpired())
                    std::this_thread::yield();
                ending.count_down();
            });
        }
        QCOMPARE(done, 1);
    }

    void theUsualJobsMakeMonthsAndPruneAndPack()
    {
        QVERIFY(store({{activity(kMidnight - 400 * kSecondsOfADay, 60), activity(kMidnight, 7)}}));
        const int oldMonth = monthOf(kMidnight - 400 * kSecondsOfADay);
        const JobRunner runner(m_address, usualJobs({.keepRunsDays = 100, .keepDaysDays = {}}));
        const auto finished = [&](const char* name) {
            const auto lines = listJobs(*m_session);
            return lines && std::ranges::any_of(lines.value(), [&](const JobLine& line) {
                       return line.name == name && line.finished && !line.isRunning;
                   });
        };
        for (const char* name : {"partitions", "move", "erase", "sessions", "prune", "pack"})
            QTRY_VERIFY_WITH_TIMEOUT(finished(name), 30'000);
        QTRY_COMPARE_WITH_TIMEOUT(daysWithoutPack(), 0, 30'000);
        const auto months = partitionsOf(*m_session);
        QVERIFY(months);
        QCOMPARE(months.value().contains(oldMonth), false);
        QCOMPARE(months.value().contains(monthOf(secondsNow()) + 2), m_session->isPostgreSql());
        QCOMPARE(packOfDay(kDay - 400).seconds(), 60);
    }

    void reportsOfManyDaysAreKeptInPieces()
    {
        std::vector<UploadedActivity> rows;
        for (int day = 0; day < 70; ++day)
            rows.push_back(activity(kMidnight + day * kSecondsOfADay, 10));
        QVERIFY(store({rows}));
        Database database(m_address);
        for (int times = 0; times < 2; ++times) {
            const auto days = database.days(1, {.first = kDay, .last = kDay + 69});
            QVERIFY(days);
            QCOMPARE(days.value().size(), 70u);
            QTRY_COMPARE_WITH_TIMEOUT(daysWithoutPack(), 0, 30'000);
        }
        QCOMPARE(packOfDay(kDay + 69).seconds(), 10);
    }

    void reportsChangeNothingButThePacksThatTheyMissed()
    {
        QVERIFY(store({{activity(kMidnight, 10)}}));
        Database database(m_address);
        const auto days = database.days(1, {.first = kDay - 1, .last = kDay});
        QVERIFY(days);
        QCOMPARE(days.value().size(), 1u);
        QCOMPARE(days.value().front().pack.seconds(), 10);
        QTRY_COMPARE_WITH_TIMEOUT(daysWithoutPack(), 0, 30'000);
        QVERIFY(!database.report([](DatabaseSession& session) {
            return session.run(QStringLiteral("delete from runs where user_id = 1"));
        }));
        QCOMPARE(packOfDay(kDay).seconds(), 10);
        if (m_session->isPostgreSql())
            QVERIFY(!database.report([](DatabaseSession& session) {
                return session.run(QStringLiteral("select pg_sleep(60)"));
            }));
    }

    void theUseOfASessionIsNotedOnceAnHour()
    {
        const PasswordHasher initialised;
        QVERIFY(addSession(*m_session,
                           1,
                           "token",
                           {.deviceId = {},
                            .deviceName = {},
                            .userAgent = {},
                            .secondsValid = kApplicationSessionSeconds,
                            .lastsFromUse = true}));
        const std::int64_t now = secondsNow();
        QVERIFY(m_session->run(QStringLiteral("update sessions set last_used = ?, expires = ? "
                                              "where user_id = 1"),
                               {number(now - 3700), number(now + 80'000)}));
        Database database(m_address);
        const auto used = database.sessionOfToken("token");
        QVERIFY(used && used.value());
        QCOMPARE(used.value()->lastUsed, now - 3700);
        const auto noted = [&] {
            const auto session = sessionOfToken(*m_session, "token");
            return session && session.value() && session.value()->lastUsed >= now &&
                   session.value()->expires >= now + kApplicationSessionSeconds;
        };
        QTRY_VERIFY_WITH_TIMEOUT(noted(), 30'000);
    }

    void aNewSignInOfADeviceReplacesTheOldSession()
    {
        const PasswordHasher initialised;
        const auto user = findUser(*m_session, "a@example.org");
        QVERIFY(user && user.value());
        const SignInRequest request = {
            .email = {}, .password = {}, .deviceName = "Desktop", .deviceId = "device"};
        QVERIFY(!isKnownDevice(*m_session, 1, "device").value());
        QVERIFY(addToken(*m_session, *user.value(), "first", request).value());
        QVERIFY(isKnownDevice(*m_session, 1, "device").value());
        QVERIFY(addToken(*m_session, *user.value(), "second", request).value());
        const std::int64_t now = secondsNow();
        const auto first = sessionOfToken(*m_session, "first");
        const auto second = sessionOfToken(*m_session, "second");
        QVERIFY(first && first.value() && second && second.value());
        QVERIFY(first.value()->expires <= now + 600);
        QVERIFY(second.value()->expires >= now + kApplicationSessionSeconds - 60);
        // A use does not give it a longer life, as it does the other; not even where the clock is
        // behind.
        QVERIFY(noteUse(*m_session, *first.value(), now - 5));
        QVERIFY(!needsNote(*first.value(), now + 3000) && needsNote(*first.value(), now + 3700));
        for (const auto& used : {first, second})
            QVERIFY(noteUse(*m_session, *used.value(), now + 500));
        QCOMPARE(sessionOfToken(*m_session, "first").value()->expires, first.value()->expires);
        QCOMPARE(sessionOfToken(*m_session, "second").value()->expires,
                 now + 500 + kApplicationSessionSeconds);
        QCOMPARE(deleteExpired(*m_session, now + 700).value(), 1);
        QVERIFY(!sessionOfToken(*m_session, "first").value());
        QVERIFY(addSession(*m_session,
                           1,
                           "api",
                           {.kind = SessionKind::Api,
                            .scope = Scope::Manage,
                            .deviceId = {},
                            .deviceName = {},
                            .userAgent = "agent",
                            .secondsValid = 100}));
        const auto sessions = listSessions(*m_session, 1);
        QVERIFY(sessions);
        QCOMPARE(sessions.value().size(), 2u);
        QCOMPARE(sessions.value()[0].scope, Scope::Manage);
        QCOMPARE(sessions.value()[0].userAgent, std::string("agent"));
        QVERIFY(endSession(*m_session, 1, sessions.value()[0].id).value());
        QVERIFY(!endSession(*m_session, 1, sessions.value()[0].id).value());
        QVERIFY(!endSession(*m_session, 2, sessions.value()[1].id).value());
        QVERIFY(!sessionOfToken(*m_session, "api").value());
    }

    void aBrowsersSessionEndsWhenItIsNotUsed()
    {
        const PasswordHasher initialised;
        for (const auto& [token, seconds] :
             {std::pair("short", kBrowserSessionSeconds), {"long", kKeptBrowserSessionSeconds}}) {
            QVERIFY(addSession(*m_session,
                               1,
                               token,
                               {.kind = SessionKind::Browser,
                                .scope = Scope::Manage,
                                .deviceId = {},
                                .deviceName = {},
                                .userAgent = {},
                                .secondsValid = seconds,
                                .lastsFromUse = true}));
            const std::int64_t now = secondsNow();
            auto used = sessionOfToken(*m_session, token);
            QVERIFY(used && used.value());
            QVERIFY(used.value()->expires <= now + seconds);
            QVERIFY(!needsNote(*used.value(), now + 500));
            QVERIFY(needsNote(*used.value(), now + 3700));
            QVERIFY(noteUse(*m_session, *used.value(), now + 3700));
            used = sessionOfToken(*m_session, token);
            QVERIFY(used && used.value());
            QCOMPARE(used.value()->expires, now + 3700 + seconds);
            QCOMPARE(used.value()->lastUsed, now + 3700);
        }
    }

    void onlySomeSessionsMayUpload()
    {
        const PasswordHasher initialised;
        Database database(m_address);
        int number = 0;
        for (const SessionKind kind :
             {SessionKind::Application, SessionKind::Browser, SessionKind::Api}) {
            for (const Scope scope : {Scope::Upload, Scope::Read, Scope::Manage}) {
                const std::string token = std::to_string(++number);
                QVERIFY(addSession(*m_session,
                                   1,
                                   token,
                                   {.kind = kind,
                                    .scope = scope,
                                    .deviceId = {},
                                    .deviceName = {},
                                    .userAgent = {},
                                    .secondsValid = 100}));
                const auto made = database.sessionOfToken(token);
                QVERIFY(made && made.value());
                QCOMPARE(made.value()->mayUpload(),
                         kind != SessionKind::Browser && scope != Scope::Read);
            }
        }
    }

    void aDisabledUserIsKeptOutButNotFromTheOperator()
    {
        const PasswordHasher initialised;
        const SignInRequest request = {
            .email = {}, .password = {}, .deviceName = "Desktop", .deviceId = "device"};
        const auto user = findUser(*m_session, "a@example.org");
        QVERIFY(user && user.value());
        QVERIFY(addToken(*m_session, *user.value(), "token", request).value());
        QVERIFY(m_session->run(QStringLiteral("update users set disabled = 1 where id = 1")));
        QVERIFY(!findUser(*m_session, "a@example.org").value());
        QVERIFY(!sessionOfToken(*m_session, "token").value());
        QVERIFY(!addToken(*m_session, *user.value(), "another", request).value());
        QCOMPARE(setPassword(*m_session, "a@example.org", "new").value(),
                 std::optional<std::int64_t>(1));
        QCOMPARE(revokeTokens(*m_session, "a@example.org").value(), std::optional<std::int64_t>(0));
        QVERIFY(removeUser(*m_session, "a@example.org").value());
    }

    void failuresAreShared()
    {
        const PasswordHasher initialised;
        const auto other = open();
        QVERIFY(addFailure(*m_session, "a", "home") && addFailure(*other, "a", "home"));
        QVERIFY(addFailure(*other, "a", "away") && addFailure(*other, "b", "home"));
        auto failures = failuresOf(*m_session, "a", "home");
        QVERIFY(failures);
        QCOMPARE(failures.value().here, 2);
        QCOMPARE(failures.value().ofAccount, 3);
        QCOMPARE(failures.value().ofNetwork, 3);
        QVERIFY(clearFailures(*other, "a", "home"));
        failures = failuresOf(*m_session, "a", "home");
        QCOMPARE(failures.value().here, 0);
        QCOMPARE(failures.value().ofAccount, 1);
    }

    void aUserOfManyRowsGoesInPortions()
    {
        std::vector<std::vector<UploadedActivity>> all(6);
        for (int i = 0; i < 12'000; ++i)
            all[static_cast<std::size_t>(i) / 2000].push_back(schema_2::row(i, 5));
        QVERIFY(store(all));
        const auto removed = removeUser(*m_session, "a@example.org");
        QVERIFY(removed);
        QCOMPARE(removed.value(), std::optional<std::int64_t>(12'000));
        for (const char* table : {"runs", "days", "devices", "sessions"}) {
            auto left = m_session->run(
                QStringLiteral("select count(user_id) from %1").arg(QLatin1String(table)));
            QVERIFY(left && left.value().next());
            QCOMPARE(left.value().value(0).toInt(), 0);
        }
        QVERIFY(!store({{activity(kMidnight, 5)}}));
    }

    void oldRowsMoveWhileTheyComeAgain_data()
    {
        QTest::addColumn<bool>("byHand");
        QTest::newRow("plain") << false;
        QTest::newRow("partitioned by hand") << true;
    }

    void oldRowsMoveWhileTheyComeAgain()
    {
        QFETCH_GLOBAL(bool, postgres);
        QFETCH(bool, byHand);
        if (byHand && !postgres)
            return; // SQLite has no partitions
        const PasswordHasher initialised;
        using schema_2::Table;
        QVERIFY(schema_2::make(*m_session, byHand ? Table::PartitionedByHand : Table::Plain));
        constexpr int kUsers = 3;
        constexpr int kRows = 3000;
        QVERIFY(m_session->inTransaction([&]() -> DatabaseResult<bool> {
            bool added = true;
            for (int user = 1; user <= kUsers; ++user) {
                added = added && schema_2::addUser(*m_session, user, QString::number(user));
                for (int n = 0; n < kRows; ++n)
                    added =
                        added && schema_2::addRow(*m_session, user, "device", schema_2::row(n, 10));
            }
            return added;
        }));
        QVERIFY(m_session->run(QStringLiteral("insert into tokens (digest, user_id, device_id, "
                                              "device_name, created_at) values ('x', 2, 'device', "
                                              "'Desktop', 5)")));
        QVERIFY(prepareSchema(*m_session));
        const std::string line = ": 3000 rows, 30000 seconds, ";
        QVERIFY2(summaryText().starts_with("user 1" + line), summaryText().c_str());
        // Of user 2 some come again, longer and shorter, before, while and after they are moved.
        const auto again = [&](int from, std::int64_t seconds) {
            std::vector<UploadedActivity> rows;
            for (int n = from; n < from + 100; ++n)
                rows.push_back(schema_2::row(n, seconds));
            return static_cast<bool>(storeUpload(*m_session, 2, kHead, portions({rows})));
        };
        QVERIFY(again(0, 20));
        QVERIFY(again(100, 3));
        QVERIFY2(summaryText().find("user 2: 3000 rows, 31000 seconds, 1 devices, 1 tokens") !=
                     std::string::npos,
                 summaryText().c_str());
        QVERIFY(askForOldRows(*m_session, 2));
        QVERIFY(move(*m_session).value());
        QVERIFY(again(200, 20) && again(300, 3) && again(400, 20));
        {
            // Several at once, as instances would.
            std::vector<std::jthread> movers;
            for (int i = 0; i < 3; ++i)
                movers.emplace_back([&] {
                    const auto session = open();
                    for (int tries = 0; tries < 1000; ++tries) {
                        const auto more = move(*session);
                        if (more && !more.value())
                            return;
                    }
                });
        }
        QCOMPARE(hasOldTable(*m_session).value(), false);
        QVERIFY(again(500, 20) && again(600, 3));
        QCOMPARE(summaryText(),
                 std::string("user 1: 3000 rows, 30000 seconds, 1 devices, 0 tokens\n"
                             "user 2: 3000 rows, 34000 seconds, 1 devices, 1 tokens\n"
                             "user 3: 3000 rows, 30000 seconds, 1 devices, 0 tokens\n"));
        std::int64_t seconds = 0;
        for (const PackedDay& day : daysOfAll(2))
            seconds += day.pack.seconds();
        QCOMPARE(seconds, 34'000);
    }

    void oldRowsWhoseKeysAgreeBecomeOne()
    {
        const std::vector<UploadedActivity> rows = rowsWithTheSameKey();
        QVERIFY(schema_2::make(*m_session, schema_2::Table::Plain));
        QVERIFY(schema_2::addUser(*m_session, 1, QStringLiteral("a@example.org")));
        for (const UploadedActivity& row : rows)
            QVERIFY(schema_2::addRow(*m_session, 1, kHead.deviceId, row));
        QVERIFY(prepareSchema(*m_session));
        QVERIFY(move(*m_session).value());
        QCOMPARE(move(*m_session).value(), false);
        QCOMPARE(hasOldTable(*m_session).value(), false);
        QCOMPARE(summaryText(), std::string("user 1: 1 rows, 30 seconds, 1 devices, 0 tokens\n"));
    }

    void oldRowsThatWaitAreNotSealedAway()
    {
        constexpr int kRows = 3000;
        QVERIFY(schema_2::make(*m_session, schema_2::Table::Plain));
        QVERIFY(schema_2::addUser(*m_session, 1, QStringLiteral("a@example.org")));
        const PasswordHasher initialised;
        QVERIFY(m_session->inTransaction([&]() -> DatabaseResult<bool> {
            bool added = true;
            for (int n = 0; n < kRows; ++n)
                added = added && schema_2::addRow(*m_session, 1, "device", schema_2::row(n, 10));
            return added;
        }));
        QVERIFY(prepareSchema(*m_session));
        QVERIFY(move(*m_session).value()); // a part of them, of all days
        QVERIFY(daysWithoutPack() > 0);
        const std::int64_t now = schema_2::row(0, 10).startTime + 300 * kSecondsOfADay;
        const Retention retention = {.keepRunsDays = 100, .keepDaysDays = {}};
        QCOMPARE(packSomeDays(*m_session, now).value(), false);
        QCOMPARE(countToPrune(*m_session, retention, now).value(), Pruned());
        QCOMPARE(prune(*m_session, retention, now).value(), Pruned());
        while (move(*m_session).value()) {
        }
        const auto pruned = prune(*m_session, retention, now);
        QVERIFY(pruned);
        QVERIFY(pruned.value().runs + pruned.value().partitions > 0);
        std::int64_t seconds = 0;
        for (const PackedDay& day : daysOfAll())
            seconds += day.pack.seconds();
        QCOMPARE(seconds, 10 * kRows);
    }

    void oldRowsThatWereLongerChangeTheDayThatTheyReachInto()
    {
        QVERIFY(schema_2::make(*m_session, schema_2::Table::Plain));
        QVERIFY(schema_2::addUser(*m_session, 1, QStringLiteral("a@example.org")));
        const PasswordHasher initialised;
        QVERIFY(schema_2::addRow(*m_session, 1, "device", activity(kMidnight - 10, 30)));
        QVERIFY(schema_2::addRow(*m_session, 1, "device", activity(kMidnight - 100, 5, "other")));
        QVERIFY(prepareSchema(*m_session));
        QVERIFY(store({{activity(kMidnight + 100, 7)}}));
        QCOMPARE(daysOfAll().size(), 1u); // and gets its pack
        QVERIFY(store({{activity(kMidnight - 10, 5)}}));
        QCOMPARE(daysWithoutPack(), 2);
        const auto days = daysOfAll();
        QCOMPARE(days.size(), 2u);
        QCOMPARE(days[0].pack.seconds(), 10);
        QCOMPARE(days[1].pack.seconds(), 20 + 7);
    }

    void oldRowsMoveInPortionsThatFollowTheTimeTheyTake()
    {
        OldRowsPace pace(500);
        pace.note(std::chrono::milliseconds(201));
        QCOMPARE(pace.rows(), 250);
        pace.note(std::chrono::milliseconds(150));
        QCOMPARE(pace.rows(), 250);
        for (int i = 0; i < 9; ++i)
            pace.note(std::chrono::seconds(1));
        QCOMPARE(pace.rows(), 1);
        for (int i = 0; i < 20; ++i)
            pace.note(std::chrono::milliseconds(1));
        QCOMPARE(pace.rows(), OldRowsPace::kMostRows);

        QVERIFY(schema_2::make(*m_session, schema_2::Table::Plain));
        QVERIFY(schema_2::addUser(*m_session, 1, QStringLiteral("a@example.org")));
        const PasswordHasher initialised;
        for (int n = 0; n < 12; ++n)
            QVERIFY(schema_2::addRow(*m_session, 1, "device", schema_2::row(n, 10)));
        QVERIFY(prepareSchema(*m_session));
        const std::int64_t bytes = bytesOfRows(*m_session, 1).value();
        QVERIFY(bytes > 12 * 100);
        for (const int rows : {10, 12}) {
            OldRowsPace ten(10);
            QVERIFY(moveOldRows(*m_session, ten).value());
            QCOMPARE(bytesOfRows(*m_session, 1).value(), bytes); // wherever they are
            auto moved =
                m_session->run(QStringLiteral("select count(*) from runs where user_id = 1"));
            QVERIFY(moved && moved.value().next());
            QCOMPARE(moved.value().value(0).toInt(), rows);
        }
        QVERIFY(!move(*m_session).value()); // the portion before was not full
        const auto devices = listDevices(*m_session, 1);
        QCOMPARE(devices.value().size(), 1u);
        QCOMPARE(devices.value()[0].firstSeen, std::optional(schema_2::row(0, 0).startTime));
        QCOMPARE(devices.value()[0].lastSeen, std::optional(schema_2::row(11, 0).startTime));
    }

    void oldRowsOfARemovedUserGoToo()
    {
        QVERIFY(schema_2::make(*m_session, schema_2::Table::Plain));
        QVERIFY(schema_2::addUser(*m_session, 1, QStringLiteral("a@example.org")));
        const PasswordHasher initialised;
        for (int n = 0; n < 50; ++n)
            QVERIFY(schema_2::addRow(*m_session, 1, "device", schema_2::row(n, 10)));
        QVERIFY(prepareSchema(*m_session));
        QVERIFY(storeUpload(
            *m_session, 1, kHead, portions({{schema_2::row(7, 5), schema_2::row(99, 5)}})));
        const auto removed = removeUser(*m_session, "a@example.org");
        QVERIFY(removed);
        QCOMPARE(removed.value(), std::optional<std::int64_t>(51));
        QCOMPARE(move(*m_session).value(), false);
        QCOMPARE(hasOldTable(*m_session).value(), false);
        QCOMPARE(summaryText(), std::string());
    }

private:
    bool newDatabase()
    {
        QFETCH_GLOBAL(bool, postgres);
        m_folder = std::make_unique<QTemporaryDir>();
        QString name = m_folder->filePath(QStringLiteral("service.db"));
        if (postgres) {
            if (!m_postgres) {
                m_postgres = std::make_unique<support::PostgresServer>();
                if (!m_postgres->start())
                    return false;
            }
            const auto made = m_postgres->newDatabase();
            if (!made)
                return false;
            name = made.value();
        }
        const auto address = parseDatabaseAddress(name);
        if (!address)
            return false;
        m_address = address.value();
        return true;
    }

    /// Null when it cannot be opened. Any thread.
    [[nodiscard]] std::unique_ptr<DatabaseSession> open() const
    {
        auto opened = DatabaseSession::open(m_address);
        return opened ? std::move(opened).value() : nullptr;
    }

    DatabaseResult<std::int64_t> store(const std::vector<std::vector<UploadedActivity>>& rows)
    {
        return storeUpload(*m_session, 1, kHead, portions(rows));
    }

    static DatabaseResult<bool> move(DatabaseSession& session)
    {
        OldRowsPace pace;
        return moveOldRows(session, pace);
    }

    std::string summaryText() { return summary(*m_session).value(); }

    /// Of all days of a user; what had no pack gets one.
    std::vector<PackedDay> daysOfAll(std::int64_t user = 1)
    {
        std::vector<PackToKeep> toKeep;
        auto days = readDays(*m_session, user, {.first = 1, .last = 60'000}, toKeep);
        if (!keepPacks(*m_session, toKeep))
            return {};
        return days ? days.value() : std::vector<PackedDay>();
    }

    DayPack packOfDay(std::int64_t day)
    {
        std::vector<PackToKeep> toKeep;
        const auto days = readDays(*m_session, 1, {.first = day, .last = day}, toKeep);
        return days && days.value().size() == 1 ? days.value().front().pack : DayPack();
    }

    int daysWithoutPack()
    {
        const auto counts = countAll(*m_session, secondsNow());
        return counts ? static_cast<int>(counts.value().daysWithoutPack) : -1;
    }

    /// Something that a client, a reader or the user may do.
    static bool randomStep(DatabaseSession& session, std::mt19937& random)
    {
        const auto below = [&](int end) {
            return static_cast<std::int64_t>(random() % unsigned(end));
        };
        if (below(3) == 0) {
            std::vector<PackToKeep> toKeep;
            if (!readDays(session, 1, {.first = kDay - 5, .last = kDay + 5}, toKeep))
                return false;
            return static_cast<bool>(keepPacks(session, toKeep));
        }
        if (below(8) == 0) { // deletes what begins on a day
            const std::int64_t day = kDay + below(3) - 1;
            return static_cast<bool>(session.inTransaction([&]() -> DatabaseResult<std::monostate> {
                auto longest = session.run(
                    QStringLiteral("select max(duration_seconds) from runs where user_id = 1 and "
                                   "start_day = ?"),
                    {number(day)});
                if (!longest)
                    return longest.error();
                longest.value().finish();
                const auto gone =
                    session.run(QStringLiteral("delete from runs where user_id = 1 and "
                                               "start_day = ?"),
                                {number(day)});
                if (!gone)
                    return gone.error();
                return bumpDays(session, 1, {day, day + 1, day + 2, day + 3, day + 4});
            }));
        }
        std::vector<std::vector<UploadedActivity>> all(static_cast<std::size_t>(1 + below(2)));
        for (auto& rows : all) {
            for (std::int64_t n = 1 + below(5); n > 0; --n) {
                const std::int64_t start =
                    below(30) == 0 ? -below(9) : kMidnight + below(40) * 2161;
                const std::int64_t seconds =
                    below(15) == 0 ? below(200'000) : below(3000) - (below(9) == 0 ? 3000 : 0);
                rows.push_back(
                    activity(start, seconds, std::string(1, static_cast<char>('a' + below(2)))));
            }
        }
        const UploadHead head = {.deviceId = below(2) == 0 ? "one" : "two"};
        return static_cast<bool>(storeUpload(session, 1, head, portions(all)));
    }

    std::unique_ptr<support::PostgresServer> m_postgres;
    std::unique_ptr<QTemporaryDir> m_folder;
    DatabaseAddress m_address;
    std::unique_ptr<DatabaseSession> m_session;
};

QUILLSTEP_TEST(TestStoredHistory)
#include "tst_stored_history.moc"
