// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "activity/shared_text.h"
#include "tests/support/test_program.h"
#include "views/models/activity_totals.h"

#include <QTest>

#include <algorithm>
#include <array>
#include <ctime>
#include <limits>
#include <map>
#include <random>
#include <string>

using namespace Qt::StringLiterals;
using activity::ActivityList;
using activity::ActivityLog;
using activity::SharedText;
using views::AggregatedItem;
using views::TimeRange;
using Items = std::vector<AggregatedItem>;

namespace {

constexpr double kDay = 86'400;
/// Noon, in UTC.
constexpr double kNow = (9000 * kDay) + (kDay / 2);
constexpr double kMidnight = 9000 * kDay;

/// A record with its texts in buffers of their own.
ActivityLog record(std::string_view name, double duration, double timestamp = kNow)
{
    ActivityLog log;
    log.appName = SharedText(name);
    log.timestamp = timestamp;
    log.duration = duration;
    return log;
}

ActivityLog visit(std::string_view address, double duration, double timestamp = kNow)
{
    ActivityLog log = record("Browser", duration, timestamp);
    log.url = SharedText(address);
    return log;
}

ActivityList listOf(const std::vector<ActivityLog>& logs)
{
    ActivityList list;
    for (const ActivityLog& log : logs)
        list.append(log);
    return list;
}

Items topApps(const ActivityList& list, TimeRange range, double now, const QTimeZone& zone)
{
    views::ActivityTotals totals;
    totals.update(list, range, now, zone);
    return totals.topApps();
}

Items topWebsites(const ActivityList& list, TimeRange range, double now, const QTimeZone& zone)
{
    views::ActivityTotals totals;
    totals.update(list, range, now, zone);
    return totals.topWebsites();
}

double processorSeconds()
{
    timespec time{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return double(time.tv_sec) + (double(time.tv_nsec) / 1e9);
}

Items apps(const std::vector<ActivityLog>& logs, TimeRange range = TimeRange::AllTime)
{
    return topApps(listOf(logs), range, kNow, QTimeZone::utc());
}

Items websites(const std::vector<ActivityLog>& logs, TimeRange range = TimeRange::AllTime)
{
    return topWebsites(listOf(logs), range, kNow, QTimeZone::utc());
}

AggregatedItem item(const char* name, double duration)
{
    return {.name = QString::fromUtf8(name), .duration = duration};
}

} // namespace

class TestActivityTotals final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void rangesHaveTheirNames()
    {
        QStringList names;
        for (const TimeRange range : views::kTimeRanges)
            names.append(rawValue(range));
        QCOMPARE(names, QStringList({u"Today"_s, u"All Time"_s}));
    }

    void withoutRecordsThereIsNothing()
    {
        for (const TimeRange range : views::kTimeRanges) {
            QVERIFY(apps({}, range).empty());
            QVERIFY(websites({}, range).empty());
        }
    }

    void theFiveLargestComeLargestFirst()
    {
        const Items expected{
            item("f", 70), item("b", 60), item("d", 50), item("a", 40), item("g", 30)};
        QCOMPARE(apps({record("a", 40),
                       record("b", 30),
                       record("c", 20),
                       record("d", 50),
                       record("e", 10),
                       record("f", 70),
                       record("b", 30),
                       record("g", 30)}),
                 expected);
    }

    void ofEqualSumsTheOneThatWasThereFirstComesFirst()
    {
        const Items expected{item("z", 5), item("c", 2), item("a", 2), item("y", 2), item("b", 2)};
        QCOMPARE(apps({record("c", 2),
                       record("a", 1),
                       record("y", 2),
                       record("b", 2),
                       record("x", 2),
                       record("z", 5),
                       record("a", 1)}),
                 expected);
    }

    void namesAreComparedExactly()
    {
        const Items expected{item("", 9), item("Files ", 8), item("files", 7), item("Files", 6)};
        QCOMPARE(apps({record("Files", 6),
                       record("files", 7),
                       record("Files ", 8),
                       record("", 4),
                       record("", 5)}),
                 expected);
        // One character and the same one composed of two.
        QCOMPARE(apps({record("\u00e9", 2), record("e\u0301", 1)}).size(), 2UL);
        const Items marked{{.name = QStringView(u"\ufeffA").toString(), .duration = 1}};
        QCOMPARE(apps({record("\ufeffA", 1)}), marked);
    }

    void recordsWithoutADurationCountAsWell()

    {
        QCOMPARE(apps({record("a", 0)}), Items{item("a", 0)});
        QCOMPARE(websites({visit("http://h/", 0)}), Items{item("h", 0)});
    }

    void sumsAreTakenInTheOrderOfTheList()
    {
        // Large numbers swallow what is added to them: another order, another sum.
        QCOMPARE(apps({record("a", 1), record("a", 1e16), record("b", 1), record("a", -1e16)}),
                 (Items{item("b", 1), item("a", 0)}));
        QCOMPARE(apps({record("a", 1e16), record("b", 1), record("a", -1e16), record("a", 1)}),
                 (Items{item("a", 1), item("b", 1)}));
        // Equal texts in two buffers that take turns.
        const SharedText one("a");
        const SharedText other("a");
        ActivityList list;
        for (const auto& [text, duration] : std::array<std::pair<SharedText, double>, 4>{
                 {{one, 1}, {other, 1e16}, {one, -1e16}, {other, 0.5}}}) {
            ActivityLog log = record("", duration);
            log.appName = text;
            list.append(log);
        }
        QCOMPARE(topApps(list, TimeRange::AllTime, kNow, QTimeZone::utc()), Items{item("a", 0.5)});
    }

    void todayIsTheCalendarDay()
    {
        const std::vector<ActivityLog> logs{
            record("yesterday", 1, kMidnight - 60),
            record("first", 2, kMidnight),
            record("last", 3, kMidnight + kDay - 0.001),
            record("tomorrow", 4, kMidnight + kDay),
        };
        QCOMPARE(apps(logs, TimeRange::Today), (Items{item("last", 3), item("first", 2)}));
        QCOMPARE(apps(logs).size(), 4UL);
    }

    void todayIsTheDayOfTheZone()
    {
        const ActivityList list = listOf({record("a", 1, kMidnight - 60)});
        const auto count = [&list](const QTimeZone& zone) {
            return topApps(list, TimeRange::Today, kNow, zone).size();
        };
        QCOMPARE(count(QTimeZone::utc()), 0UL);
        QCOMPARE(count(QTimeZone(3600)), 1UL);
        QCOMPARE(count(QTimeZone(-3600)), 0UL);
    }

    void websitesAreToldApartByHost()
    {
        const Items expected{item("example.com", 7),
                             item("www.example.com", 4),
                             item("Example.com", 3),
                             item("localhost:3000/x", 2)};
        QCOMPARE(websites({visit("https://example.com/a", 1),
                           visit("http://user@example.com:8080/b?q#f", 6),
                           visit("https://www.example.com/", 4),
                           visit("https://Example.com/", 3),
                           visit("localhost:3000/x", 2)}),
                 expected);
    }

    void addressesThatNameNoHostCountWhole()
    {
        const Items expected{item("about:blank", 4), item("plain text", 3), item("file:///a", 2)};
        QCOMPARE(websites({visit("about:blank", 4), visit("plain text", 3), visit("file:///a", 2)}),
                 expected);
        // A whole address and a host of the same name are one site.
        QCOMPARE(websites({visit("h", 1), visit("http://h/", 2)}), Items{item("h", 3)});
        // An address with an empty host counts under the empty name.
        QCOMPARE(websites({visit("http://:80/", 1)}), Items{item("", 1)});
    }

    void recordsWithoutAnAddressAreNoVisits()
    {
        const std::vector<ActivityLog> logs{record("a", 1), visit("", 2)};
        QVERIFY(websites(logs).empty());
        QCOMPARE(apps(logs), (Items{item("Browser", 2), item("a", 1)}));
    }

    void sumsThatAreNoNumbersComeLast()
    {
        constexpr double kInfinity = std::numeric_limits<double>::infinity();
        const Items found = apps({record("none", kInfinity),
                                  record("none", -kInfinity),
                                  record("one", 1),
                                  record("endless", kInfinity)});
        QCOMPARE(found.size(), 3UL);
        QCOMPARE(found[0].name, u"endless"_s);
        QCOMPARE(found[1].name, u"one"_s);
        QCOMPARE(found[2].name, u"none"_s);
    }

    void stepByStepIsAsAllAtOnce_data()
    {
        QTest::addColumn<TimeRange>("range");
        QTest::newRow("today") << TimeRange::Today;
        QTest::newRow("all time") << TimeRange::AllTime;
    }

    /// Records come, an upload takes the first ones away, midnight passes, the user travels.
    void stepByStepIsAsAllAtOnce()
    {
        QFETCH(const TimeRange, range);
        const std::array zones{QTimeZone::utc(),
                               QTimeZone(3600),
                               QTimeZone("Europe/Berlin"),
                               QTimeZone("Australia/Lord_Howe")};
        std::mt19937_64 random(23);
        ActivityList list;
        views::ActivityTotals totals;
        double now = kNow;
        QTimeZone zone = zones[0];
        int uploads = 0;
        for (int step = 0; step < 600; ++step) {
            for (auto more = random() % 4; more > 0; --more) {
                now += double(random() % 600);
                const std::string name = std::to_string(random() % 20);
                list.append(random() % 2 == 0 ? record(name, double(random() % 100) / 7, now)
                                              : visit("https://" + name, 1, now));
            }
            if (random() % 50 == 0)
                now += 8 * 3600;
            if (random() % 50 == 0)
                zone = zones[random() % zones.size()];
            if (random() % 30 == 0) {
                list = list.withoutFirst(random() % (list.size() + 1));
                ++uploads;
            }
            totals.update(list, range, now, zone);
            QVERIFY(totals.isOfTheDay(now, zone));
            QCOMPARE(totals.topApps(), topApps(list, range, now, zone));
            QCOMPARE(totals.topWebsites(), topWebsites(list, range, now, zone));
        }
        QVERIFY(uploads > 5);
    }

    void ofAListThatGrowsOnlyTheNewIsLookedAt()
    {
        ActivityList list;
        const ActivityLog log = visit("https://example.com/", 1);
        for (int i = 0; i < 200'000; ++i)
            list.append(log);
        views::ActivityTotals totals;
        const double start = processorSeconds();
        totals.update(list, TimeRange::Today, kNow, QTimeZone::utc());
        const double whole = processorSeconds() - start;
        for (int i = 0; i < 20; ++i) {
            list.append(log);
            totals.update(list, TimeRange::Today, kNow, QTimeZone::utc());
        }
        QVERIFY(processorSeconds() - start - whole < whole / 4);
        QCOMPARE(totals.topApps(), Items{item("Browser", 200'020)});
    }

    void nothingIsKeptOnceItIsCleared()
    {
        views::ActivityTotals totals;
        ActivityLog log = record("a", 1);
        const SharedText name = log.appName;
        {
            ActivityList list;
            list.append(std::move(log));
            totals.update(list, TimeRange::AllTime, kNow, QTimeZone::utc());
        }
        QVERIFY(!name.isSoleOwner());
        totals.clear();
        QVERIFY(name.isSoleOwner());
        QVERIFY(totals.topApps().empty());
        QVERIFY(!totals.isOfTheDay(kNow, QTimeZone::utc()));
    }

    /// Many more groups than the first table holds, pooled and unpooled texts mixed.
    void theFastWayFindsWhatTheSimpleOneFinds()
    {
        std::mt19937_64 random(1);
        activity::TextPool pool;
        ActivityList list;
        std::map<std::string, double> names;
        std::map<std::string, double> hosts;
        for (int i = 0; i < 40'000; ++i) {
            const std::string name = "app " + std::to_string(random() % 6000);
            const std::string host = "site" + std::to_string(random() % 3000) + ".example";
            const std::string url = "https://" + host + "/page/" + std::to_string(random() % 4);
            const auto duration = static_cast<double>(random() % 1000) / 7;
            ActivityLog log = record("", duration);
            log.appName =
                random() % 2 == 0 ? pool.intern(std::string_view(name)) : SharedText(name);
            log.url = random() % 2 == 0 ? pool.intern(std::string_view(url)) : SharedText(url);
            list.append(log);
            names[name] += duration;
            hosts[host] += duration;
        }
        const auto expected = [](const std::map<std::string, double>& sums) {
            Items items;
            for (const auto& [name, sum] : sums)
                items.push_back(item(name.c_str(), sum));
            std::ranges::sort(items, std::greater(), &AggregatedItem::duration);
            items.resize(5);
            return items;
        };
        QCOMPARE(topApps(list, TimeRange::AllTime, kNow, QTimeZone::utc()), expected(names));
        QCOMPARE(topWebsites(list, TimeRange::AllTime, kNow, QTimeZone::utc()), expected(hosts));
    }
};

QUILLSTEP_TEST(TestActivityTotals)
#include "tst_activity_totals.moc"
