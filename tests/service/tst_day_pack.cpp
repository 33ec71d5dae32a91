// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/history/day_pack.h"
#include "service/history/day_pack_encoding.h"
#include "tests/service/pack_of.h"
#include "tests/support/test_program.h"

#include <QTest>

#include <algorithm>
#include <limits>
#include <map>
#include <random>
#include <set>
#include <string>
#include <tuple>
#include <vector>

using namespace service;

namespace {

constexpr std::int64_t kDay = 20'000; // 2024-10-04
constexpr std::int64_t kMidnight = kDay * kSecondsOfADay;

Run run(std::int64_t start, std::int64_t seconds, std::int64_t device = 1, const char* app = "app")
{
    return {
        .start = start, .seconds = seconds, .device = device, .app = app, .title = {}, .site = {}};
}

/// What a run counts on a day, a second after the other.
struct Recount
{
    std::int64_t seconds = 0;
    std::map<std::tuple<std::int64_t, std::int64_t, std::string>, std::int64_t> bySlot;
    std::map<std::int64_t, std::set<std::int64_t>> active; ///< seconds of each slot

    Recount(std::int64_t day, const std::vector<Run>& runs)
    {
        for (const Run& each : runs) {
            if (!isCountedTime(each.start))
                continue;
            for (std::int64_t second = each.start; second < each.start + each.seconds; ++second) {
                if (second / kSecondsOfADay != day || second >= kEndOfCountedSeconds)
                    continue;
                const std::int64_t slot = second % kSecondsOfADay / DayPack::kSecondsOfASlot;
                ++seconds;
                ++bySlot[{slot, each.device, each.app}];
                active[slot].insert(second);
            }
        }
    }

    [[nodiscard]] bool equals(const DayPack& pack) const
    {
        std::map<std::tuple<std::int64_t, std::int64_t, std::string>, std::int64_t> packed;
        for (const DayPack::Entry& entry : pack.entries)
            packed[{entry.slot, entry.device, pack.apps[entry.app]}] += entry.seconds;
        for (std::size_t slot = 0; slot < DayPack::kSlots; ++slot) {
            const auto found = active.find(static_cast<std::int64_t>(slot));
            if (pack.anyDevice[slot] != (found == active.end() ? 0 : found->second.size()))
                return false;
        }
        return packed == bySlot && pack.seconds() == seconds;
    }
};

} // namespace

class TestDayPack : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void aRunCountsWhereItLies()
    {
        const std::vector<Run> runs = {run(kMidnight - 100, 100 + 950)};
        const DayPack before = packOf(kDay - 1, runs, {});
        const DayPack pack = packOf(kDay, runs, {});
        QCOMPARE(before.seconds(), 100);
        QCOMPARE(pack.seconds(), 950);
        QCOMPARE(pack.entries.size(), 2u);
        QCOMPARE(pack.entries[0].seconds, 900);
        QCOMPARE(pack.entries[1].slot, 1u);
        QCOMPARE(pack.entries[1].seconds, 50);
        QVERIFY(packOf(kDay + 1, runs, {}).isEmpty());
        const DayRange both = {.first = kDay - 1, .last = kDay};
        QCOMPARE(daysOfRun(kMidnight - 100, 1050), both);
        const DayRange first = {.first = kDay - 1, .last = kDay - 1};
        QCOMPARE(daysOfRun(kMidnight - 100, 100), first);
    }

    void whatHasNoDurationOrAnAbsurdTimeIsNotCounted()
    {
        constexpr auto kMost = std::numeric_limits<std::int64_t>::max();
        constexpr auto kLeast = std::numeric_limits<std::int64_t>::min();
        const std::vector<Run> runs = {run(kMidnight, 0),
                                       run(kMidnight, -5),
                                       run(kFirstCountedSecond - 1, kMost),
                                       run(kEndOfCountedSeconds, 7),
                                       run(kLeast, kMost),
                                       run(kMost, kMost)};
        QVERIFY(packOf(kDay, runs, {}).isEmpty());
        QVERIFY(packOf(kFirstCountedSecond / kSecondsOfADay, runs, {}).isEmpty());
        const DayRange other = {.first = kDayOfOtherTimes, .last = kDayOfOtherTimes};
        QCOMPARE(daysOfRun(kMost, kMost), other);
        QCOMPARE(daysOfRun(kLeast, 1), other);
        const DayRange own = {.first = kDay, .last = kDay};
        QCOMPARE(daysOfRun(kMidnight, kLeast), own);
        QCOMPARE(
            daysIn(
                {{.first = 7, .last = 9}, {.first = 3, .last = 4}, {.first = 8, .last = 8}, own}),
            (std::set<std::int64_t>{3, 4, 7, 8, 9, kDay}));
        QVERIFY(daysIn({}).empty());
    }

    void aRunWithoutEndFillsItsDaysUntilTheLastYear()
    {
        constexpr auto kMost = std::numeric_limits<std::int64_t>::max();
        const std::vector<Run> runs = {run(kMidnight + 10, kMost), run(kMidnight + 20, kMost)};
        QCOMPARE(packOf(kDay, runs, {}).seconds(), 2 * kSecondsOfADay - 30);
        const DayPack last = packOf(kEndOfCountedSeconds / kSecondsOfADay - 1, runs, {});
        QCOMPARE(last.seconds(), 2 * kSecondsOfADay);
        QVERIFY(std::ranges::all_of(last.anyDevice, [](auto seconds) { return seconds == 900; }));
        QCOMPARE(daysOfRun(kMidnight, kMost).last, kEndOfCountedSeconds / kSecondsOfADay - 1);
    }

    void anyDeviceIsTheUnionToTheSecond()
    {
        const DayPack pack = packOf(kDay,
                                    std::vector{run(kMidnight + 100, 50, 1),
                                                run(kMidnight + 120, 100, 2),
                                                run(kMidnight + 219, 2, 3),
                                                run(kMidnight + 890, 20, 1)},
                                    {});
        QCOMPARE(pack.anyDevice[0], 121 + 10);
        QCOMPARE(pack.anyDevice[1], 10);
        QCOMPARE(pack.seconds(), 172);
    }

    void titlesThatBeginAlikeForLongCountAsOne()
    {
        std::vector<Run> runs = {run(kMidnight, 5), run(kMidnight + 10, 7)};
        const std::string begin(DayPack::kLongestTitle - 1, 'a');
        runs[0].title = begin + "\u00e4 one"; // its letter of two bytes is not cut in two
        runs[1].title = begin + "\u00f6 two";
        const DayPack pack = packOf(kDay, runs, {});
        QCOMPARE(pack.titles.size(), 1u);
        QCOMPARE(pack.titles[0].text, begin);
        QCOMPARE(pack.titles[0].seconds, 12);
    }

    void tooManyTitlesAreLeftOutAndNothingElse()
    {
        std::vector<Run> runs;
        for (std::size_t i = 0; i <= DayPack::kMostDifferentTitles; ++i) {
            runs.push_back(run(kMidnight + static_cast<std::int64_t>(i), 1));
            runs.back().title = "title " + std::to_string(i);
        }
        const DayPack pack = packOf(kDay, runs, {});
        QVERIFY(pack.titles.empty());
        QVERIFY(Recount(kDay, runs).equals(pack));
        runs.pop_back();
        QCOMPARE(packOf(kDay, runs, {}).titles.size(), DayPack::kMostTitles);
    }

    void tooManyApplicationsCountAsOneInAnyOrder()
    {
        std::vector<Run> runs;
        for (std::size_t i = 0; i <= DayPack::kMostApps; ++i) {
            runs.push_back(run(kMidnight + static_cast<std::int64_t>(40 * i), 50, i % 3 + 4));
            runs.back().app = "app " + std::to_string(i);
            runs.back().title = "title";
            runs.back().site = "site.example";
        }
        const DayPack pack = packOf(kDay, runs, {});
        QCOMPARE(pack.apps, std::vector<std::string>{std::string(DayPack::kTooMany)});
        QVERIFY(pack.sites.empty() && pack.titles.empty());
        for (Run& each : runs)
            each = run(each.start, each.seconds, 4, DayPack::kTooMany.data());
        QVERIFY(Recount(kDay, runs).equals(pack));
        for (std::size_t i = 0; i < runs.size(); ++i)
            runs[i].app = "app " + std::to_string(i);
        std::ranges::reverse(runs);
        QVERIFY(packOf(kDay, runs, {}) == pack);
        runs.pop_back();
        QCOMPARE(packOf(kDay, runs, {}).apps.size(), DayPack::kMostApps);
    }

    void theLongestTitlesStayInTheirOrder()
    {
        std::vector<Run> runs;
        for (int i = 0; i < 150; ++i) {
            runs.push_back(run(kMidnight + i, 1 + i));
            runs.back().title = "title " + std::to_string(i);
        }
        runs.push_back(run(kMidnight, 500)); // without one
        const DayPack pack = packOf(kDay, runs, {});
        QCOMPARE(pack.titles.size(), DayPack::kMostTitles);
        QCOMPARE(pack.titles.front().text, std::string("title 149"));
        QCOMPARE(pack.titles.back().seconds, 51);
    }

    void theFirstRuleThatFitsDecides()
    {
        using Field = CategoryRule::Field;
        using How = CategoryRule::How;
        const CategoryRules rules({{"broken", Field::App, How::Matches, "("},
                                   {"mail", Field::Title, How::Contains, "inbox"},
                                   {"work", Field::App, How::Matches, "^code$"},
                                   {"news", Field::Site, How::Contains, "NEWS."}});
        Run each = run(0, 1, 1, "code");
        QCOMPARE(rules.categoryOf(each), std::optional<std::string_view>("work"));
        each.title = "My INBOX";
        QCOMPARE(rules.categoryOf(each), std::optional<std::string_view>("mail"));
        each = run(0, 1, 1, "coder");
        QVERIFY(!rules.categoryOf(each));
        each.site = "news.example.org";
        QCOMPARE(rules.categoryOf(each), std::optional<std::string_view>("news"));
        each.start = kMidnight;
        const DayPack pack = packOf(kDay, std::vector{each}, rules);
        QCOMPARE(pack.categories, std::vector<std::string>{"news"});
        QCOMPARE(pack.entries.front().category, std::optional(0u));
        QCOMPARE(pack.sites, std::vector<std::string>{"news.example.org"});
    }

    void whatIsEncodedIsDecodedAndDamageIsNoticed()
    {
        std::vector<Run> runs = {run(kMidnight, 5000, 300, "ä \0"), run(kMidnight + 7, 70, 1, "b")};
        runs[0].title = std::string("a\0b", 3);
        runs[0].site = "";
        runs[1].site = "site";
        const DayPack pack =
            packOf(kDay, runs, CategoryRules({{"c", CategoryRule::Field::App, {}, "b"}}));
        const std::string bytes = encodePack(pack);
        QCOMPARE(decodePack(bytes), std::optional(pack));
        QCOMPARE(decodePack(encodePack({})), std::optional(DayPack()));
        for (std::size_t size = 0; size < bytes.size(); ++size)
            QVERIFY(!decodePack(bytes.substr(0, size)));
        QVERIFY(!decodePack(bytes + '\0'));
        QVERIFY(!decodePack('\2' + bytes.substr(1)));
        // Whatever it is, it is answered.
        std::mt19937 random(7);
        for (int i = 0; i < 20'000; ++i) {
            std::string damaged = bytes;
            damaged[random() % damaged.size()] = static_cast<char>(random());
            if (const auto decoded = decodePack(damaged))
                QVERIFY(std::ranges::all_of(decoded->entries, [&](const DayPack::Entry& entry) {
                    return entry.app < decoded->apps.size() && entry.slot < DayPack::kSlots;
                }));
        }
    }

    /// Rows come, come again with more or less, late, absurd, and go; after all of it a pack is
    /// what counting every second gives, whatever the order.
    void aPackIsWhatCountingSecondsGives()
    {
        const unsigned seed = std::random_device()();
        qInfo("seed %u", seed);
        std::mt19937 random(seed);
        const auto below = [&](int end) {
            return static_cast<std::int64_t>(random() % unsigned(end));
        };
        for (int history = 0; history < 20'000; ++history) {
            std::map<std::tuple<std::int64_t, std::int64_t, std::string>, std::int64_t> stored;
            const auto steps = 1 + below(6);
            for (std::int64_t step = 0; step < steps; ++step) {
                const std::string app(1, static_cast<char>('a' + below(3)));
                std::int64_t start = kMidnight - 200 + below(400);
                if (below(4) == 0)
                    start += kSecondsOfADay * (below(3) - 1);
                if (below(20) == 0)
                    start = below(2) == 0 ? -below(1000) : kEndOfCountedSeconds + below(1000);
                const std::int64_t seconds = below(60) - 10;
                const auto [row, isNew] = stored.try_emplace({start, 1 + below(2), app}, seconds);
                if (!isNew)
                    row->second = std::max(row->second, seconds);
                if (below(8) == 0)
                    stored.erase(stored.begin());
            }
            std::vector<Run> runs;
            for (const auto& [key, seconds] : stored) {
                const auto& [start, device, app] = key;
                runs.push_back({.start = start,
                                .seconds = seconds,
                                .device = device,
                                .app = app,
                                .title = {},
                                .site = {}});
            }
            const DayPack pack = packOf(kDay, runs, {});
            QVERIFY2(Recount(kDay, runs).equals(pack), std::to_string(history).c_str());
            std::ranges::shuffle(runs, random);
            QCOMPARE(packOf(kDay, runs, {}), pack);
        }
    }
};

QUILLSTEP_TEST(TestDayPack)
#include "tst_day_pack.moc"
