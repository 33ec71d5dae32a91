// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "activity/data_store.h"
#include "backends/posix/posix_atomic_file.h"
#include "tests/fakes/fake_atomic_files.h"
#include "tests/fakes/fake_diagnostics.h"
#include "tests/support/activity_samples.h"
#include "tests/support/dies_with.h"
#include "tests/support/test_program.h"

#include <QDir>
#include <QFileInfo>
#include <QSemaphore>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <chrono>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

using activity::ActivityIds;
using activity::DataStore;
using namespace std::chrono_literals;

namespace {

/// A home of its own on the real file system, and a store in it that can be started anew.
class Home final
{
public:
    Home() { start(); }

    void start(bool readsInBackground = false)
    {
        store.reset();
        store.emplace(DataStore::Dependencies{.applicationSupport = support(),
                                              .files = files,
                                              .diagnostics = diagnostics,
                                              .readsInBackground = readsInBackground});
    }

    void write(const QByteArray& content) { put(path(), content); }

    /// Leaves a file as a process that was killed has it beside the file.
    QString leaveBehind(const char* name, const QByteArray& content)
    {
        const QString leftover =
            folder() + QStringLiteral("/.activity_logs.json.") + QLatin1StringView(name);
        put(leftover, content);
        return leftover;
    }

    /// Stops the store, puts `content` in place of the file and starts again.
    void startWith(const QByteArray& content)
    {
        store.reset();
        write(content);
        start();
    }

    [[nodiscard]] QString support() const { return m_folder.filePath(QStringLiteral("share")); }

    [[nodiscard]] QString folder() const
    {
        return support() + QStringLiteral("/Velomira Usage Monitor");
    }

    [[nodiscard]] QString path() const { return folder() + QStringLiteral("/activity_logs.json"); }

    [[nodiscard]] QStringList damagedCopies() const
    {
        return QDir(folder()).entryList({QStringLiteral("activity_logs.json.damaged-*")});
    }

    [[nodiscard]] bool fileHolds(const activity::ActivityList& list) const
    {
        return samples::contentOf(path()) == samples::json(list);
    }

private:
    static void put(const QString& path, const QByteArray& content)
    {
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
            qFatal("cannot write a file");
    }

    QTemporaryDir m_folder;
    platform::posix::PosixAtomicFiles files;

public:
    fakes::FakeDiagnostics diagnostics;
    std::optional<DataStore> store;
};

/// A store whose disk takes nothing until it is allowed to.
struct HangingDisk
{
    HangingDisk()
    {
        files.beforeCommit = [this] {
            mayCommit.acquire();
        };
    }

    fakes::FakeAtomicFiles files;
    fakes::FakeDiagnostics diagnostics;
    QSemaphore mayCommit;
    DataStore store{{.applicationSupport = QStringLiteral("/data"),
                     .files = files,
                     .diagnostics = diagnostics}};
};

mode_t modeOf(const QString& path)
{
    struct stat info = {};
    return ::stat(QFile::encodeName(path).constData(), &info) == 0 ? info.st_mode & 07777U : 0;
}

/// What somebody watching the store sees.
struct Watch
{
    explicit Watch(DataStore& store)
    {
        QObject::connect(&store, &DataStore::activitiesAboutToChange, [this, &store] {
            seen += QStringLiteral("before %1 ").arg(store.activities().size());
        });
        QObject::connect(&store, &DataStore::activitiesChanged, [this, &store] {
            seen += QStringLiteral("after %1 ").arg(store.activities().size());
        });
    }

    QString seen;
};

} // namespace

class TestDataStore final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void textsThatNoRecordHoldsAreDroppedWhenAskedFor()
    {
        Home home;
        for (int i = 0; i < 3'000; ++i)
            home.store->addLog(samples::log("Editor", "title " + std::to_string(i)));
        QCOMPARE(home.store->distinctTexts(), 3'001UL);
        home.store->removeLogs(ActivityIds(home.store->activities()));
        for (int save = 0; save < 3; ++save) { // then no file is the old list's any more
            home.store->addLog(samples::log("Editor"));
            QTRY_VERIFY(home.fileHolds(home.store->activities()));
        }
        QVERIFY(home.store->distinctTexts() > 2'000);
        const QSignalSpy done(&*home.store, &DataStore::unusedTextsDropped);
        home.store->dropUnusedTexts();
        home.store->dropUnusedTexts(); // that much again, not twice at a time
        QTRY_COMPARE(done.count(), 1);
        QCOMPARE(home.store->distinctTexts(), 2UL);
        home.store->dropUnusedTexts();
        QTRY_COMPARE(done.count(), 2);
    }

    void firstRunCreatesThePrivateFolderAndOneRecordMakesAOneElementFile()
    {
        Home home;
        QVERIFY(home.store->activities().empty());
        QVERIFY(QFileInfo(home.folder()).isDir());
        QVERIFY(!QFileInfo::exists(home.path()));
        QCOMPARE(modeOf(home.folder()), 0700U);
        home.store->addLog(samples::log("a"));
        QTRY_VERIFY(home.fileHolds(home.store->activities()));
        QCOMPARE(home.store->activities().size(), 1UL);
        QCOMPARE(modeOf(home.path()), 0600U);
    }

    void withoutAFolderForApplicationDataTheProgramEnds()
    {
        QVERIFY(support::diesWith("no folder for application data", [] {
            fakes::FakeAtomicFiles files;
            fakes::FakeDiagnostics diagnostics;
            const DataStore store(
                {.applicationSupport = std::nullopt, .files = files, .diagnostics = diagnostics});
        }));
    }

    void anExistingOpenFolderIsClosedToOthers()
    {
        Home home;
        home.store.reset();
        QCOMPARE(::chmod(QFile::encodeName(home.folder()).constData(), 0755), 0);
        home.start();
        QCOMPARE(modeOf(home.folder()), 0700U);
    }

    void savedRecordsAreThereAfterARestart()
    {
        Home home;
        for (int i = 0; i < 2000; ++i)
            home.store->addLog(samples::log("app", std::to_string(i), i));
        const auto before = samples::records(home.store->activities());
        home.start();
        QVERIFY(samples::records(home.store->activities()) == before);
        QVERIFY(home.damagedCopies().isEmpty());
    }

    void anEmptyArrayLoadsAsTheEmptyList()
    {
        Home home;
        home.startWith("[]");
        QVERIFY(home.store->activities().empty());
        home.store->addLog(samples::log("a"));
        QTRY_VERIFY(home.fileHolds(home.store->activities()));
        QVERIFY(home.damagedCopies().isEmpty());
    }

    void damagedFileGivesTheEmptyListStaysUntilASaveAndIsKeptBeside_data()
    {
        QTest::addColumn<QByteArray>("content");
        const QByteArray good = samples::json(samples::list(2));
        QTest::newRow("empty file") << QByteArray();
        QTest::newRow("object instead of array") << QByteArray("{}");
        QTest::newRow("one invalid element") << QByteArray(good).replace("\"duration\"", "\"x\"");
        QTest::newRow("truncated") << good.chopped(1);
        QTest::newRow("invalid UTF-8") << QByteArray(good).replace("title", "t\xFF");
        QTest::newRow("nested too deep") << QByteArray(600, '[') + QByteArray(600, ']');
    }

    void damagedFileGivesTheEmptyListStaysUntilASaveAndIsKeptBeside()
    {
        QFETCH(QByteArray, content);
        Home home;
        home.startWith(content);
        QVERIFY(home.store->activities().empty());
        QVERIFY(home.diagnostics.lines().isEmpty());
        home.start(); // nothing changed, nothing written
        QCOMPARE(samples::contentOf(home.path()), content);
        home.store->addLog(samples::log("a"));
        QTRY_VERIFY(home.fileHolds(home.store->activities()));
        QCOMPARE(home.damagedCopies().size(), 1);
        const QString copy = home.folder() + QLatin1Char('/') + home.damagedCopies().first();
        QCOMPARE(samples::contentOf(copy), content);
        QCOMPARE(modeOf(copy), 0600U);
    }

    void threeHundredMegabytesOfGarbageAreKeptBesideToo()
    {
        Home home;
        home.startWith("g");
        home.store.reset();
        constexpr qint64 kSize = 300'000'000;
        QVERIFY(QFile::resize(home.path(), kSize));
        home.start();
        QVERIFY(home.store->activities().empty());
        QCOMPARE(QFileInfo(home.path()).size(), kSize);
        home.store->addLog(samples::log("a"));
        QTRY_VERIFY(home.fileHolds(home.store->activities()));
        QCOMPARE(home.damagedCopies().size(), 1);
        QCOMPARE(QFileInfo(home.folder() + QLatin1Char('/') + home.damagedCopies().first()).size(),
                 kSize);
    }

    void onlyTheNewestThreeDamagedCopiesAreKept()
    {
        Home home;
        for (const char* content : {"one", "two", "three", "four", "five"}) {
            home.startWith(content);
            home.store->addLog(samples::log("a"));
            QTRY_VERIFY(home.fileHolds(home.store->activities()));
        }
        QByteArrayList kept;
        for (const QString& name : home.damagedCopies())
            kept.append(samples::contentOf(home.folder() + QLatin1Char('/') + name));
        std::ranges::sort(kept);
        QCOMPARE(kept, QByteArrayList({"five", "four", "three"}));
    }

    void theLargestDamagedCopyIsNeverThrownAway()
    {
        Home home;
        for (const char* content : {"one", "the whole of last year", "3", "4", "5", "6"}) {
            home.startWith(content);
            home.store->addLog(samples::log("a"));
            QTRY_VERIFY(home.fileHolds(home.store->activities()));
        }
        QByteArrayList kept;
        for (const QString& name : home.damagedCopies())
            kept.append(samples::contentOf(home.folder() + QLatin1Char('/') + name));
        QCOMPARE(kept, QByteArrayList({"the whole of last year", "4", "5", "6"}));
    }

    void aLinkedFileIsReadAndWrittenWhereItLeads()
    {
        Home home;
        home.store.reset();
        const QTemporaryDir volume;
        const QString target = volume.filePath(QStringLiteral("list.json"));
        const auto before = samples::list(2);
        {
            QFile file(target);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(samples::json(before));
        }
        QVERIFY(QFile::link(target, home.path()));
        home.start();
        QCOMPARE(home.store->activities().size(), 2UL);
        for (int i = 0; i < 3; ++i) { // also over the files of earlier saves
            home.store->addLog(samples::log("a"));
            QTRY_VERIFY(samples::contentOf(target) == samples::json(home.store->activities()));
        }
        QCOMPARE(QFileInfo(home.path()).symLinkTarget(), target);
        QVERIFY(home.damagedCopies().isEmpty());
        home.store.reset();
        QCOMPARE(QDir(home.folder()).entryList(QDir::Files | QDir::Hidden),
                 QStringList{QStringLiteral("activity_logs.json")});
        QCOMPARE(QDir(volume.path()).entryList(QDir::Files | QDir::Hidden),
                 QStringList{QStringLiteral("list.json")});
    }

    void aLinkToNowhereIsFilledOnceItsFolderIsThere()
    {
        Home home;
        home.store.reset();
        const QTemporaryDir volumes;
        const QString folder = volumes.filePath(QStringLiteral("disk"));
        const QString target = folder + QStringLiteral("/list.json");
        QVERIFY(QFile::link(target, home.path()));
        home.start();
        QVERIFY(home.store->activities().empty());
        home.store->addLog(samples::log("a"));
        QTRY_VERIFY(!home.diagnostics.lines().isEmpty());
        QCOMPARE(home.diagnostics.lines().first(),
                 QStringLiteral("Save failed: %1: No such file or directory").arg(target));
        // The disk comes, and has a list from before.
        QVERIFY(QDir().mkpath(folder));
        const QByteArray earlier = samples::json(samples::list(3));
        {
            QFile file(target);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(earlier);
        }
        home.store->addLog(samples::log("b"));
        QTRY_VERIFY(samples::contentOf(target) == samples::json(home.store->activities()));
        const QStringList kept =
            QDir(folder).entryList({QStringLiteral("list.json.damaged-*")}, QDir::Files);
        QCOMPARE(kept.size(), 1);
        QCOMPARE(samples::contentOf(folder + QLatin1Char('/') + kept.first()), earlier);
        QCOMPARE(QFileInfo(home.path()).symLinkTarget(), target);
    }

    void aPipeInPlaceOfTheFileDoesNotHoldTheStartUp()
    {
        Home home;
        home.store.reset();
        QCOMPARE(::mkfifo(QFile::encodeName(home.path()).constData(), 0600), 0);
        home.start();
        QVERIFY(home.store->activities().empty());
        home.store->addLog(samples::log("a"));
        QTRY_VERIFY(home.fileHolds(home.store->activities()));
    }

    void aFolderInPlaceOfTheFileMakesEachSaveFail()
    {
        Home home;
        home.store.reset();
        QVERIFY(QDir().mkdir(home.path()));
        home.start();
        home.store->addLog(samples::log("a"));
        const QString line =
            QStringLiteral("Save failed: ") + home.path() + QStringLiteral(": Is a directory");
        QTRY_COMPARE(home.diagnostics.lines(), QStringList({line}));
        home.store->addLog(samples::log("b"));
        QTRY_COMPARE(home.diagnostics.lines(), QStringList({line, line}));
        QCOMPARE(home.store->activities().size(), 2UL);
    }

    void aFileInPlaceOfTheFolderMakesEachSaveFail()
    {
        Home home;
        home.store.reset();
        QVERIFY(QDir(home.folder()).removeRecursively());
        QFile inTheWay(home.folder());
        QVERIFY(inTheWay.open(QIODevice::WriteOnly));
        home.start();
        QVERIFY(home.store->activities().empty());
        home.store->addLog(samples::log("a"));
        const QString line =
            QStringLiteral("Save failed: ") + home.path() + QStringLiteral(": Not a directory");
        QTRY_COMPARE(home.diagnostics.lines(), QStringList(line));
        QCOMPARE(home.store->activities().size(), 1UL);
    }

    void aFolderThatVanishesMakesSavesFailAndMemoryKeepsTheChange()
    {
        Home home;
        QVERIFY(QDir(home.folder()).removeRecursively());
        home.store->addLog(samples::log("a"));
        QTRY_COMPARE(home.diagnostics.lines(),
                     QStringList(QStringLiteral("Save failed: ") + home.path() +
                                 QStringLiteral(": No such file or directory")));
        QCOMPARE(home.store->activities().size(), 1UL);
        QVERIFY(QDir().mkpath(home.folder()));
        home.store->addLog(samples::log("b"));
        QTRY_VERIFY(home.fileHolds(home.store->activities()));
    }

    void addLogTellsObserversBeforeAndAfter()
    {
        Home home;
        Watch watch(*home.store);
        home.store->addLog(samples::log("a"));
        home.store->addLog(samples::log("b"));
        QCOMPARE(watch.seen, QStringLiteral("before 0 after 1 before 1 after 2 "));
    }

    void addLogReturnsBeforeTheFileIsWritten()
    {
        HangingDisk disk;
        for (int i = 0; i < 100; ++i)
            disk.store.addLog(samples::log("a"));
        QCOMPARE(disk.store.activities().size(), 100UL);
        QCOMPARE(disk.files.commits(), 0);
        disk.mayCommit.release(1000);
        QTRY_COMPARE(disk.files.content(), samples::json(disk.store.activities()));
        QVERIFY(disk.files.commits() < 100); // newer lists superseded waiting ones
    }

    void removingTheFirstAndThirdOfFourKeepsTheSecondAndFourthInOrder()
    {
        Home home;
        for (const char* name : {"first", "second", "third", "fourth"})
            home.store->addLog(samples::log(name));
        const auto before = samples::records(home.store->activities());
        Watch watch(*home.store);
        home.store->removeLogs(ActivityIds(std::vector{before[2].id, before[0].id}));
        QVERIFY(samples::records(home.store->activities()) == std::vector({before[1], before[3]}));
        QCOMPARE(watch.seen, QStringLiteral("before 4 after 2 "));
        QTRY_VERIFY(home.fileHolds(home.store->activities()));
    }

    void removingTheEmptySetLeavesTheListNotifiesOnceAndRewritesTheFile()
    {
        Home home;
        home.store->addLog(samples::log("a"));
        QTRY_VERIFY(home.fileHolds(home.store->activities()));
        QVERIFY(QFile::remove(home.path()));
        Watch watch(*home.store);
        home.store->removeLogs({});
        QCOMPARE(watch.seen, QStringLiteral("before 1 after 1 "));
        QTRY_VERIFY(home.fileHolds(home.store->activities()));
    }

    void identitiesThatMatchNoRecordAreIgnored()
    {
        Home home;
        home.store->addLog(samples::log("a"));
        home.store->removeLogs(ActivityIds(std::vector{platform::Uuid::random()}));
        QCOMPARE(home.store->activities().size(), 1UL);
    }

    void recordsAddedSinceASnapshotSurviveItsRemoval()
    {
        Home home;
        for (int i = 0; i < 3000; ++i)
            home.store->addLog(samples::log("old"));
        const ActivityIds delivered(home.store->activities());
        home.store->addLog(samples::log("new"));
        home.store->removeLogs(delivered);
        QCOMPARE(home.store->activities().size(), 1UL);
        QVERIFY(home.store->activities()[0].appName.view() == "new");
        QTRY_VERIFY(home.fileHolds(home.store->activities()));
    }

    void duplicatesByContentAreKept()
    {
        Home home;
        for (int i = 0; i < 3; ++i)
            home.store->addLog(samples::log("same"));
        QCOMPARE(home.store->activities().size(), 3UL);
    }

    void aFileEditedOrReplacedByOthersIsOverwrittenNeverMerged()
    {
        Home home;
        for (int i = 0; i < 100; ++i)
            home.store->addLog(samples::log("ours"));
        QTRY_VERIFY(home.fileHolds(home.store->activities()));

        QFile edited(home.path());
        QVERIFY(edited.open(QIODevice::ReadWrite));
        QVERIFY(edited.seek(50));
        QCOMPARE(edited.write("XXXX"), 4); // in place, same size
        edited.close();
        home.store->addLog(samples::log("ours"));
        QTRY_VERIFY(home.fileHolds(home.store->activities()));

        const QString other = home.folder() + QStringLiteral("/other");
        QVERIFY(QFile::copy(home.path(), other));
        QCOMPARE(::rename(QFile::encodeName(other).constData(),
                          QFile::encodeName(home.path()).constData()),
                 0);
        home.store->addLog(samples::log("ours"));
        QTRY_VERIFY(home.fileHolds(home.store->activities()));

        QVERIFY(QFile::resize(home.path(), 10));
        home.store->addLog(samples::log("ours"));
        QTRY_VERIFY(home.fileHolds(home.store->activities()));

        QVERIFY(QFile::remove(home.path()));
        home.store->addLog(samples::log("ours"));
        QTRY_VERIFY(home.fileHolds(home.store->activities()));
        QVERIFY(home.diagnostics.lines().isEmpty());
    }

    void theOwedSaveIsFinishedBeforeTheEnd()
    {
        Home home;
        for (int i = 0; i < 5000; ++i)
            home.store->addLog(samples::log("a"));
        const auto list = home.store->activities();
        QVERIFY(home.store->finishSaving(60s));
        QVERIFY(home.fileHolds(list));
    }

    void theEndIsNotHeldUpByADiskThatHangs()
    {
        HangingDisk disk;
        disk.store.addLog(samples::log("a"));
        QVERIFY(!disk.store.finishSaving(50ms));
        disk.mayCommit.release(10); // for the store's destructor, which waits
    }

    void leftoversOfAKilledProcessAreRemovedAndThoseOfALiveOneStay()
    {
        Home home;
        home.store.reset();
        const QString dead = home.leaveBehind("abcdef", "");
        platform::posix::PosixAtomicFile live(home.path());
        QVERIFY(live.begin(false));
        home.start();
        home.store->addLog(samples::log("a"));
        QTRY_VERIFY(!QFileInfo::exists(dead));
        QVERIFY(home.fileHolds(home.store->activities()));
        QVERIFY(live.write(0, "[]"));
        QVERIFY(live.commit(2));
        QCOMPARE(samples::contentOf(home.path()), QByteArray("[]"));
    }

    void aTornFileIsRepairedFromTheLargestWholeLeftover()
    {
        const auto list = samples::list(5);
        const QByteArray whole = samples::json(list);
        for (const QByteArray& torn : {whole.chopped(1) + ",", QByteArray(), whole.first(30)}) {
            Home home;
            home.store.reset();
            home.write(torn);
            const QString old = home.leaveBehind("oldold", samples::json(samples::list(2)));
            const QString best = home.leaveBehind("better", whole);
            const QString largest = home.leaveBehind("larger", whole.chopped(1) + ",{}");
            home.start();
            QVERIFY(samples::records(home.store->activities()) == samples::records(list));
            // At once, without any change; the leftovers go when it is on the disk.
            QTRY_COMPARE(samples::contentOf(home.path()), whole);
            QTRY_VERIFY_WITH_TIMEOUT(!QFileInfo::exists(old) && !QFileInfo::exists(best) &&
                                         !QFileInfo::exists(largest),
                                     20000);
            QCOMPARE(samples::contentOf(home.path()), whole);
            QVERIFY(home.damagedCopies().isEmpty());
            QVERIFY(home.diagnostics.lines().isEmpty());
        }
    }

    void aMissingFileIsRepairedToo()
    {
        Home home;
        home.store.reset();
        const auto list = samples::list(3);
        home.leaveBehind("abcdef", samples::json(list));
        home.start();
        QVERIFY(samples::records(home.store->activities()) == samples::records(list));
        QTRY_VERIFY(home.fileHolds(home.store->activities()));
    }

    void whenNoneIsWholeAllAreThereUntilSomethingBetterIsOnTheDisk()
    {
        Home home;
        home.store.reset();
        const QByteArray torn = samples::json(samples::list(3)).chopped(1);
        home.write(torn);
        const QString leftover = home.leaveBehind("abcdef", torn);
        home.start();
        QVERIFY(home.store->activities().empty());
        home.start(); // nothing changed, nothing written, nothing removed
        QCOMPARE(samples::contentOf(home.path()), torn);
        QCOMPARE(samples::contentOf(leftover), torn);
        home.store->addLog(samples::log("a"));
        QTRY_VERIFY(!QFileInfo::exists(leftover));
        QVERIFY(home.fileHolds(home.store->activities()));
        QCOMPARE(home.damagedCopies().size(), 1);
    }

    void aLeftoverThatGoesOnFromTheFileIsTakenAndNoOther()
    {
        const auto list = samples::list(5);
        const auto earlier =
            samples::json(list).first(
                samples::json(list).indexOf("},{", samples::json(list).size() / 2) + 1) +
            "]";
        QVERIFY(samples::read(earlier));

        const struct
        {
            QByteArray file;
            QByteArray leftover;
            bool isTaken;
        } cases[] = {
            {earlier, samples::json(list), true},
            {"[]", samples::json(list), true},
            {earlier, samples::json(list).chopped(1), false},
            {samples::json(samples::list(2)), samples::json(list), false},
            {samples::json(list), earlier, false},
        };

        for (const auto& each : cases) {
            Home home;
            home.store.reset();
            home.write(each.file);
            home.leaveBehind("abcdef", each.leftover);
            home.start();
            const auto expected = samples::read(each.isTaken ? each.leftover : each.file);
            QVERIFY(samples::records(home.store->activities()) == samples::records(*expected));
            QVERIFY(home.damagedCopies().isEmpty());
        }
    }

    void whatIsAddedWhileTheFileIsReadComesBehindIt()
    {
        Home home;
        home.store.reset();
        const auto list = samples::list(20'000);
        home.write(samples::json(list));
        home.start(true);
        home.store->addLog(samples::log("first"));
        home.store->addLog(samples::log("second"));
        QTRY_COMPARE(home.store->activities().size(), 20'002UL);
        const auto& all = home.store->activities();
        QVERIFY(all[0].id == list[0].id);
        QVERIFY(all[20'000].appName.view() == "first");
        QVERIFY(all[20'001].appName.view() == "second");
        QTRY_VERIFY(home.fileHolds(all));
    }

    void theEndWhileTheFileIsReadLosesNothing()
    {
        Home home;
        home.store.reset();
        home.write(samples::json(samples::list(20'000)));
        home.start(true);
        home.store->addLog(samples::log("added"));
        QVERIFY(home.store->finishSaving(60s));
        QCOMPARE(home.store->activities().size(), 20'001UL);
        QVERIFY(home.fileHolds(home.store->activities()));
    }

    void whatWasAddedIsFlushedBeforeItIsSaidSo()
    {
        Home home;
        home.store->addLog(samples::log("a"));
        const auto list = home.store->activities();
        bool isFlushed = false;
        home.store->flush([&] { isFlushed = home.fileHolds(list); });
        QTRY_VERIFY(isFlushed);
    }

    void nothingIsLeftBesideTheFile()
    {
        Home home;
        for (int i = 0; i < 50; ++i)
            home.store->addLog(samples::log("a"));
        QVERIFY(home.store->finishSaving(60s));
        QCOMPARE(
            QDir(home.folder()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
            QStringList(QStringLiteral("activity_logs.json")));
    }
};

QUILLSTEP_TEST(TestDataStore)
#include "tst_data_store.moc"
