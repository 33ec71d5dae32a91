// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// Lines on standard output, timers, clock, signals, folders: the small facilities of the system.
#include "backends/posix/standard_output.h"
#include "backends/posix/system_clock.h"
#include "backends/posix/this_process.h"
#include "backends/qt/qt_repeating_timers.h"
#include "backends/xdg/base_directories.h"
#include "tests/support/test_program.h"

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

using namespace std::chrono_literals;

namespace {

/// Both ends of a pipe.
class Pipe final
{
public:
    Pipe()
    {
        if (::pipe2(m_ends, O_CLOEXEC) != 0)
            qFatal("no pipe");
    }

    ~Pipe()
    {
        closeReader();
        ::close(m_ends[1]);
    }

    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    [[nodiscard]] int writer() const { return m_ends[1]; }

    void closeReader()
    {
        if (m_ends[0] >= 0)
            ::close(m_ends[0]);
        m_ends[0] = -1;
    }

    QByteArray read()
    {
        QByteArray buffer(1 << 20, Qt::Uninitialized);
        const ssize_t got = ::read(m_ends[0], buffer.data(), static_cast<size_t>(buffer.size()));
        return buffer.first(std::max<ssize_t>(got, 0));
    }

private:
    int m_ends[2] = {-1, -1};
};

} // namespace

class TestPosixIo final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void programsThatAreStartedHaveTheUsualTimers()
    {
        const int usual = ::prctl(PR_GET_TIMERSLACK);
        platform::posix::letTimersWait(true);
        QCOMPARE(::prctl(PR_GET_TIMERSLACK), 50'000'000);
        {
            const platform::posix::UsualTimerSlack slack;
            QCOMPARE(::prctl(PR_GET_TIMERSLACK), usual);
        }
        QCOMPARE(::prctl(PR_GET_TIMERSLACK), 50'000'000);
        platform::posix::letTimersWait(false);
        QCOMPARE(::prctl(PR_GET_TIMERSLACK), usual);
    }

    void aLineIsThereAtOnceEvenInAPipe()
    {
        Pipe pipe;
        platform::posix::StdoutDiagnostics diagnostics(pipe.writer());
        diagnostics.line(u"Tick: Ünï | 中 | --");
        QCOMPARE(pipe.read(), QByteArray("Tick: Ünï | 中 | --\n"));
    }

    void theJournalGetsAllLinesButThoseThatTellOfWindows()
    {
        Pipe pipe;
        platform::posix::StdoutDiagnostics diagnostics(
            pipe.writer(), platform::posix::StdoutDiagnostics::Sink::Journal);
        diagnostics.line(u"Tick: Editor | a letter | https://a.example/");
        diagnostics.line(u"Idle: 130s");
        diagnostics.line(u"Tick: Editor |  | --");
        diagnostics.line(u"Velomira Sync: Using auth token");
        QCOMPARE(pipe.read(), QByteArray("Idle: 130s\nVelomira Sync: Using auth token\n"));
    }

    void theJournalIsTheStreamThatIsNamed()
    {
        using platform::posix::isJournalStream;
        int ends[2] = {-1, -1}; // a stream like that which leads to the journal
        QCOMPARE(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        struct stat stream = {};
        QCOMPARE(::fstat(ends[0], &stream), 0);
        const std::string device = std::to_string(stream.st_dev);
        const std::string inode = std::to_string(stream.st_ino);
        const std::string named = device + ':' + inode;
        QVERIFY(isJournalStream(ends[0], named));
        const platform::posix::FileDescriptor copy(::dup(ends[0]));
        QVERIFY(isJournalStream(copy.get(), named));

        QVERIFY(!isJournalStream(ends[1], named));
        QVERIFY(!isJournalStream(-1, named));
        for (const std::string& other : {std::string(),
                                         std::string(":"),
                                         device,
                                         inode,
                                         device + ':',
                                         ':' + inode,
                                         inode + ':' + device + ':',
                                         device + ':' + inode + '0',
                                         std::to_string(stream.st_dev + 1) + ':' + inode,
                                         named + ' ',
                                         ' ' + named,
                                         named + ":1",
                                         "-" + named,
                                         "+" + named,
                                         "0x1:" + inode,
                                         device + ":99999999999999999999999999",
                                         std::string("device:inode")})
            QVERIFY2(!isJournalStream(ends[0], other), other.c_str());
        ::close(ends[0]);
        ::close(ends[1]);
    }

    void aShieldedProcessLeavesNoCoreFileAndLetsNobodyLook()
    {
        rlimit usual{};
        QCOMPARE(::getrlimit(RLIMIT_CORE, &usual), 0);
        rlimit some = usual;
        some.rlim_cur = std::min<rlim_t>(4096, usual.rlim_max);
        QCOMPARE(::setrlimit(RLIMIT_CORE, &some), 0);
        const auto coreLimit = [] {
            rlimit limit{};
            return ::getrlimit(RLIMIT_CORE, &limit) == 0 ? limit.rlim_cur : RLIM_INFINITY;
        };

        platform::posix::shieldThisProcess();
        QCOMPARE(::prctl(PR_GET_DUMPABLE), 0);
        QCOMPARE(coreLimit(), rlim_t{0});
        {
            const platform::posix::LoweredShield lowered;
            QCOMPARE(::prctl(PR_GET_DUMPABLE), 1);
            QCOMPARE(coreLimit(), rlim_t{0});
        }
        QCOMPARE(::prctl(PR_GET_DUMPABLE), 0);
        {
            const platform::posix::UsualCoreLimit forOthers;
            QCOMPARE(coreLimit(), some.rlim_cur);
            QCOMPARE(::prctl(PR_GET_DUMPABLE), 0);
        }
        QCOMPARE(coreLimit(), rlim_t{0});
        rlimit now{};
        QCOMPARE(::getrlimit(RLIMIT_CORE, &now), 0);
        QCOMPARE(now.rlim_max, usual.rlim_max);

        ::prctl(PR_SET_DUMPABLE, 1);
        {
            const platform::posix::LoweredShield lowered;
        }
        QCOMPARE(::prctl(PR_GET_DUMPABLE), 1); // it was not shielded
        QCOMPARE(::setrlimit(RLIMIT_CORE, &usual), 0);
    }

    void controlsOfC1AndOfDirectionCannotSteerATerminalEither()
    {
        Pipe pipe;
        platform::posix::StdoutDiagnostics diagnostics(pipe.writer());
        diagnostics.line(u"a\u009b31mb\u2028c\u202ed\u2069e");
        QCOMPARE(pipe.read(), "a 31mb c d e\n");
    }

    void controlCharactersCannotMakeTwoLinesOfOneOrSteerATerminal()
    {
        Pipe pipe;
        platform::posix::StdoutDiagnostics diagnostics(pipe.writer());
        diagnostics.line(u"a\nb\rc\x1b[31md\x7f\te");
        QCOMPARE(pipe.read(), QByteArray("a b c [31md  e\n"));
    }

    void aReaderThatHasGoneIsNoFault()
    {
        const platform::posix::TerminationSignals ignoresBrokenPipes;
        Pipe pipe;
        pipe.closeReader();
        platform::posix::StdoutDiagnostics diagnostics(pipe.writer());
        diagnostics.line(u"lost");
        diagnostics.line(u"lost");
    }

    void aReaderThatDoesNotKeepUpLosesLinesAndHoldsNobodyUp()
    {
        Pipe pipe;
        platform::posix::StdoutDiagnostics diagnostics(pipe.writer());
        const QString line(3000, QLatin1Char('x'));
        // Nobody reads meanwhile: whoever waited for that would wait for good.
        for (int i = 0; i < 200; ++i)
            diagnostics.line(line);
        const QByteArray got = pipe.read();
        QVERIFY(got.startsWith(line.toLatin1() + '\n'));
        QVERIFY(got.size() < 200 * 3001);
    }

    void aLineLongerThanAPipeTakesAtOnceArrivesWhole()
    {
        Pipe pipe;
        platform::posix::StdoutDiagnostics diagnostics(pipe.writer());
        const QString line(20000, QLatin1Char('y'));
        diagnostics.line(line);
        QCOMPARE(pipe.read(), line.toLatin1() + '\n');
    }

    void theClockCountsSecondsSince2001()
    {
        const platform::posix::SystemClock clock;
        const double unixTime =
            std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch())
                .count();
        QVERIFY(std::abs(clock.now() + 978307200 - unixTime) < 5);
    }

    void aTimerFiresAgainAndAgainUntilItIsDestroyed()
    {
        platform::qt::QtRepeatingTimers timers;
        int fired = 0;
        auto timer = timers.schedule(5ms, [&fired] { ++fired; });
        QCOMPARE(fired, 0);
        QTRY_VERIFY(fired >= 3);
        timer.reset();
        const int before = fired;
        int others = 0;
        const auto other = timers.schedule(5ms, [&others] { ++others; });
        QTRY_VERIFY(others >= 5);
        QCOMPARE(fired, before);
    }

    void aTimerMayBeDestroyedByItsOwnCallback()
    {
        platform::qt::QtRepeatingTimers timers;
        std::unique_ptr<platform::RepeatingTimer> timer;
        int fired = 0;
        timer = timers.schedule(1ms, [&] {
            ++fired;
            timer.reset();
        });
        int others = 0;
        const auto other = timers.schedule(1ms, [&others] { ++others; });
        QTRY_VERIFY(others >= 10);
        QCOMPARE(fired, 1);
    }

    void aBusyLoopGetsNoBurstOfFirings()
    {
        platform::qt::QtRepeatingTimers timers;
        int fired = 0;
        const auto timer = timers.schedule(100ms, [&fired] { ++fired; });
        QElapsedTimer since;
        since.start();
        while (since.elapsed() < 1000) {
        } // the loop is busy: ten firings are due
        QCOMPARE(fired, 0);
        since.restart();
        QTRY_VERIFY(fired >= 3);
        // One that was due, and two at their time.
        QVERIFY2(since.elapsed() >= 100, qPrintable(QString::number(since.elapsed())));
    }

    void terminationSignalsBecomeARequest()
    {
        const platform::posix::TerminationSignals signals;
        QSignalSpy spy(&signals, &platform::posix::TerminationSignals::requested);
        for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
            const qsizetype before = spy.count();
            QCOMPARE(std::raise(signal), 0);
            QTRY_COMPARE(spy.count(), before + 1);
        }
    }

    void aTerminationSignalBeforeThereIsAnApplicationWaitsForIt()
    {
        platform::posix::TerminationSignals::hold();
        QCOMPARE(std::raise(SIGTERM), 0);
        const platform::posix::TerminationSignals signals;
        QSignalSpy spy(&signals, &platform::posix::TerminationSignals::requested);
        QTRY_COMPARE(spy.count(), 1);
    }

    void programsThatAreStartedCanBeEndedBySignals()
    {
        const platform::posix::TerminationSignals signals;
        QProcess program; // ends with this function at the latest
        program.start(QStringLiteral("sleep"), {QStringLiteral("100")});
        QVERIFY(program.waitForStarted());
        program.terminate();
        QVERIFY(program.waitForFinished());
        QCOMPARE(program.exitStatus(), QProcess::CrashExit); // by the signal
    }

    void whatOthersWriteToStandardOutputDoesNotMixWithOurLines()
    {
        Pipe ours;
        Pipe errors;
        const platform::posix::FileDescriptor output(::dup(STDOUT_FILENO));
        const platform::posix::FileDescriptor error(::dup(STDERR_FILENO));
        QVERIFY(::dup2(ours.writer(), STDOUT_FILENO) >= 0);
        QVERIFY(::dup2(errors.writer(), STDERR_FILENO) >= 0);
        {
            const platform::posix::OwnStandardOutput own;
            platform::posix::StdoutDiagnostics(own.descriptor()).line(u"Tick");
            QProcess::execute(QStringLiteral("echo"), {QStringLiteral("noise")});
        }
        QProcess::execute(QStringLiteral("echo"), {QStringLiteral("after")});
        ::dup2(output.get(), STDOUT_FILENO);
        ::dup2(error.get(), STDERR_FILENO);
        QCOMPARE(ours.read(), QByteArray("Tick\nafter\n"));
        QCOMPARE(errors.read(), QByteArray("noise\n"));
    }

    void aClosedStandardOutputIsNoFault()
    {
        const platform::posix::FileDescriptor output(::dup(STDOUT_FILENO));
        ::close(STDOUT_FILENO);
        {
            const platform::posix::OwnStandardOutput own;
            QCOMPARE(own.descriptor(), -1);
            platform::posix::StdoutDiagnostics(own.descriptor()).line(u"Tick");
        }
        QVERIFY(::dup2(output.get(), STDOUT_FILENO) >= 0);
    }

    void openedProgramsAreNotToldHowThisOneWasStarted()
    {
        const QStringList kept{QStringLiteral("PATH"), QStringLiteral("XDG_ACTIVATION_TOKEN")};
        const QStringList gone{QStringLiteral("DBUS_STARTER_ADDRESS"),
                               QStringLiteral("GIO_LAUNCHED_DESKTOP_FILE"),
                               QStringLiteral("LISTEN_FDS"),
                               QStringLiteral("NOTIFY_SOCKET")};
        for (const QString& name : gone + QStringList{kept.last()})
            qputenv(qPrintable(name), "value");
        platform::posix::forgetHowThisProgramWasStarted();
        for (const QString& name : gone)
            QVERIFY2(!qEnvironmentVariableIsSet(qPrintable(name)), qPrintable(name));
        for (const QString& name : kept)
            QVERIFY2(qEnvironmentVariableIsSet(qPrintable(name)), qPrintable(name));
        qunsetenv(qPrintable(kept.last()));
    }

    void aBackgroundThreadIsPoliteAndTheOthersAreNot()
    {
        int inThread = 0;
        std::thread([&inThread] {
            platform::posix::enterBackground();
            inThread = ::getpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()));
        }).join();
        QCOMPARE(inThread, std::min(19, ::getpriority(PRIO_PROCESS, 0) + 10));
    }

    void spareMemoryIsGivenBackAndWhatIsNeededComesAgain()
    {
        const auto residentOfLibraries = [] {
            QFile maps(QStringLiteral("/proc/self/smaps"));
            if (!maps.open(QIODevice::ReadOnly))
                return -1;
            int kilobytes = 0;
            bool isLibrary = false;
            for (const QByteArray& line : maps.readAll().split('\n')) {
                const QList<QByteArray> words = line.simplified().split(' ');
                if (!words.first().endsWith(':')) // a mapping; what follows is about it
                    isLibrary = line.contains(" r-xp ") && line.contains("/libQt6");
                else if (isLibrary && words.first() == "Rss:")
                    kilobytes += words.at(1).toInt();
            }
            return kilobytes;
        };
        const int before = residentOfLibraries();
        platform::posix::letGoOfSpareMemory();
        const int after = residentOfLibraries();
        QVERIFY2(before > 0 && after < before,
                 qPrintable(QStringLiteral("%1 kB, then %2 kB").arg(before).arg(after)));
        QCOMPARE(QString::number(42), QStringLiteral("42"));
    }

    void dataHomeFollowsTheBaseDirectoryRules()
    {
        using platform::xdg::dataHome;
        const QString home = QStringLiteral("HOME");
        const QString data = QStringLiteral("XDG_DATA_HOME");
        const auto fromHome = std::optional(QStringLiteral("/home/somebody/.local/share"));
        QProcessEnvironment environment;
        QCOMPARE(dataHome(environment), std::nullopt);
        environment.insert(home, QStringLiteral("/home/somebody"));
        QCOMPARE(dataHome(environment), fromHome);
        for (const char* invalid : {"", "relative/path", "./x"}) {
            environment.insert(data, QString::fromLatin1(invalid));
            QCOMPARE(dataHome(environment), fromHome);
        }
        environment.insert(data, QStringLiteral("/data/of/somebody"));
        QCOMPARE(dataHome(environment), std::optional(QStringLiteral("/data/of/somebody")));
    }
};

QUILLSTEP_TEST(TestPosixIo)
#include "tst_posix_io.moc"
