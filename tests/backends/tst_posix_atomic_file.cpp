// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/posix/posix_atomic_file.h"
#include "tests/support/activity_samples.h"
#include "tests/support/test_program.h"

#include <QDir>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <sys/stat.h>
#include <unistd.h>

using platform::posix::PosixAtomicFile;

namespace {

class Bench final
{
public:
    [[nodiscard]] QString path() const { return m_folder.filePath(QStringLiteral("file.json")); }

    [[nodiscard]] int begin(bool isLarge = false)
    {
        const auto draft = file.begin(isLarge);
        if (!draft)
            qFatal("cannot begin");
        m_kept = draft.value().bytes;
        return draft.value().file;
    }

    /// Of what was begun last: how much of it is as its last commit left it.
    [[nodiscard]] std::int64_t kept() const { return m_kept; }

    /// Replaces the file; which of the files that take turns it was.
    int write(const QByteArray& content, bool isLarge = false)
    {
        const int index = begin(isLarge);
        commit(content);
        return index;
    }

    void commit(const QByteArray& content)
    {
        if (!file.write(0, {content.constData(), std::size_t(content.size())}) ||
            !file.commit(content.size()))
            qFatal("cannot commit");
    }

    [[nodiscard]] QByteArray content() const { return samples::contentOf(path()); }

    [[nodiscard]] QStringList names() const
    {
        return QDir(m_folder.path()).entryList(QDir::Files | QDir::Hidden);
    }

    /// The contents of the hidden files.
    [[nodiscard]] QByteArrayList hidden() const
    {
        QByteArrayList contents;
        for (const QString& name : names()) {
            if (name.startsWith(u'.'))
                contents.append(samples::contentOf(m_folder.filePath(name)));
        }
        std::ranges::sort(contents);
        return contents;
    }

    [[nodiscard]] QString hiddenPath() const { return m_folder.filePath(names().constFirst()); }

private:
    QTemporaryDir m_folder;
    std::int64_t m_kept = 0;

public:
    PosixAtomicFile file{path()};
};

void change(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadWrite) || file.write("X") != 1)
        qFatal("cannot change the file");
}

const QStringList kFileAlone(QStringLiteral("file.json"));

} // namespace

class TestPosixAtomicFile final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void contentIsInvisibleUntilTheCommit()
    {
        Bench bench;
        bench.write("old");
        (void)bench.begin();
        QVERIFY(bench.file.write(0, "new"));
        QCOMPARE(bench.content(), QByteArray("old"));
        QVERIFY(bench.file.commit(3));
        QCOMPARE(bench.content(), QByteArray("new"));
    }

    void whatIsAbandonedLeavesNothingBehind()
    {
        Bench bench;
        (void)bench.begin();
        QVERIFY(bench.file.write(0, "new"));
        QCOMPARE(bench.names().size(), 1);
        bench.file.abandon();
        QCOMPARE(bench.names(), QStringList());
    }

    void theFileIsForItsOwnerOnly()
    {
        Bench bench;
        const mode_t before = ::umask(0);
        bench.write("text");
        ::umask(before);
        struct stat info = {};
        QCOMPARE(::stat(QFile::encodeName(bench.path()).constData(), &info), 0);
        QCOMPARE(info.st_mode & 07777U, 0600U);
    }

    void bytesOfTheCurrentFileAreCopied()
    {
        Bench bench;
        bench.write("0123456789");
        (void)bench.begin();
        QVERIFY(bench.file.copyFromCurrent(0, 4));
        QVERIFY(bench.file.copyFromCurrent(4, 3));
        QVERIFY(bench.file.write(7, "!"));
        QVERIFY(bench.file.isCurrentUntouched());
        QVERIFY(bench.file.commit(8));
        QCOMPARE(bench.content(), QByteArray("0123456!"));
    }

    void aChangeByOthersIsNoticed()
    {
        Bench bench;
        QVERIFY(!bench.file.isCurrentUntouched());
        bench.write("0123456789");
        QVERIFY(bench.file.isCurrentUntouched());
        change(bench.path());
        QVERIFY(!bench.file.isCurrentUntouched());
        (void)bench.begin();
        QVERIFY(!bench.file.copyFromCurrent(0, 11)); // more than there is
    }

    void threeFilesTakeTurnsAndWhatTheyHeldIsThere()
    {
        Bench bench;
        QSet<int> files;
        for (int round = 0; round < 9; ++round) {
            const QByteArray content = "[" + QByteArray(round, '1') + "]";
            const int file = bench.begin();
            QCOMPARE(bench.kept() > 0, round >= 3);
            bench.commit(content);
            files.insert(file);
            QCOMPARE(bench.content(), content);
            if (round >= 3 && round % 2 == 0)
                QVERIFY(bench.file.flush());
        }
        QCOMPARE(files.size(), 3);
        QCOMPARE(bench.names().size(), 3);
        bench.file.discardOthers();
        QCOMPARE(bench.names(), kFileAlone);
    }

    void whatWasFlushedLastIsNotWrittenToBeforeAnotherIsFlushed()
    {
        Bench bench;
        bench.write("flushed"); // by the first commit itself
        for (int round = 0; round < 5; ++round) {
            bench.write("later");
            QVERIFY(bench.hidden().contains("flushed"));
        }
        QVERIFY(bench.file.flush());
        bench.write("after");
        bench.write("after");
        QVERIFY(!bench.hidden().contains("flushed"));
        QVERIFY(bench.hidden().contains("later"));
    }

    void ofALargeFileThereAreTwo()
    {
        Bench bench;
        for (int round = 0; round < 4; ++round)
            bench.write("small");
        QCOMPARE(bench.names().size(), 3);
        for (int round = 0; round < 4; ++round) {
            bench.write(QByteArray::number(round), true);
            QCOMPARE(bench.names().size(), 2);
            // The one before was flushed, and is whole.
            QCOMPARE(
                bench.hidden(),
                QByteArrayList{round == 0 ? QByteArray("small") : QByteArray::number(round - 1)});
        }
    }

    void aShorterStateIsCutToItsLength()
    {
        Bench bench;
        for (int round = 0; round < 4; ++round)
            bench.write("a long one");
        bench.write("[]");
        QCOMPARE(bench.content(), QByteArray("[]"));
    }

    void aReaderThatHasAFileOpenIsNotDisturbed()
    {
        Bench bench;
        bench.write("[0]");
        bench.write("[1]");
        QVERIFY(bench.file.flush());
        bench.write("[2]");
        QFile reader(bench.path());
        QVERIFY(reader.open(QIODevice::ReadOnly));
        for (int round = 0; round < 5; ++round)
            bench.write("[3,3]");
        QCOMPARE(reader.readAll(), QByteArray("[2]"));
        QCOMPARE(bench.content(), QByteArray("[3,3]"));
        QVERIFY(bench.names().size() <= 3);
    }

    void aHiddenFileThatSomebodyHasTouchedIsGivenUp()
    {
        Bench bench;
        bench.write("[1]");
        bench.write("[2]");
        QVERIFY(bench.file.flush()); // so that the first one is free
        change(bench.hiddenPath());
        (void)bench.begin();
        QCOMPARE(bench.kept(), 0);
        bench.commit("[3]");
        QCOMPARE(bench.content(), QByteArray("[3]"));
    }

    void aFileThatOthersHavePutInItsPlaceGoesAndOneStaysWhole()
    {
        Bench bench;
        bench.write("[1]");
        const QByteArray other = QFile::encodeName(bench.path() + QStringLiteral(".other"));
        QVERIFY(QFile::copy(bench.path(), QFile::decodeName(other)));
        QCOMPARE(::rename(other.constData(), QFile::encodeName(bench.path()).constData()), 0);
        bench.write("[2]");
        QCOMPARE(bench.content(), QByteArray("[2]"));
        QCOMPARE(bench.names(), kFileAlone);
        bench.write("[3]");
        QCOMPARE(bench.hidden(), QByteArrayList{"[2]"}); // was flushed in place of the lost one
    }

    void aFileThatWasRemovedComesBack()
    {
        Bench bench;
        bench.write("[1]");
        bench.write("[2]");
        QVERIFY(QFile::remove(bench.path()));
        bench.write("[3]");
        QCOMPARE(bench.content(), QByteArray("[3]"));
    }

    void leftoversOfOthersAreFoundLargestFirstAndOnesOwnAreNotAmongThem()
    {
        Bench bench;
        QStringList dead;
        for (const char* name : {"larger", "middle", "little"}) {
            const QString path = QFileInfo(bench.path()).path() + QStringLiteral("/.file.json.") +
                                 QLatin1String(name);
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
            QVERIFY(file.write(QByteArray(10 - dead.size(), 'x')) > 0);
            dead.append(path);
        }
        bench.write("[1]");
        bench.write("[1,2]");
        PosixAtomicFile other(bench.path());
        QCOMPARE(other.leftovers(), dead);
        other.removeLeftovers();
        QCOMPARE(other.leftovers(), QStringList());
        QCOMPARE(bench.names().size(), 2);
        bench.write("[1,2,3]");
        QCOMPARE(bench.content(), QByteArray("[1,2,3]"));
    }

    void foldersAreMadeWithTheirParentsForTheOwnerOnly()
    {
        const QTemporaryDir folder;
        platform::posix::PosixAtomicFiles files;
        const QString deep = folder.filePath(QStringLiteral("a/b/c"));
        files.makePrivateFolder(deep);
        for (const char* name : {"a", "a/b", "a/b/c"}) {
            struct stat info = {};
            const QString path = folder.filePath(QString::fromLatin1(name));
            QCOMPARE(::stat(QFile::encodeName(path).constData(), &info), 0);
            QCOMPARE(info.st_mode & 07777U, 0700U);
        }
    }

    void anExistingParentKeepsItsMode()
    {
        const QTemporaryDir folder;
        const QByteArray parent = QFile::encodeName(folder.filePath(QStringLiteral("open")));
        QCOMPARE(::mkdir(parent.constData(), 0755), 0);
        QCOMPARE(::chmod(parent.constData(), 0755), 0);
        platform::posix::PosixAtomicFiles().makePrivateFolder(
            folder.filePath(QStringLiteral("open/x/y")));
        struct stat info = {};
        QCOMPARE(::stat(parent.constData(), &info), 0);
        QCOMPARE(info.st_mode & 07777U, 0755U);
    }
};

QUILLSTEP_TEST(TestPosixAtomicFile)
#include "tst_posix_atomic_file.moc"
