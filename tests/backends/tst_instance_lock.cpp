// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/posix/instance_lock.h"
#include "tests/support/test_program.h"
#include "tests/support/without_locks.h"

#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <optional>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using platform::posix::InstanceLock;
using std::chrono::milliseconds;

namespace {

/// A process that takes the lock of a folder and holds it until it is ended, or for `heldFor`.
class Holder final
{
public:
    explicit Holder(const QString& folder, std::optional<milliseconds> heldFor = {})
    {
        int ends[2] = {-1, -1};
        if (::pipe2(ends, O_CLOEXEC) != 0)
            return;
        m_pid = ::fork();
        if (m_pid == 0)
            hold(folder, heldFor, ends[1]);
        ::close(ends[1]);
        char answer = 0;
        isHolding = ::read(ends[0], &answer, 1) == 1;
        ::close(ends[0]);
    }

    ~Holder() { end(); }

    void end()
    {
        if (m_pid <= 0)
            return;
        ::kill(m_pid, SIGKILL);
        ::waitpid(m_pid, nullptr, 0);
        m_pid = 0;
    }

    [[nodiscard]] pid_t pid() const { return m_pid; }

    bool isHolding = false;

private:
    [[noreturn]] static void
    hold(const QString& folder, std::optional<milliseconds> heldFor, int output)
    {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        InstanceLock lock(folder);
        if (!lock.acquire(milliseconds(0)) || ::write(output, "x", 1) != 1)
            ::_exit(1);
        if (heldFor)
            ::usleep(useconds_t(heldFor->count()) * 1000);
        else
            ::pause();
        ::_exit(0);
    }

    pid_t m_pid = -1;
};

QString failureOf(const QString& folder, milliseconds limit = milliseconds(0))
{
    InstanceLock lock(folder);
    const auto outcome = lock.acquire(limit);
    const QString text = outcome ? QString() : outcome.error().text;
    const bool namesAHolder = text.contains(QStringLiteral("already records"));
    return lock.isTaken() == namesAHolder ? text : QStringLiteral("isTaken() is wrong: ") + text;
}

mode_t modeOf(const QString& path)
{
    struct stat info = {};
    return ::lstat(QFile::encodeName(path).constData(), &info) == 0 ? info.st_mode & 07777 : 0;
}

} // namespace

class TestInstanceLock final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void init()
    {
        m_home.emplace();
        m_folder = m_home->filePath(QStringLiteral("share/Velomira Usage Monitor"));
        m_file = m_folder + QStringLiteral("/.lock");
    }

    void theFolderAndTheFileAreForTheirOwnerAlone()
    {
        const mode_t previous = ::umask(0);
        QCOMPARE(failureOf(m_folder), QString());
        ::umask(previous);
        QCOMPARE(modeOf(m_folder), mode_t(0700));
        QCOMPARE(modeOf(m_file), mode_t(0600));
    }

    void isTakenByOneProcessAndNamesIt()
    {
        const Holder holder(m_folder);
        QVERIFY(holder.isHolding);
        QCOMPARE(failureOf(m_folder),
                 QStringLiteral("process %1 already records into this folder (%2)")
                     .arg(holder.pid())
                     .arg(m_file));
    }

    void isFreeWhenItsHolderIsKilled()
    {
        Holder holder(m_folder);
        QVERIFY(holder.isHolding);
        holder.end();
        QCOMPARE(failureOf(m_folder), QString());
    }

    void isGivenBackWithItsObject()
    {
        QCOMPARE(failureOf(m_folder), QString());
        QVERIFY(Holder(m_folder).isHolding);
    }

    void waitsForAHolderThatIsAboutToEnd()
    {
        const Holder holder(m_folder, milliseconds(300));
        QVERIFY(holder.isHolding);
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(failureOf(m_folder, milliseconds(100'000)), QString());
        QVERIFY2(timer.elapsed() < 50'000, qPrintable(QString::number(timer.elapsed())));
    }

    void waitsNoLongerThanItsLimitAndWithoutHaste()
    {
        const Holder holder(m_folder);
        QVERIFY(holder.isHolding);
        timespec before = {};
        timespec after = {};
        QElapsedTimer timer;
        timer.start();
        ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &before);
        QVERIFY(!failureOf(m_folder, milliseconds(400)).isEmpty());
        ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &after);
        QVERIFY2(timer.elapsed() >= 400 && timer.elapsed() < 30'000, // however busy the machine is
                 qPrintable(QString::number(timer.elapsed())));
        const double used =
            double(after.tv_sec - before.tv_sec) + 1e-9 * double(after.tv_nsec - before.tv_nsec);
        QVERIFY2(used < 0.1, qPrintable(QString::number(used)));
    }

    void aHolderThatIsNotKnownIsAnotherProcess_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("text") << QByteArray("x\n");
        QTest::newRow("negative") << QByteArray("-5\n");
        QTest::newRow("long") << QByteArray(100, '7');
    }

    void aHolderThatIsNotKnownIsAnotherProcess()
    {
        QFETCH(QByteArray, content);
        const Holder holder(m_folder);
        QVERIFY(holder.isHolding);
        QFile file(m_file);
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        QCOMPARE(file.write(content), content.size());
        file.close();
        const QString failure = failureOf(m_folder);
        QVERIFY2(failure.contains(QStringLiteral("already records into this folder")),
                 qPrintable(failure));
        QCOMPARE(failure.startsWith(QStringLiteral("another process")), content.size() < 100);
    }

    void aLongerNumberOfAnEarlierHolderLeavesNothingBehind()
    {
        QVERIFY(failureOf(m_folder).isEmpty());
        QFile file(m_file);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("99999999999999\n");
        file.close();
        const Holder holder(m_folder);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), QByteArray::number(holder.pid()) + '\n');
    }

    void aLockOnARemovedFileKeepsNobodyOut()
    {
        // Both have one then, but of a file that is there, and the next ones meet it.
        const Holder first(m_folder);
        QVERIFY(QFile::remove(m_file));
        const Holder second(m_folder);
        QVERIFY(first.isHolding && second.isHolding);
        QVERIFY(failureOf(m_folder).startsWith(QStringLiteral("process %1 ").arg(second.pid())));
    }

    void whateverLiesInItsPlaceIsAFailureWithAReason_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("reason");
        QTest::newRow("folder") << QStringLiteral("folder")
                                << QStringLiteral("cannot open %1: Is a directory");
        QTest::newRow("pipe") << QStringLiteral("pipe")
                              << QStringLiteral("%1 is not a file; move it away");
        QTest::newRow("link") << QStringLiteral("link")
                              << QStringLiteral(
                                     "cannot open %1: Too many levels of symbolic links");
        QTest::newRow("file for the folder")
            << QStringLiteral("file") << QStringLiteral("cannot open %1: Not a directory");
    }

    void whateverLiesInItsPlaceIsAFailureWithAReason()
    {
        QFETCH(QString, kind);
        QFETCH(QString, reason);
        const QByteArray name = QFile::encodeName(m_file);
        QVERIFY(QDir().mkpath(kind == u"file" ? QFileInfo(m_folder).path() : m_folder));
        if (kind == u"folder")
            QCOMPARE(::mkdir(name.constData(), 0700), 0);
        else if (kind == u"pipe")
            QCOMPARE(::mkfifo(name.constData(), 0600), 0);
        else if (kind == u"link")
            QCOMPARE(::symlink("/nowhere", name.constData()), 0);
        else
            QVERIFY(QFile(m_folder).open(QIODevice::WriteOnly));
        QCOMPARE(failureOf(m_folder), reason.arg(m_file));
    }

    void aFileSystemWithoutLocksIsASuccessThatSaysSo_data()
    {
        QTest::addColumn<int>("error");
        QTest::newRow("ENOLCK") << ENOLCK;
        QTest::newRow("EOPNOTSUPP") << EOPNOTSUPP;
        QTest::newRow("ENOSYS") << ENOSYS;
    }

    void aFileSystemWithoutLocksIsASuccessThatSaysSo()
    {
        QFETCH(const int, error);
        int ends[2] = {-1, -1};
        QCOMPARE(::pipe2(ends, O_CLOEXEC), 0);
        const pid_t child = ::fork();
        if (child == 0) {
            if (!support::takeLocksAway(error))
                ::_exit(2);
            InstanceLock lock(m_folder);
            const auto outcome = lock.acquire(milliseconds(0));
            const QByteArray said =
                (outcome && !lock.isTaken() ? lock.warning() : QStringLiteral("failed")).toUtf8();
            ::_exit(::write(ends[1], said.constData(), size_t(said.size())) == said.size() ? 0 : 1);
        }
        ::close(ends[1]);
        char buffer[1024] = {};
        const ssize_t length = ::read(ends[0], buffer, sizeof buffer);
        ::close(ends[0]);
        ::waitpid(child, nullptr, 0);
        QCOMPARE(QString::fromUtf8(buffer, length),
                 QStringLiteral("cannot lock %1: %2; nothing keeps a second session from recording "
                                "into this folder, and the two would replace each other's records")
                     .arg(m_file, QString::fromLocal8Bit(std::strerror(error))));
        InstanceLock lock(m_folder);
        QVERIFY(lock.acquire(milliseconds(0)));
        QCOMPARE(lock.warning(), QString());
    }

    void isNotInheritedByAProgramThatIsStarted()
    {
        InstanceLock lock(m_folder);
        QVERIFY(lock.acquire(milliseconds(0)));
        const QString descriptors = QStringLiteral("/proc/self/fd");
        int checked = 0;
        for (const QFileInfo& info : QDir(descriptors).entryInfoList(QDir::Files | QDir::System)) {
            if (info.symLinkTarget() != m_file)
                continue;
            ++checked;
            QVERIFY(::fcntl(info.fileName().toInt(), F_GETFD) & FD_CLOEXEC);
        }
        QCOMPARE(checked, 1);
    }

private:
    std::optional<QTemporaryDir> m_home;
    QString m_folder;
    QString m_file;
};

QUILLSTEP_TEST(TestInstanceLock)
#include "tst_instance_lock.moc"
