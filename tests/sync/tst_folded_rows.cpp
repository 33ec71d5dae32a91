// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "sync/upload_body.h"
#include "tests/support/activity_samples.h"
#include "tests/support/test_program.h"
#include "tests/sync/generated_samples.h"
#include "tests/sync/runs_of.h"

#include <QTest>

#include <vector>

using activity::ActivityList;
using activity::ActivityLog;
using syncing::FoldedRows;

namespace {

/// A backlog of days in which every sample is a row of its own.
constexpr int kMany = 20'000;

/// The rows of `list` with commas between them.
std::string written(const ActivityList& list)
{
    std::string rows;
    for (const syncing::AggregatedLog& run : runsOf(list)) {
        if (!rows.empty())
            rows += syncing::kBetweenRows;
        syncing::appendRow(rows, syncing::uploadRow(run));
    }
    return rows;
}

/// Samples of another window each, a second apart.
ActivityList backlog(int count)
{
    ActivityList list;
    for (int i = 0; i < count; ++i)
        list.append(samples::log("Editor", "title " + std::to_string(i), 785000000.0 + i));
    return list;
}

/// What the rows are read as, in the order that was found.
std::vector<syncing::AggregatedLog> readBack(const FoldedRows& rows)
{
    syncing::RunReader reader(rows.logs(), rows.order());
    std::vector<syncing::AggregatedLog> runs;
    while (const auto run = reader.next())
        runs.push_back(*run);
    return runs;
}

} // namespace

class TestFoldedRows final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void withoutSamplesThereAreNoRows()
    {
        FoldedRows rows;
        QVERIFY(!rows.takesLong({}));
        rows.extend({});
        QCOMPARE(rows.rowCount(), 0);
        QCOMPARE(rows.bytes(), 0);
    }

    void ofAListThatGrowsOnlyTheNewIsLookedAt()
    {
        ActivityList list = backlog(kMany);
        FoldedRows rows;
        QVERIFY(rows.takesLong(list));
        rows.extend(list);
        for (int minute = 0; minute < 3; ++minute) {
            for (int second = 0; second < 60; ++second)
                list.append(samples::log("Editor", "more", 785000000.0 + double(list.size())));
            QVERIFY(!rows.takesLong(list));
            rows.extend(list);
            QCOMPARE(rows.rowCount(), kMany + 1);
            QCOMPARE(rows.bytes(), qint64(written(list).size()));
        }
    }

    void aListThatHasLostItsBeginningIsFoldedAnew()
    {
        const ActivityList list = backlog(kMany);
        FoldedRows rows;
        rows.extend(list);
        const ActivityList rest = list.withoutFirst(5);
        QVERIFY(rows.takesLong(rest));
        rows.extend(rest);
        QCOMPARE(rows.rowCount(), kMany - 5);
        QCOMPARE(rows.bytes(), qint64(written(rest).size()));
    }

    void aClockThatWasSetBackIsSeen()
    {
        ActivityList list = backlog(kMany);
        FoldedRows rows;
        rows.extend(list);
        list.append(samples::log("Editor", "title 3", 785000003.5)); // goes on with that one
        QVERIFY(rows.takesLong(list));
        rows.extend(list);
        QVERIFY(rows.order() != nullptr);
        QCOMPARE(rows.rowCount(), kMany);
        QVERIFY(readBack(rows) == runsOf(list));
        list.append(samples::log("Editor", "later", 785000000.0 + kMany));
        rows.extend(list);
        QCOMPARE(rows.rowCount(), kMany + 1);
        QCOMPARE(rows.bytes(), qint64(written(list).size()));
        QVERIFY(readBack(rows) == runsOf(list));
    }

    void stepByStepIsAsAllAtOnce()
    {
        constexpr unsigned kSeed = 23;
        qInfo("seed %u", kSeed);
        Generator random(kSeed);
        for (int i = 0; i < 2'000; ++i) {
            ActivityList list;
            FoldedRows rows;
            double shift = 0;
            for (std::size_t steps = 1 + random.below(5); steps > 0; --steps) {
                if (random.oneIn(3)) // the clock is set
                    shift += 0.25 * (double(random.below(400)) - 200);
                for (ActivityLog log : random.samples(12, false)) {
                    log.timestamp += shift;
                    list.append(log);
                }
                rows.extend(list);
                const std::string all = written(list);
                QVERIFY2(rows.bytes() == qint64(all.size()) &&
                             rows.rowCount() == qint64(runsOf(list).size()) &&
                             readBack(rows) == runsOf(list),
                         qPrintable(QStringLiteral("input %1").arg(i)));
            }
        }
    }
};

QUILLSTEP_TEST(TestFoldedRows)
#include "tst_folded_rows.moc"
