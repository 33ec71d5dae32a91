// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "activity/saver.h"
#include "tests/fakes/fake_atomic_files.h"
#include "tests/fakes/fake_diagnostics.h"
#include "tests/support/activity_samples.h"
#include "tests/support/test_program.h"

#include <QSemaphore>
#include <QTest>

#include <chrono>
#include <limits>
#include <optional>
#include <utility>

using activity::ActivityList;
using activity::Saver;
using namespace std::chrono_literals;

namespace {

const QString kPath = QStringLiteral("/data/activity_logs.json");

struct Bench
{
    explicit Bench(Saver::Settings settings = {}, int turns = 1)
    {
        files.files = turns;
        saver.emplace(files.at(kPath), diagnostics, ActivityList(), std::move(settings));
    }

    /// Returns when the save is done, or has failed with a line.
    void submit(const ActivityList& list)
    {
        const auto done = [this] {
            return files.commits() + diagnostics.lines().size();
        };
        const auto before = done();
        saver->submit(list);
        QVERIFY(QTest::qWaitFor([&] { return done() > before; }, 20000));
    }

    /// Returns when what was submitted is flushed.
    void flush()
    {
        QSemaphore done;
        saver->flush([&done] { done.release(); });
        QVERIFY(done.tryAcquire(1, 20000));
    }

    void finish() { QVERIFY(saver->finish(Saver::Clock::now() + 60s)); }

    fakes::FakeAtomicFiles files;
    fakes::FakeDiagnostics diagnostics;
    std::optional<Saver> saver;
};

ActivityList grown(ActivityList list, int count)
{
    for (int i = 0; i < count; ++i)
        list.append(samples::log("grown"));
    return list;
}

} // namespace

class TestSaver final : public QObject
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
        const qint64 before = bench.files.bytesWritten();
        list = grown(list, 1);
        bench.submit(list);
        QCOMPARE(bench.files.content(), samples::json(list));
        QVERIFY(bench.files.bytesWritten() - before < 300);
        QVERIFY(bench.files.bytesCopied() > 100'000);
    }

    void whatIsNewGoesIntoTheFileBeforeWhereThatIsKept()
    {
        Bench bench({}, 3);
        ActivityList list = samples::list(1000);
        qint64 copied = 0;
        for (int round = 0; round < 8; ++round) {
            bench.submit(list);
            QCOMPARE(bench.files.content(), samples::json(list));
            if (round < 2) // the next one starts a file
                copied += samples::json(list).size() - 1;
            list = grown(list, round + 1);
        }
        QCOMPARE(bench.files.bytesCopied(), copied); // once for each file
    }

    void aFileBeforeThatTheListHasLeftIsNotUsed()
    {
        Bench bench({}, 3);
        ActivityList list = samples::list(1000);
        for (int round = 0; round < 4; ++round) {
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

    void aFileChangedWhileItIsCopiedOrNotToBeCopiedIsWrittenInFull()
    {
        for (const bool changes : {false, true}) {
            Bench bench;
            ActivityList list = samples::list(100);
            bench.submit(list);
            bench.files.setFaults({.copy = !changes, .changesWhileCopied = changes});
            list = grown(list, 1);
            bench.submit(list);
            QCOMPARE(bench.files.content(), samples::json(list));
            QVERIFY(bench.diagnostics.lines().isEmpty());
        }
    }

    void aFailureIsOneLineThatNamesFileAndReasonAndIsNotRetried_data()
    {
        QTest::addColumn<QString>("step");
        for (const char* step : {"begin", "write", "commit", "damaged"})
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
         : step == QStringLiteral("write")  ? faults.write
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
        bench.flush();
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
        QSemaphore started;
        QSemaphore mayGoOn;
        bench.files.beforeCommit = [&] {
            started.release();
            mayGoOn.acquire();
        };
        ActivityList list = grown({}, 1);
        bench.saver->submit(list);
        started.acquire();
        for (int i = 0; i < 50; ++i) {
            list = grown(list, 1);
            bench.saver->submit(list);
        }
        mayGoOn.release(2);
        bench.finish();
        QCOMPARE(bench.files.commits(), 2);
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
        bench.saver->submit(list);
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
        bench.saver->submit(list);
        QTRY_VERIFY(bench.files.bytesWritten() > 0);
        QCOMPARE(bench.files.commits(), 0);
        const ActivityList more = grown(list, 5);
        bench.saver->submit(grown(list, 2));
        bench.saver->submit(more);
        QTRY_COMPARE_WITH_TIMEOUT(bench.files.commits(), 1, 20000);
        QCOMPARE(bench.files.content(), samples::json(more));
    }

    void whatIsRemovedWhileALargeFileIsWrittenIsNotWrittenFirst()
    {
        Bench bench({.bytesPerSecond = 200'000});
        const ActivityList list = samples::list(3000);
        bench.saver->submit(list);
        QTRY_VERIFY(bench.files.bytesWritten() > 0);
        const ActivityList rest = list.withoutFirst(2990);
        bench.saver->submit(rest);
        QTRY_COMPARE_WITH_TIMEOUT(bench.files.commits(), 1, 20000);
        QCOMPARE(bench.files.content(), samples::json(rest));
    }

    void theEndDoesNotWaitForTheBudget()
    {
        Bench bench({.bytesPerSecond = 1000});
        const ActivityList list = samples::list(3000);
        bench.saver->submit(list);
        QTRY_VERIFY(bench.files.bytesWritten() > 0);
        QCOMPARE(bench.files.commits(), 0);
        bench.finish();
        QCOMPARE(bench.files.content(), samples::json(list));
        QCOMPARE(bench.files.flushedContent(), samples::json(list));
    }

    void theEndGivesUpAtItsDeadlineWithALine()
    {
        Bench bench({.bytesPerSecond = 1000});
        bench.saver->submit(samples::list(3000));
        QTRY_VERIFY(bench.files.bytesWritten() > 0);
        [[maybe_unused]] const bool inTime = bench.saver->finish(Saver::Clock::now());
        bench.saver.reset();
        QCOMPARE(bench.files.commits(), 0);
        QCOMPARE(bench.diagnostics.lines(),
                 QStringList(QStringLiteral("Save failed: /data/activity_logs.json: not finished "
                                            "in the time left before the end")));
    }

    void theEndWithNothingOwedWritesNothing()
    {
        Bench bench;
        bench.submit(samples::list(1));
        bench.finish();
        QCOMPARE(bench.files.commits(), 1);
    }

    void newsAreFlushedInTwoSecondsAndMoreOfTheSameInTen()
    {
        Bench bench;
        ActivityList list = samples::list(5);
        list.append(samples::log("same"));
        bench.submit(list);
        bench.flush();
        const int flushes = bench.files.flushes();
        const auto start = Saver::Clock::now();
        list.append(samples::log("same"));
        bench.submit(list);
        list.append(samples::log("same"));
        bench.submit(list);
        // Ten seconds would pass, were it not for this.
        list.append(samples::log("another"));
        bench.submit(list);
        QTRY_COMPARE_WITH_TIMEOUT(bench.files.flushes(), flushes + 1, 8000);
        QVERIFY(Saver::Clock::now() - start > 1500ms);
        QVERIFY(Saver::Clock::now() - start < 5s);
        QCOMPARE(bench.files.flushedContent(), samples::json(list));

        const auto again = Saver::Clock::now();
        list.append(samples::log("another"));
        bench.submit(list);
        QTRY_COMPARE_WITH_TIMEOUT(bench.files.flushes(), flushes + 2, 20000);
        QVERIFY(Saver::Clock::now() - again > 9s);
        QVERIFY(Saver::Clock::now() - again < 14s);
    }

    void aTitleOrAnAddressIsNews()
    {
        for (const char* title : {"title", "another title"}) {
            Bench bench;
            ActivityList list;
            list.append(samples::log("same", "title"));
            bench.submit(list);
            bench.flush();
            const int flushes = bench.files.flushes();
            list.append(samples::log("same", title));
            bench.submit(list);
            const bool isNews = QByteArrayView(title) != "title";
            QCOMPARE(QTest::qWaitFor([&] { return bench.files.flushes() > flushes; }, 4000),
                     isNews);
        }
    }

    void aRemovalIsFlushedAtOnce()
    {
        Bench bench;
        const ActivityList list = samples::list(10);
        bench.submit(list);
        bench.flush();
        const auto start = Saver::Clock::now();
        bench.submit(list.withoutFirst(10));
        QTRY_COMPARE(bench.files.flushedContent(), QByteArray("[]"));
        QVERIFY(Saver::Clock::now() - start < 1500ms);
    }

    void whatCannotBeFlushedAtTheEndKeepsTheOtherFiles()
    {
        for (const bool fails : {false, true}) {
            Bench bench;
            bench.submit(samples::list(10));
            if (fails)
                bench.files.setFaults({.flush = QStringLiteral("Input/output error")});
            bench.finish();
            QCOMPARE(bench.files.discards(), fails ? 0 : 1);
        }
    }

    void whatIsToBeFlushedIsSavedFirst()
    {
        Bench bench;
        const ActivityList list = samples::list(10);
        bench.saver->submit(list);
        bench.flush();
        QCOMPARE(bench.files.flushedContent(), samples::json(list));
    }

    void leftoversAreRemovedOnceAndNotBeforeTheFirstFlush()
    {
        Bench bench;
        bench.flush(); // of nothing
        QCOMPARE(bench.files.tidyings(), 0);
        bench.submit(samples::list(1));
        QCOMPARE(bench.files.tidyings(), 0);
        bench.flush();
        bench.submit(samples::list(2));
        bench.flush();
        QCOMPARE(bench.files.tidyings(), 1);
    }

    void aFlushThatFailsIsALineAndNothingIsTrustedAfterwards()
    {
        Bench bench({}, 3);
        ActivityList list = samples::list(100);
        for (int round = 0; round < 3; ++round) {
            bench.submit(list);
            list = grown(list, 1);
        }
        bench.files.setFaults({.flush = QStringLiteral("Input/output error")});
        bench.flush();
        QCOMPARE(bench.diagnostics.lines(),
                 QStringList(
                     QStringLiteral("Save failed: /data/activity_logs.json: Input/output error")));
        bench.files.setFaults({});
        const qint64 before = bench.files.bytesWritten();
        bench.submit(list);
        QVERIFY(bench.files.bytesWritten() - before >= samples::json(list).size());
        QCOMPARE(bench.files.content(), samples::json(list));
    }
};

QUILLSTEP_TEST(TestSaver)
#include "tst_saver.moc"
