// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "activity/activity_list.h"
#include "tests/support/activity_samples.h"
#include "tests/support/test_program.h"

#include <QTest>

#include <algorithm>
#include <atomic>
#include <thread>
#include <utility>

using activity::ActivityIds;
using activity::ActivityList;

namespace {

// On both sides of the places where storage grows.
constexpr std::size_t kLengths[] = {0, 1, 2, 1023, 1024, 1025, 2047, 2048, 9000, 17000};

std::vector<activity::ActivityLog> tail(const ActivityList& list, std::size_t from)
{
    auto all = samples::records(list);
    all.erase(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(std::min(from, all.size())));
    return all;
}

} // namespace

class TestActivityList final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void recordsComeBackInInsertionOrder()
    {
        for (const std::size_t length : kLengths) {
            const ActivityList list = samples::list(length);
            QCOMPARE(list.size(), length);
            QCOMPARE(list.empty(), length == 0);
            std::size_t at = 0;
            for (const activity::ActivityLog& log : list)
                QCOMPARE(log.timestamp, static_cast<double>(at++));
            QCOMPARE(at, length);
        }
    }

    void aCopyStaysAsItIsWhileTheOtherGrows()
    {
        for (const std::size_t length : kLengths) {
            ActivityList list = samples::list(length);
            const ActivityList copy = list;
            const auto before = samples::records(copy);
            for (int i = 0; i < 3000; ++i)
                list.append(samples::log("later"));
            QCOMPARE(copy.size(), length);
            QVERIFY(samples::records(copy) == before);
            QCOMPARE(list.size(), length + 3000);
            QVERIFY(list.startsWith(copy));
            QVERIFY(!copy.startsWith(list));
        }
    }

    void twoCopiesThatBothGrowDoNotMix()
    {
        for (const std::size_t length : kLengths) {
            ActivityList first = samples::list(length);
            ActivityList second = first;
            for (int i = 0; i < 2000; ++i) {
                first.append(samples::log("first"));
                second.append(samples::log("second"));
            }
            QCOMPARE(first.size(), second.size());
            for (std::size_t i = length; i < first.size(); ++i) {
                QVERIFY(first[i].appName.view() == "first");
                QVERIFY(second[i].appName.view() == "second");
            }
            for (std::size_t i = 0; i < length; ++i)
                QVERIFY(first[i] == second[i]);
        }
    }

    void equalRecordsBuiltApartDoNotBeginOneAnother()
    {
        ActivityList one;
        ActivityList other;
        const auto log = samples::log("same");
        one.append(log);
        other.append(log);
        QVERIFY(!one.startsWith(other));
        QVERIFY(one.startsWith(one));
        QVERIFY(one.startsWith({}));
        QVERIFY(!ActivityList().startsWith(one));
    }

    void withoutFirstDropsExactlyThatMany()
    {
        for (const std::size_t length : kLengths) {
            const ActivityList list = samples::list(length);
            for (const std::size_t count : kLengths) {
                ActivityList rest = list.withoutFirst(count);
                QVERIFY(samples::records(rest) == tail(list, count));
                rest.append(samples::log("more"));
                QVERIFY(rest[rest.size() - 1].appName.view() == "more");
                QCOMPARE(list.size(), length);
                QCOMPARE(list.startsWith(rest), false);
            }
        }
    }

    void aListWithItsBeginningRemovedCanBeShortenedAgain()
    {
        ActivityList list = samples::list(5000);
        const auto all = samples::records(list);
        std::size_t dropped = 0;
        for (const std::size_t step : {1UL, 1023UL, 1UL, 500UL, 1024UL, 2000UL}) {
            list = list.withoutFirst(step);
            dropped += step;
            QCOMPARE(list.size(), all.size() - dropped);
            QVERIFY(list[0] == all[dropped]);
            QVERIFY(list[list.size() - 1] == all.back());
        }
    }

    void withoutNamedRecordsKeepsTheOthersInOrder()
    {
        const ActivityList list = samples::list(3000);
        std::vector<platform::Uuid> odd;
        std::vector<activity::ActivityLog> even;
        for (std::size_t i = 0; i < list.size(); ++i) {
            if (i % 2 == 1)
                odd.push_back(list[i].id);
            else
                even.push_back(list[i]);
        }
        QVERIFY(samples::records(list.without(ActivityIds(odd))) == even);
    }

    void unknownIdentitiesChangeNothing()
    {
        const ActivityList list = samples::list(10);
        const ActivityIds unknown(std::vector{platform::Uuid::random()});
        QVERIFY(samples::records(list.without(unknown)) == samples::records(list));
        QVERIFY(samples::records(list.without(ActivityIds())) == samples::records(list));
    }

    void aWholeSnapshotIsRemovedFromWhatItHasGrownInto()
    {
        for (const std::size_t length : kLengths) {
            ActivityList list = samples::list(length);
            const ActivityIds delivered(list);
            for (int i = 0; i < 1500; ++i)
                list.append(samples::log("new"));
            const ActivityList rest = list.without(delivered);
            QVERIFY(samples::records(rest) == tail(list, length));
        }
    }

    void aSnapshotOfAnotherListIsRemovedByIdentity()
    {
        const ActivityList list = samples::list(10);
        ActivityList shuffled;
        for (const std::size_t i : {7UL, 2UL, 5UL})
            shuffled.append(list[i]);
        const ActivityList rest = list.without(ActivityIds(shuffled));
        QCOMPARE(rest.size(), 7UL);
        QVERIFY(std::none_of(rest.begin(), rest.end(), [](const activity::ActivityLog& log) {
            return log.timestamp == 7 || log.timestamp == 2 || log.timestamp == 5;
        }));
    }

    void aRecordBehindTheSnapshotWithTheSameIdentityGoesToo()
    {
        ActivityList list = samples::list(3);
        const ActivityIds delivered(list);
        list.append(list[1]);
        list.append(samples::log("new"));
        const ActivityList rest = list.without(delivered);
        QCOMPARE(rest.size(), 1UL);
        QVERIFY(rest[0].appName.view() == "new");
    }

    void snapshotsAreReadAndReleasedWhileTheListGrows()
    {
        ActivityList list = samples::list(1);
        std::size_t expected = 0;
        std::atomic<std::size_t> counted = 0;
        std::vector<std::jthread> readers;
        for (int i = 0; i < 20000; ++i) {
            list.append(samples::log("grown"));
            if (i % 500 == 0) {
                expected += list.size();
                readers.emplace_back([&counted, copy = list]() mutable {
                    for (const activity::ActivityLog& log : copy)
                        counted += log.appName.view().empty() ? 0 : 1;
                    copy = {};
                });
            }
        }
        readers.clear();
        QCOMPARE(counted.load(), expected);
    }
};

QUILLSTEP_TEST(TestActivityList)
#include "tst_activity_list.moc"
