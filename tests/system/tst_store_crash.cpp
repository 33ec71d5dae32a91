// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// What is on the disk when the process is killed or the disk is full.
#include "activity/data_store.h"
#include "backends/posix/posix_atomic_file.h"
#include "backends/posix/system_clock.h"
#include "tests/fakes/fake_diagnostics.h"
#include "tests/support/activity_samples.h"
#include "tests/support/child_process.h"
#include "tests/support/passing_time.h"
#include "tests/support/required_programs.h"
#include "tests/support/small_disk.h"
#include "tests/support/test_program.h"

#include <QDir>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

#include <chrono>
#include <cstring>
#include <vector>

namespace {

struct Note
{
    quint64 number;
    double time;
};

std::vector<Note> notesIn(const QByteArray& output)
{
    std::vector<Note> notes(static_cast<std::size_t>(output.size()) / sizeof(Note));
    if (!notes.empty())
        std::memcpy(notes.data(), output.constData(), notes.size() * sizeof(Note));
    return notes;
}

QString fileIn(const QString& support)
{
    return activity::DataStore::filePathIn(support);
}

} // namespace

class TestStoreCrash final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void killedAtAnyMomentTheFileIsOneCompleteArrayAndAtMostTwoSecondsAreMissing()
    {
        constexpr int kRounds = 200;
        const QTemporaryDir folder;
        QRandomGenerator random(QRandomGenerator::securelySeeded());
        quint64 last = 0;
        double most = 0;
        for (int round = 0; round < kRounds; ++round) {
            support::ChildProcess churn;
            QVERIFY(churn.start(QStringLiteral(STORE_CHURN_EXECUTABLE),
                                {folder.path()},
                                QProcessEnvironment::systemEnvironment()));
            QByteArray output;
            const auto read = [&] {
                output += churn.process().readAllStandardOutput();
            };
            QVERIFY(QTest::qWaitFor(
                [&] {
                    read();
                    return !notesIn(output).empty();
                },
                20000));
            const int moment = random.bounded(1, 150);
            support::letPass(std::chrono::milliseconds(moment));
            churn.kill();
            read();
            const std::vector<Note> added = notesIn(output);

            const QByteArray content = samples::contentOf(fileIn(folder.path()));
            if (content.isEmpty() && last == 0)
                continue; // killed before anything was ever saved
            const auto list = samples::read(content);
            QVERIFY2(list, content.left(200).constData());
            QVERIFY(!list->empty());
            // Every record up to the last saved one, none twice.
            quint64 expected = std::stoull(std::string((*list)[0].appName.view()));
            for (const activity::ActivityLog& log : *list)
                QCOMPARE(std::stoull(std::string(log.appName.view())), expected++);
            // The last one may have been killed before it was noted.
            QVERIFY(expected - 1 <= added.back().number + 1);
            QVERIFY(expected - 1 >= last); // what was on the disk before is never lost again
            last = expected - 1;
            // What this run has added and not saved, in seconds of its adding.
            const double saved = std::max((*list)[list->size() - 1].timestamp, added.front().time);
            const double missing = added.back().time - saved;
            most = std::max(most, missing);
            QVERIFY2(missing <= 2, qPrintable(QString::number(missing)));
        }
        qInfo("at most %.3f s were missing in %d kills", most, kRounds);
        // The next start tidies up what was left half written.
        platform::posix::PosixAtomicFile(fileIn(folder.path())).removeLeftovers();
        const QDir data(QFileInfo(fileIn(folder.path())).path());
        QCOMPARE(data.entryList(QDir::Files | QDir::Hidden),
                 QStringList(QStringLiteral("activity_logs.json")));
    }

    void aFullDiskKeepsTheOldFileSaysSoAndRecoversWhenThereIsRoom()
    {
        support::SmallDisk disk(1'000'000);
        REQUIRE_SMALL_DISK(disk);
        fakes::FakeDiagnostics diagnostics;
        platform::posix::PosixAtomicFiles files;
        const QString path = fileIn(disk.path());
        activity::DataStore store(
            {.applicationSupport = disk.path(), .files = files, .diagnostics = diagnostics});
        store.addLog(samples::log("first"));
        const QByteArray first = samples::json(store.activities());
        QTRY_COMPARE(samples::contentOf(path), first);

        QFile filler(disk.path() + QStringLiteral("/filler"));
        QVERIFY(filler.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
        while (filler.write(QByteArray(4096, 'x')) > 0) {
        }
        store.addLog(samples::log("second"));
        const QString line =
            QStringLiteral("Save failed: ") + path + QStringLiteral(": No space left on device");
        QTRY_COMPARE(diagnostics.lines(), QStringList(line));
        QCOMPARE(samples::contentOf(path), first);
        QCOMPARE(QDir(QFileInfo(path).path()).entryList(QDir::Files | QDir::Hidden).size(), 1);
        QCOMPARE(store.activities().size(), 2UL);

        QVERIFY(filler.resize(0));
        store.addLog(samples::log("third"));
        QTRY_COMPARE(samples::contentOf(path), samples::json(store.activities()));
        QCOMPARE(diagnostics.lines(), QStringList(line));
    }

    void aFolderThatCannotBeWrittenToKeepsTheOldFileAndSaysSo()
    {
        support::SmallDisk disk(1'000'000);
        REQUIRE_SMALL_DISK(disk);
        fakes::FakeDiagnostics diagnostics;
        platform::posix::PosixAtomicFiles files;
        const QString path = fileIn(disk.path());
        const activity::DataStore::Dependencies dependencies{
            .applicationSupport = disk.path(), .files = files, .diagnostics = diagnostics};
        QByteArray before;
        {
            activity::DataStore store(dependencies);
            store.addLog(samples::log("first"));
            before = samples::json(store.activities());
        }
        QVERIFY(disk.makeReadOnly());
        activity::DataStore store(dependencies);
        QCOMPARE(store.activities().size(), 1UL);
        store.addLog(samples::log("second"));
        const QString line =
            QStringLiteral("Save failed: ") + path + QStringLiteral(": Read-only file system");
        QTRY_COMPARE(diagnostics.lines(), QStringList(line));
        QCOMPARE(samples::contentOf(path), before);
        QCOMPARE(store.activities().size(), 2UL);
    }
};

QUILLSTEP_TEST(TestStoreCrash)
#include "tst_store_crash.moc"
