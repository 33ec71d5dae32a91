// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "activity/save_worker.h"
#include "tests/fakes/fake_atomic_files.h"
#include "tests/fakes/fake_diagnostics.h"
#include "tests/support/activity_samples.h"

#include <QTest>

#include <chrono>
#include <limits>

using activity::ActivityList;
using activity::SaveWorker;
using namespace std::chrono_literals;

namespace {

const QString kPath = QStringLiteral("/data/activity_logs.json");

/// A worker on the test's own thread.
struct Bench
{
    explicit Bench(const SaveWorker::Settings& settings = {})
        : worker(files.at(kPath), diagnostics, settings)
    {
    }

    /// Returns when the save is done or the budget used up.
    void submit(const ActivityList& list)
    {
        worker.submit(list);
        QCoreApplication::processEvents();
    }

    fakes::FakeAtomicFiles files;
    fakes::FakeDiagnostics diagnostics;
    SaveWorker worker;
};

ActivityList grown(ActivityList list, int count)
{
    for (int i = 0; i < count; ++i)
        list.append(samples::log("grown"));
    return list;
}

} // namespace

class TestSaveWorker final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void emptyListIsWrittenAsAnEmptyArray()
    {
        Bench bench;
        bench.submit({});
        QCOMPARE(bench.files.content(), QByteArray("[]"));
    }

    void listIsWrittenAsOneArrayWithoutNewline()
    {
        Bench bench;
        const ActivityList list = samples::list(3000);
        bench.submit(list);
        QCOMPARE(bench.files.content(), samples::json(list));
        QVERIFY(bench.diagnostics.lines().isEmpty());
    }

    void onlyWhatIsNewIsEncoded()
    {
        Bench bench;
        ActivityList list = samples::list(1000);
        bench.submit(list);
        const qint64 before = bench.files.bytesAppended();
        list = grown(list, 1);
        bench.submit(list);
        QCOMPARE(bench.files.content(), samples::json(list));
        QVERIFY(bench.files.bytesAppended() - before < 300);
        QVERIFY(bench.files.bytesCopied() > 100'000);
    }

    void whatIsNewGoesIntoTheFileBeforeWhereThatIsKept()
    {
        Bench bench;
        bench.files.keepsPrevious = true;
        ActivityList list = samples::list(1000);
        const qint64 copied = samples::json(list).size() - 1;
        for (int round = 0; round < 6; ++round) {
            bench.submit(list);
            QCOMPARE(bench.files.content(), samples::json(list));
            list = grown(list, round + 1);
        }
        QCOMPARE(bench.files.bytesCopied(), copied); // by the second save alone
    }

    void aFileBeforeThatTheListHasLeftIsNotUsed()
    {
        Bench bench;
        bench.files.keepsPrevious = true;
        ActivityList list = samples::list(1000);
        for (int round = 0; round < 3; ++round) {
            bench.submit(list);
            list = grown(list, 1);
        }
        list = list.withoutFirst(500);
        for (int round = 0; round < 4; ++round) {
            bench.submit(list);
            QCOMPARE(bench.files.content(), samples::json(list));
            list = grown(list, 1);
        }
    }

    void aListThatGrewFromTheEmptyOneIsCorrect()
    {
        Bench bench;
        bench.submit({});
        const ActivityList list = grown({}, 2);
        bench.submit(list);
        QCOMPARE(bench.files.content(), samples::json(list));
    }

    void aShortenedListIsWrittenAnew()
    {
        Bench bench;
        const ActivityList list = samples::list(1000);
        bench.submit(list);
        const ActivityList rest = list.withoutFirst(990);
        bench.submit(rest);
        QCOMPARE(bench.files.content(), samples::json(rest));
        bench.submit({});
        QCOMPARE(bench.files.content(), QByteArray("[]"));
    }

    void theSameListIsWrittenAgain()
    {
        Bench bench;
        const ActivityList list = samples::list(3);
        bench.submit(list);
        bench.submit(list);
        QCOMPARE(bench.files.commits(), 2);
        QCOMPARE(bench.files.content(), samples::json(list));
    }

    void aFileChangedByOthersIsWrittenInFull()
    {
        Bench bench;
        ActivityList list = samples::list(100);
        bench.submit(list);
        bench.files.changeFromOutside("[\"something else\"]");
        list = grown(list, 1);
        bench.submit(list);
        QCOMPARE(bench.files.content(), samples::json(list));
        QVERIFY(bench.diagnostics.lines().isEmpty());
    }

    void aFileChangedWhileItIsCopiedIsWrittenInFull()
    {
        for (const bool atCommit : {false, true}) {
            Bench bench;
            ActivityList list = samples::list(100);
            bench.submit(list);
            fakes::FakeAtomicFiles::Faults faults;
            (atCommit ? faults.commit : faults.copy) = QStringLiteral("changed");
            faults.sourceChanged = true;
            bench.files.setFaults(faults);
            list = grown(list, 1);
            bench.submit(list);
            QCOMPARE(bench.files.content(), samples::json(list));
            QVERIFY(bench.diagnostics.lines().isEmpty());
        }
    }

    void aFailureIsOneLineThatNamesFileAndReasonAndIsNotRetried_data()
    {
        QTest::addColumn<QString>("step");
        for (const char* step : {"begin", "copy", "append", "commit", "damaged"})
            QTest::newRow(step) << QString::fromLatin1(step);
    }

    void aFailureIsOneLineThatNamesFileAndReasonAndIsNotRetried()
    {
        QFETCH(QString, step);
        const bool damaged = step == QStringLiteral("damaged");
        Bench bench({.keepDamagedCopy = damaged});
        const ActivityList list = samples::list(10);
        if (!damaged)
            bench.submit(list);
        const QByteArray before = bench.files.content();
        fakes::FakeAtomicFiles::Faults faults;
        const QString reason = QStringLiteral("No space left on device");
        (step == QStringLiteral("begin")    ? faults.begin
         : step == QStringLiteral("copy")   ? faults.copy
         : step == QStringLiteral("append") ? faults.append
         : step == QStringLiteral("commit") ? faults.commit
                                            : faults.keepDamagedCopy) = reason;
        bench.files.setFaults(faults);
        const ActivityList more = grown(list, 1);
        bench.submit(more);
        QCOMPARE(bench.diagnostics.lines(),
                 QStringList(QStringLiteral(
                     "Save failed: /data/activity_logs.json: No space left on device")));
        QCOMPARE(bench.files.content(), before);

        bench.files.setFaults({});
        QCoreApplication::processEvents();
        QCOMPARE(bench.files.content(), before);
        const ActivityList evenMore = grown(more, 1);
        bench.submit(evenMore);
        QCOMPARE(bench.files.content(), samples::json(evenMore));
        QCOMPARE(bench.diagnostics.lines().size(), 1);
    }

    void nonFiniteTimesAreNotWrittenAtAll()
    {
        for (const double bad :
             {std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()}) {
            Bench bench;
            ActivityList list = samples::list(3);
            bench.submit(list);
            const QByteArray before = bench.files.content();
            list.append(samples::log("bad", "title", bad));
            bench.submit(list);
            QCOMPARE(bench.files.content(), before);
            QCOMPARE(bench.diagnostics.lines(),
                     QStringList(QStringLiteral("Save failed: /data/activity_logs.json: a record "
                                                "holds a time that is not a finite number")));
        }
    }

    void ofListsThatWaitOnlyTheNewestIsWritten()
    {
        Bench bench;
        ActivityList list;
        for (int i = 0; i < 50; ++i) {
            list = grown(list, 1);
            bench.worker.submit(list);
        }
        QCoreApplication::processEvents();
        QCOMPARE(bench.files.commits(), 1);
        QCOMPARE(bench.files.content(), samples::json(list));
    }

    void damagedFileIsKeptOnceBeforeTheFirstReplacement()
    {
        Bench bench({.keepDamagedCopy = true});
        QCOMPARE(bench.files.damagedCopies(), 0);
        bench.submit(samples::list(1));
        bench.submit(samples::list(2));
        QCOMPARE(bench.files.damagedCopies(), 1);
    }

    void aLargeFileIsWrittenNoFasterThanTheBudgetAllows()
    {
        constexpr std::int64_t kRate = 200'000;
        Bench bench({.bytesPerSecond = kRate});
        const ActivityList list = samples::list(4000);
        const qint64 size = samples::json(list).size();
        QVERIFY(size > 2 * kRate);
        const auto start = std::chrono::steady_clock::now();
        bench.submit(list);
        QCOMPARE(bench.files.commits(), 0); // and the thread is free meanwhile
        QTRY_COMPARE_WITH_TIMEOUT(bench.files.commits(), 1, 20000);
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        QVERIFY(static_cast<double>(size) <= kRate * (took.count() + 1) + 300'000);
        QVERIFY(took > 500ms);
        QCOMPARE(bench.files.content(), samples::json(list));
    }

    void whatIsAddedWhileALargeFileIsWrittenGoesInAtTheEnd()
    {
        Bench bench({.bytesPerSecond = 200'000});
        const ActivityList list = samples::list(3000);
        bench.submit(list);
        QCOMPARE(bench.files.commits(), 0);
        const ActivityList more = grown(list, 5);
        bench.submit(grown(list, 2));
        bench.submit(more);
        QTRY_COMPARE_WITH_TIMEOUT(bench.files.commits(), 1, 20000);
        QCOMPARE(bench.files.content(), samples::json(more));
    }

    void whatIsRemovedWhileALargeFileIsWrittenIsNotWrittenFirst()
    {
        Bench bench({.bytesPerSecond = 200'000});
        const ActivityList list = samples::list(3000);
        bench.submit(list);
        const ActivityList rest = list.withoutFirst(2990);
        bench.submit(rest);
        QTRY_COMPARE_WITH_TIMEOUT(bench.files.commits(), 1, 20000);
        QCOMPARE(bench.files.content(), samples::json(rest));
    }

    void theEndDoesNotWaitForTheBudget()
    {
        Bench bench({.bytesPerSecond = 1000});
        const ActivityList list = samples::list(3000);
        bench.submit(list);
        QCOMPARE(bench.files.commits(), 0);
        bench.worker.finish(QDeadlineTimer(60s));
        QCOMPARE(bench.files.content(), samples::json(list));
    }

    void theEndGivesUpAtItsDeadlineWithALine()
    {
        Bench bench({.bytesPerSecond = 1000});
        bench.submit(samples::list(3000));
        bench.worker.finish(QDeadlineTimer(0));
        QCOMPARE(bench.files.commits(), 0);
        QCOMPARE(bench.diagnostics.lines(),
                 QStringList(QStringLiteral("Save failed: /data/activity_logs.json: not finished "
                                            "in the time left before the end")));
    }

    void theEndWithNothingOwedWritesNothing()
    {
        Bench bench;
        bench.submit(samples::list(1));
        bench.worker.finish(QDeadlineTimer(60s));
        QCOMPARE(bench.files.commits(), 1);
    }
};

QTEST_GUILESS_MAIN(TestSaveWorker)
#include "tst_save_worker.moc"
