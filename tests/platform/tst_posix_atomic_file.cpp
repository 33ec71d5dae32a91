// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/posix/posix_atomic_file.h"
#include "tests/support/activity_samples.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>
#include <unistd.h>

using platform::FileIdentity;
using platform::posix::PosixAtomicFile;

namespace {

class Bench final
{
public:
    [[nodiscard]] QString path() const { return m_folder.filePath(QStringLiteral("file.json")); }

    /// Replaces the file; what it held is kept aside when `expected` is its state.
    FileIdentity write(const QByteArray& content, const std::optional<FileIdentity>& expected = {})
    {
        auto replacement = file.beginReplacement();
        if (!replacement ||
            !replacement.value()->append({content.constData(), size_t(content.size())}))
            qFatal("cannot write");
        const auto identity = replacement.value()->commit(expected);
        if (!identity)
            qFatal("cannot commit");
        return identity.value();
    }

    [[nodiscard]] QByteArray content() const { return samples::contentOf(path()); }

    [[nodiscard]] QStringList names() const
    {
        return QDir(m_folder.path()).entryList(QDir::Files | QDir::Hidden);
    }

private:
    QTemporaryDir m_folder;

public:
    PosixAtomicFile file{path()};
};

void change(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadWrite) || file.write("X") != 1)
        qFatal("cannot change the file");
}

} // namespace

class TestPosixAtomicFile final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void contentIsInvisibleUntilTheCommit()
    {
        Bench bench;
        bench.write("old");
        auto replacement = bench.file.beginReplacement();
        QVERIFY(replacement && replacement.value()->append("new"));
        QCOMPARE(bench.content(), QByteArray("old"));
        QVERIFY(replacement.value()->commit(std::nullopt));
        QCOMPARE(bench.content(), QByteArray("new"));
    }

    void whatIsNotCommittedLeavesNothingBehind()
    {
        Bench bench;
        {
            auto replacement = bench.file.beginReplacement();
            QVERIFY(replacement && replacement.value()->append("new"));
            QCOMPARE(bench.names().size(), 1);
        }
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
        const FileIdentity identity = bench.write("0123456789");
        auto replacement = bench.file.beginReplacement();
        QVERIFY(replacement);
        QVERIFY(replacement.value()->copyFromCurrent(identity, 0, 4));
        QVERIFY(replacement.value()->copyFromCurrent(identity, 4, 3));
        QVERIFY(replacement.value()->append("!"));
        QVERIFY(replacement.value()->commit(identity));
        QCOMPARE(bench.content(), QByteArray("0123456!"));
    }

    void sharingGivesTheSameBytesWhereTheFileSystemCan()
    {
        Bench bench;
        const FileIdentity identity = bench.write("0123456789");
        auto replacement = bench.file.beginReplacement();
        QVERIFY(replacement);
        // Not every file system shares blocks; where it does not, the content must still be empty.
        const bool shared = replacement.value()->shareFromCurrent(identity, 4);
        QVERIFY(replacement.value()->append("!"));
        QVERIFY(replacement.value()->commit(identity));
        QCOMPARE(bench.content(), shared ? QByteArray("0123!") : QByteArray("!"));
    }

    void aCurrentFileInAnotherStateIsNotCopied()
    {
        Bench bench;
        const FileIdentity identity = bench.write("0123456789");
        change(bench.path());
        auto replacement = bench.file.beginReplacement();
        QVERIFY(replacement);
        QVERIFY(!replacement.value()->shareFromCurrent(identity, 4));
        QVERIFY(!replacement.value()->copyFromCurrent(identity, 0, 4));
        QVERIFY(replacement.value()->sourceChanged());
    }

    void aChangeAfterTheCopyIsNoticedAtTheCommit()
    {
        Bench bench;
        const FileIdentity identity = bench.write("0123456789");
        auto replacement = bench.file.beginReplacement();
        QVERIFY(replacement && replacement.value()->copyFromCurrent(identity, 0, 4));
        change(bench.path());
        QVERIFY(!replacement.value()->commit(identity));
        QVERIFY(replacement.value()->sourceChanged());
    }

    void whatACommitPutsOutOfItsPlaceIsRecycled()
    {
        Bench bench;
        const FileIdentity first = bench.write("[1]");
        const FileIdentity second = bench.write("[1,2]", first);
        QCOMPARE(bench.content(), QByteArray("[1,2]"));
        auto replacement = bench.file.recyclePrevious(2);
        QVERIFY(replacement != nullptr);
        QVERIFY(replacement->append(",2,3]"));
        QCOMPARE(bench.content(), QByteArray("[1,2]"));
        QVERIFY(replacement->commit(second));
        QCOMPARE(bench.content(), QByteArray("[1,2,3]"));
        QVERIFY(bench.file.recyclePrevious(4) != nullptr);
        QVERIFY(bench.file.recyclePrevious(4) == nullptr); // once only
        QCOMPARE(bench.names(), QStringList(QStringLiteral("file.json")));
    }

    void aReaderThatHasThePreviousFileOpenIsNotDisturbed()
    {
        Bench bench;
        const FileIdentity first = bench.write("[1]");
        QFile reader(bench.path());
        QVERIFY(reader.open(QIODevice::ReadOnly));
        bench.write("[1,2]", first);
        QVERIFY(bench.file.recyclePrevious(2) == nullptr);
        QCOMPARE(reader.readAll(), QByteArray("[1]"));
        QCOMPARE(bench.names(), QStringList(QStringLiteral("file.json")));
    }

    void aPreviousFileThatSomebodyHasTouchedIsGivenUp()
    {
        Bench bench;
        const FileIdentity first = bench.write("[1]");
        bench.write("[1,2]", first);
        const QStringList names = bench.names();
        QCOMPARE(names.size(), 2);
        change(QFileInfo(bench.path()).path() + QLatin1Char('/') + names.first());
        QVERIFY(bench.file.recyclePrevious(2) == nullptr);
        QCOMPARE(bench.names(), QStringList(QStringLiteral("file.json")));
    }

    void aFileThatIsNotTheExpectedOneIsNotKept()
    {
        Bench bench;
        const FileIdentity first = bench.write("[1]");
        change(bench.path());
        bench.write("[1,2]", first);
        QVERIFY(bench.file.recyclePrevious(2) == nullptr);
        QCOMPARE(bench.names(), QStringList(QStringLiteral("file.json")));
    }

    void newContentFromNothingGivesThePreviousFileUp()
    {
        Bench bench;
        const FileIdentity first = bench.write("[1]");
        bench.write("[1,2]", first);
        QCOMPARE(bench.names().size(), 2);
        bench.write("[]");
        QCOMPARE(bench.names(), QStringList(QStringLiteral("file.json")));
    }

    void discardingThePreviousFileRemovesIt()
    {
        Bench bench;
        const FileIdentity first = bench.write("[1]");
        bench.write("[1,2]", first);
        bench.file.discardPrevious();
        QCOMPARE(bench.names(), QStringList(QStringLiteral("file.json")));
        bench.file.discardPrevious();
        QCOMPARE(bench.content(), QByteArray("[1,2]"));
    }

    void leftoversOfOthersAreRemovedAndOnesOwnStay()
    {
        Bench bench;
        QFile dead(QFileInfo(bench.path()).path() + QStringLiteral("/.file.json.abcdef"));
        QVERIFY(dead.open(QIODevice::WriteOnly));
        dead.close();
        const FileIdentity first = bench.write("[1]");
        bench.write("[1,2]", first);
        auto replacement = bench.file.recyclePrevious(2);
        PosixAtomicFile(bench.path()).removeLeftovers();
        QVERIFY(!dead.exists());
        QCOMPARE(bench.names().size(), 2);
        QVERIFY(replacement->append(",3]") && replacement->commit(std::nullopt));
        QCOMPARE(bench.content(), QByteArray("[1,3]"));
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

QTEST_GUILESS_MAIN(TestPosixAtomicFile)
#include "tst_posix_atomic_file.moc"
