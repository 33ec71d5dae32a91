// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "sync/aggregation.h"
#include "tests/support/activity_samples.h"
#include "tests/support/test_program.h"
#include "tests/sync/runs_of.h"

#include <QTest>

#include <algorithm>
#include <limits>
#include <utility>
#include <vector>

using activity::ActivityList;
using activity::ActivityLog;
using activity::SharedText;
using syncing::AggregatedLog;

namespace {

constexpr double kNotANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// A sample of one second.
ActivityLog at(double timestamp, std::string_view application = "Editor")
{
    return samples::log(application, "a title", timestamp);
}

ActivityLog lasting(double duration, ActivityLog log)
{
    log.duration = duration;
    return log;
}

ActivityList listOf(const std::vector<ActivityLog>& logs)
{
    ActivityList list;
    for (const ActivityLog& log : logs)
        list.append(log);
    return list;
}

/// The durations of the runs, which tell at a glance what has merged.
std::vector<double> durations(const std::vector<ActivityLog>& logs)
{
    std::vector<double> all;
    for (const AggregatedLog& run : runsOf(logs))
        all.push_back(run.duration);
    return all;
}

using Durations = std::vector<double>;

} // namespace

class TestAggregation final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void emptyListHasNoRuns() { QVERIFY(runsOf(ActivityList()).empty()); }

    void oneSampleIsOneRunOfItsDuration()
    {
        const ActivityLog log = lasting(2.5, at(7));
        const auto runs = runsOf({log});
        QCOMPARE(runs.size(), 1UL);
        QVERIFY(runs[0].log == log);
        QCOMPARE(runs[0].duration, 2.5);
    }

    void tenSecondsOfOneWindowAreOneRunThatBeginsWithTheFirst()
    {
        std::vector<ActivityLog> logs;
        for (int i = 0; i < 10; ++i)
            logs.push_back(at(100 + i));
        const auto runs = runsOf(logs);
        QCOMPARE(runs.size(), 1UL);
        QCOMPARE(runs[0].duration, 10.0);
        QVERIFY(runs[0].log == logs.front());
        QCOMPARE(runs[0].log.duration, 1.0); // the sample's own, as it was
    }

    void samplesInReverseOrderAreTheSameRun()
    {
        std::vector<ActivityLog> logs;
        for (int i = 0; i < 10; ++i)
            logs.push_back(at(100 + i));
        const auto forward = runsOf(logs);
        std::ranges::reverse(logs);
        QVERIFY(runsOf(logs) == forward);
    }

    void gapOfExactlyTwoSecondsMergesAndALongerOneDoesNot()
    {
        QCOMPARE(durations({at(0), at(3)}), (Durations{2}));
        QCOMPARE(durations({at(0), at(std::nextafter(3.0, 4.0))}), (Durations{1, 1}));
        QCOMPARE(durations({at(0), at(3.5)}), (Durations{1, 1}));
    }

    void gapIsMeasuredFromTheSumOfTheDurationsNotFromTheLastSample()
    {
        // Each begins two seconds after the end of the one before: pauses add up against the run.
        QCOMPARE(durations({at(0), at(3), at(6)}), (Durations{2, 1}));
        // The first one's length covers what follows, however far apart.
        QCOMPARE(durations({lasting(10, at(0)), at(1), at(12), at(16)}), (Durations{12, 1}));
    }

    void gapIsMeasuredFromTheBeginningOfTheNewRun()
    {
        QCOMPARE(durations({at(0), at(10), at(13), at(14)}), (Durations{1, 3}));
    }

    void overlappingSamplesMerge()
    {
        QCOMPARE(durations({at(5), at(5)}), (Durations{2}));
        QCOMPARE(durations({at(5), at(5.25), at(5.5)}), (Durations{3}));
    }

    void samplesOfOneInstantKeepTheirOrder()
    {
        const std::vector<ActivityLog> logs = {
            at(9, "late"), at(5, "A"), at(5, "B"), at(5, "A"), at(5, "C"), at(1, "early")};
        std::vector<std::string> names;
        for (const AggregatedLog& run : runsOf(logs))
            names.emplace_back(run.log.appName.view());
        QCOMPARE(names, (std::vector<std::string>{"early", "A", "B", "A", "C", "late"}));
    }

    void firstOfMergedSamplesOfOneInstantStandsForTheRun()
    {
        const std::vector<ActivityLog> logs = {at(6), at(5), at(5)};
        const auto runs = runsOf(logs);
        QCOMPARE(runs.size(), 1UL);
        QVERIFY(runs[0].log.id == logs[1].id);
    }

    void returningToAnApplicationIsANewRun()
    {
        QCOMPARE(durations({at(0, "A"), at(1, "B"), at(2, "A")}), (Durations{1, 1, 1}));
    }

    void anotherTextOpensANewRun_data()
    {
        QTest::addColumn<ActivityLog>("other");
        ActivityLog known = at(1);
        known.url = SharedText("https://example.com/a");
        const auto row = [&known](const char* name, auto change) {
            ActivityLog log = known;
            change(log);
            QTest::newRow(name) << log;
        };
        row("application", [](ActivityLog& log) { log.appName = SharedText("Mail"); });
        row("application in another case",
            [](ActivityLog& log) { log.appName = SharedText("editor"); });
        row("application longer", [](ActivityLog& log) { log.appName = SharedText("Editor "); });
        row("title", [](ActivityLog& log) { log.windowTitle = SharedText("another"); });
        row("title empty", [](ActivityLog& log) { log.windowTitle = SharedText(""); });
        row("title absent", [](ActivityLog& log) { log.windowTitle.reset(); });
        row("address", [](ActivityLog& log) { log.url = SharedText("https://example.com/b"); });
        row("address with a query",
            [](ActivityLog& log) { log.url = SharedText("https://example.com/a?q"); });
        row("address empty", [](ActivityLog& log) { log.url = SharedText(""); });
        row("address absent", [](ActivityLog& log) { log.url.reset(); });
    }

    void anotherTextOpensANewRun()
    {
        QFETCH(ActivityLog, other);
        ActivityLog known = at(0);
        known.url = SharedText("https://example.com/a");
        QCOMPARE(durations({known, other}), (Durations{1, 1}));
        std::swap(known.timestamp, other.timestamp);
        QCOMPARE(durations({known, other}), (Durations{1, 1}));
    }

    void absentIsNotEmptyEitherWayRound()
    {
        ActivityLog absent = at(0);
        absent.windowTitle.reset();
        ActivityLog empty = at(1);
        empty.windowTitle = SharedText("");
        QCOMPARE(durations({absent, empty}), (Durations{1, 1}));
        std::swap(absent.timestamp, empty.timestamp);
        QCOMPARE(durations({absent, empty}), (Durations{1, 1}));
        empty = absent;
        QCOMPARE(durations({absent, empty}), (Durations{2}));
    }

    void equalTextsInBuffersOfTheirOwnMerge()
    {
        ActivityLog first = at(0);
        ActivityLog second = at(1);
        first.url = SharedText("https://example.com/a");
        second.url = SharedText("https://example.com/a");
        QVERIFY(!first.url->sharesBufferWith(*second.url));
        QCOMPARE(durations({first, second}), (Durations{2}));
    }

    void aDurationOfNothingOrLessIsAddedLikeAnyOther()
    {
        QCOMPARE(durations({lasting(0, at(0)), lasting(0, at(2))}), (Durations{0}));
        QCOMPARE(durations({lasting(-1, at(0)), at(1)}), (Durations{0}));
        QCOMPARE(durations({lasting(-1, at(0)), at(1.5)}), (Durations{-1, 1}));
    }

    void gapThatIsNoNumberDoesNotMerge()
    {
        const auto counts = [](const ActivityLog& first, const ActivityLog& second) {
            return runsOf({first, second}).size();
        };
        QCOMPARE(counts(lasting(kNotANumber, at(0)), at(1)), 2UL);
        QCOMPARE(counts(at(0), at(kNotANumber)), 2UL);
        QCOMPARE(counts(at(kNotANumber), at(kNotANumber)), 2UL);
        QCOMPARE(counts(at(kInfinity), at(kInfinity)), 2UL);
        QCOMPARE(counts(at(-kInfinity), at(-kInfinity)), 2UL);
        QCOMPARE(counts(at(0), at(kInfinity)), 2UL);
        QCOMPARE(counts(lasting(kInfinity, at(0)), at(1e300)), 1UL); // the gap is minus infinity
        QCOMPARE(counts(at(-kInfinity), lasting(kInfinity, at(0))), 2UL);
    }

    void timesThatAreNoNumberComeLastInTheirOrderAndDisturbNothing()
    {
        const std::vector<ActivityLog> logs = {at(kNotANumber, "x"),
                                               at(3, "c"),
                                               at(-kNotANumber, "y"),
                                               at(1, "a"),
                                               at(kInfinity, "d"),
                                               at(kNotANumber, "z"),
                                               at(2, "b")};
        std::string names;
        for (const AggregatedLog& run : runsOf(logs))
            names += run.log.appName.view();
        QCOMPARE(names, std::string("abcdxyz"));
    }

    void listIsLeftAsItIs()
    {
        const ActivityList list = listOf({at(3), at(1), at(2)});
        const auto before = samples::records(list);
        const auto runs = runsOf(list);
        QCOMPARE(runs.size(), 1UL);
        QVERIFY(samples::records(list) == before);
    }

    void listsOfManyChunksAndWithoutTheirFirstRecordsAreFolded()
    {
        ActivityList list;
        for (int i = 0; i < 5000; ++i)
            list.append(at(i));
        const auto runs = runsOf(list.withoutFirst(1500));
        QCOMPARE(runs.size(), 1UL);
        QCOMPARE(runs[0].duration, 3500.0);
        QCOMPARE(runs[0].log.timestamp, 1500.0);
    }

    void aCopyOfARunKeepsItsTextsAfterTheListIsGone()
    {
        std::vector<AggregatedLog> runs;
        {
            const ActivityList list = listOf({at(0, "A"), at(1, "B")});
            runs = runsOf(list);
        }
        QCOMPARE(runs.size(), 2UL);
        QCOMPARE(runs[1].log.appName.view(), std::string_view("B"));
    }
};

QUILLSTEP_TEST(TestAggregation)
#include "tst_aggregation.moc"
