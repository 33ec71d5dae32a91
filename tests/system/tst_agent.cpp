// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// The executable itself on a private X11 desktop with real windows.
#include "tests/support/activity_samples.h"
#include "tests/support/agent.h"
#include "tests/support/ordinary_user.h"
#include "tests/support/passing_time.h"
#include "tests/support/required_programs.h"
#include "tests/support/signed_in_desktop.h"
#include "tests/support/test_program.h"
#include "tests/support/x11_test_window.h"
#include "tests/system/xdotool.h"

#include <QTest>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

using support::Agent;
using support::HeadlessX11;
using support::SignedInDesktop;
using support::X11TestWindow;

namespace {

/// A window with a class and a title, on show and with the focus.
class FocusedWindow final
{
public:
    FocusedWindow(const HeadlessX11& desktop, const QByteArray& windowClass, const QString& title)
        : window(desktop.display())
    {
        window.setClass(windowClass.toLower(), windowClass);
        window.setTitle(title);
        hasFocus = window.showAndFocus();
    }

    X11TestWindow window;
    bool hasFocus = false;
};

QString tickOf(const QString& name, const QString& title)
{
    return QStringLiteral("Tick: %1 | %2 | --").arg(name, title);
}

QStringList recorded(const Agent& agent)
{
    QStringList lines;
    const auto list = samples::read(samples::contentOf(agent.dataFile()));
    if (!list)
        return {QStringLiteral("no valid file")};
    for (const activity::ActivityLog& log : *list)
        lines += tickOf(log.appName.toString(), log.windowTitle->toString());
    return lines;
}

/// The X window of the only visible window with `title`.
QString windowNamed(const HeadlessX11& desktop, const QString& title)
{
    support::ChildProcess search;
    if (!search.start(QStringLiteral("xdotool"),
                      {QStringLiteral("search"),
                       QStringLiteral("--sync"),
                       QStringLiteral("--onlyvisible"),
                       QStringLiteral("--name"),
                       QLatin1Char('^') + title + QLatin1Char('$')},
                      desktop.environment()) ||
        !search.process().waitForFinished(15000))
        return {};
    return QString::fromLatin1(search.process().readAllStandardOutput()).trimmed();
}

} // namespace

class TestAgent final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        REQUIRE_PROGRAMS(SignedInDesktop::programs() << QStringLiteral("xterm"));
        QVERIFY(support::lookAsAnOrdinaryUser());
    }

    void init()
    {
        m_desktop.emplace();
        QVERIFY(m_desktop->start());
        m_agent.emplace(m_desktop->environment());
    }

    void cleanup()
    {
        m_agent.reset();
        m_desktop.reset();
    }

    void findsExactlyTheApplicationsTitlesAndCountsThatWereCaused()
    {
        for (const char* title : {"first", "second"})
            QVERIFY(m_desktop->x11().startProgram(QStringLiteral("xterm"),
                                                  {QStringLiteral("-T"),
                                                   QString::fromLatin1(title),
                                                   QStringLiteral("-e"),
                                                   QStringLiteral("sleep"),
                                                   QStringLiteral("1000")}));
        const QString first = windowNamed(m_desktop->x11(), QStringLiteral("first"));
        const QString second = windowNamed(m_desktop->x11(), QStringLiteral("second"));
        QVERIFY(!first.isEmpty() && !second.isEmpty());
        X11TestWindow editor(m_desktop->x11().display());
        editor.setClass("editor", "Editor");
        editor.setTitle(QStringLiteral("notes"));
        QVERIFY(editor.showAndFocus());

        // What is done between one tick and the next, and what the ticks after it must show.
        struct Step
        {
            QStringList xdotool;
            QString name, title;
            int ticks;
        };

        const auto focus = [](const QString& window) {
            return QStringList{QStringLiteral("windowactivate"), QStringLiteral("--sync"), window};
        };
        const auto rename = [](const QString& window, const char* title) {
            return QStringList{QStringLiteral("set_window"),
                               QStringLiteral("--name"),
                               QString::fromUtf8(title),
                               window};
        };
        const QString xterm = QStringLiteral("XTerm");
        const QString editorWindow = QString::number(editor.id());
        const Step steps[] = {
            {focus(first), xterm, QStringLiteral("first"), 3},
            {focus(second), xterm, QStringLiteral("second"), 1},
            {rename(second, "renamed \u00fc \u4e2d"),
             xterm,
             QStringLiteral("renamed \u00fc \u4e2d"),
             2},
            {focus(editorWindow), QStringLiteral("Editor"), QStringLiteral("notes"), 2},
            {rename(editorWindow, "notes, edited"),
             QStringLiteral("Editor"),
             QStringLiteral("notes, edited"),
             1},
            {rename(first, "changed behind"),
             QStringLiteral("Editor"),
             QStringLiteral("notes, edited"),
             1},
            {focus(first), xterm, QStringLiteral("changed behind"), 1},
            {focus(editorWindow), QStringLiteral("Editor"), QStringLiteral("notes, edited"), 1},
        };
        QVERIFY(m_desktop->startTracking(*m_agent));
        // The first tick may have come while the dashboard was still closing.
        QTRY_COMPARE_WITH_TIMEOUT(m_agent->lines().value(m_agent->lines().size() - 1),
                                  tickOf(QStringLiteral("Editor"), QStringLiteral("notes")),
                                  20000);
        QStringList expected = m_agent->lines();
        for (const Step& step : steps) {
            const QString before = expected.last();
            const QString now = tickOf(step.name, step.title);
            QVERIFY(
                xdotool(m_desktop->x11(), step.xdotool)); // well within the second to the next tick
            for (int i = 0; i < step.ticks;) {
                const QStringList lines = m_agent->waitForLines(expected.size() + 1);
                // Where the machine stalls, a tick may come before what was done.
                const bool isEarly =
                    i == 0 && before != now && lines.value(expected.size()) == before;
                expected += isEarly ? before : now;
                QCOMPARE(lines, expected);
                i += isEarly ? 0 : 1;
            }
        }
        QCOMPARE(m_agent->end(), std::optional(0));
        const QStringList all = m_agent->lines();
        QCOMPARE(all.first(expected.size()), expected);
        QCOMPARE(recorded(*m_agent), all);
        QCOMPARE(m_agent->complaints(), QString());
    }

    void recordsAreASecondApartAndOneSecondLong()
    {
        const FocusedWindow window(m_desktop->x11(), "Editor", QStringLiteral("notes"));
        QVERIFY(window.hasFocus && m_desktop->startTracking(*m_agent));
        QCOMPARE(m_agent->waitForLines(8).size(), 8);
        QCOMPARE(m_agent->end(), std::optional(0));
        const auto list = samples::read(samples::contentOf(m_agent->dataFile()));
        QVERIFY(list && list->size() >= 8);
        std::vector<double> gaps;
        for (std::size_t i = 1; i < list->size(); ++i) {
            gaps.push_back((*list)[i].timestamp - (*list)[i - 1].timestamp);
            QVERIFY(gaps.back() > 0);
            QCOMPARE((*list)[i].duration, 1.0);
        }
        // A stall of the machine makes one longer and the next one shorter.
        std::ranges::sort(gaps);
        const double usual = gaps[gaps.size() / 2];
        QVERIFY2(usual > 0.8 && usual < 1.2, qPrintable(QString::number(usual)));
    }

    void nothingInFrontRecordsNothing()
    {
        QVERIFY(m_desktop->startTracking(*m_agent));
        {
            const FocusedWindow window(m_desktop->x11(), "Editor", QStringLiteral("notes"));
            QVERIFY(window.hasFocus);
            QVERIFY(m_agent->nextLine());
        }
        // The window is gone. Ticks without a sample are silent; that they go on shows when the
        // next window comes.
        const qsizetype before = m_agent->lines().size();
        QVERIFY(support::staysSo(std::chrono::milliseconds(2500),
                                 [&] { return m_agent->lines().size() == before; }));
        const FocusedWindow window(m_desktop->x11(), "Viewer", QStringLiteral("picture"));
        QVERIFY(window.hasFocus);
        QCOMPARE(m_agent->nextLine(),
                 std::optional(tickOf(QStringLiteral("Viewer"), QStringLiteral("picture"))));
    }

    void goesOnWithTheStoredRecordsAfterARestart()
    {
        const FocusedWindow window(m_desktop->x11(), "Editor", QStringLiteral("notes"));
        QVERIFY(window.hasFocus && m_desktop->startTracking(*m_agent));
        QCOMPARE(m_agent->waitForLines(2).size(), 2);
        QCOMPARE(m_agent->end(SIGINT), std::optional(0));
        const QStringList before = recorded(*m_agent);
        QVERIFY(before.size() >= 2);
        QVERIFY(m_desktop->startTracking(*m_agent));
        QCOMPARE(m_agent->waitForLines(1).size(), 1);
        QCOMPARE(m_agent->end(SIGHUP), std::optional(0));
        QCOMPARE(recorded(*m_agent), before + m_agent->lines());
    }

    void theOwedSaveIsFinishedWhenItIsAskedToEndRightAfterATick()
    {
        const FocusedWindow window(m_desktop->x11(), "Editor", QStringLiteral("notes"));
        QVERIFY(window.hasFocus && m_desktop->startTracking(*m_agent));
        QVERIFY(m_agent->nextLine());
        QCOMPARE(m_agent->end(), std::optional(0));
        QCOMPARE(recorded(*m_agent), m_agent->lines());
    }

    void survivesARestartOfTheWindowManager()
    {
        const FocusedWindow window(m_desktop->x11(), "Editor", QStringLiteral("notes"));
        QVERIFY(window.hasFocus && m_desktop->startTracking(*m_agent));
        QVERIFY(m_agent->nextLine());
        m_desktop->x11().killWindowManager();
        QVERIFY(m_desktop->x11().startWindowManager());
        const FocusedWindow other(m_desktop->x11(), "Viewer", QStringLiteral("picture"));
        QVERIFY(other.hasFocus);
        QTRY_COMPARE_WITH_TIMEOUT(
            m_agent->nextLine(),
            std::optional(tickOf(QStringLiteral("Viewer"), QStringLiteral("picture"))),
            10000);
    }

    void endsWithOneLineAndNothingLostWhenTheXServerGoesAway()
    {
        const FocusedWindow window(m_desktop->x11(), "Editor", QStringLiteral("notes"));
        QVERIFY(window.hasFocus && m_desktop->startTracking(*m_agent));
        QCOMPARE(m_agent->waitForLines(2).size(), 2);
        m_desktop->x11().killServer();
        QCOMPARE(m_agent->waitForEnd(), std::optional(1));
        QCOMPARE(recorded(*m_agent), m_agent->lines());
        QCOMPARE(m_agent->complaints(),
                 QStringLiteral("Quillstep: the connection to the X server %1 was closed; the "
                                "session is over\n")
                     .arg(m_desktop->x11().display()));
    }

    void recordsNothingWhileTheXServerHangsAndEndsWhenAsked()
    {
        const FocusedWindow window(m_desktop->x11(), "Editor", QStringLiteral("notes"));
        QVERIFY(window.hasFocus && m_desktop->startTracking(*m_agent));
        // The second line comes after everything that was to be done when the dashboard went: with
        // an unfinished window the toolkit would wait for the server.
        QVERIFY(m_agent->nextLine() && m_agent->nextLine());
        m_desktop->x11().pauseServer();
        QCOMPARE(m_agent->end(), std::optional(0));
        QCOMPARE(recorded(*m_agent), m_agent->lines());
        m_desktop->x11().resumeServer();
    }

    void aSuspendedProcessMakesUpNoTicks()
    {
        const FocusedWindow window(m_desktop->x11(), "Editor", QStringLiteral("notes"));
        QVERIFY(window.hasFocus && m_desktop->startTracking(*m_agent));
        QCOMPARE(m_agent->waitForLines(2).size(), 2);
        m_agent->send(SIGSTOP);
        const qsizetype before = m_agent->lines().size();
        QVERIFY(support::staysSo(std::chrono::seconds(10),
                                 [&] { return m_agent->lines().size() == before; }));
        m_agent->send(SIGCONT);
        support::letPass(std::chrono::milliseconds(3500));
        // At once the one that was due, then one a second; none for the ten that were missed.
        const qsizetype after = m_agent->lines().size() - before;
        QVERIFY2(after >= 2 && after < 10, qPrintable(QString::number(after)));
        QCOMPARE(m_agent->end(), std::optional(0));
        const auto list = samples::read(samples::contentOf(m_agent->dataFile()));
        QVERIFY(list);
        int longGaps = 0;
        for (std::size_t i = 1; i < list->size(); ++i)
            longGaps += (*list)[i].timestamp - (*list)[i - 1].timestamp > 5 ? 1 : 0;
        QCOMPARE(longGaps, 1);
    }

    void goesOnWhenTheReaderOfItsLinesHasGone()
    {
        const FocusedWindow window(m_desktop->x11(), "Editor", QStringLiteral("notes"));
        QVERIFY(window.hasFocus && m_desktop->startTracking(*m_agent));
        QVERIFY(m_agent->nextLine());
        m_agent->process().process().closeReadChannel(QProcess::StandardOutput);
        const auto before = recorded(*m_agent).size();
        QTRY_VERIFY_WITH_TIMEOUT(recorded(*m_agent).size() >= before + 3, 15000);
        QCOMPARE(m_agent->end(), std::optional(0));
    }

    void goesOnWhenTheReaderOfItsLinesDoesNotRead()
    {
        // A pipe that is full from the start.
        int ends[2] = {-1, -1};
        QCOMPARE(::pipe2(ends, O_CLOEXEC), 0);
        QVERIFY(::fcntl(ends[1], F_SETPIPE_SZ, 4096) > 0);
        QVERIFY(::fcntl(ends[1], F_SETFL, O_NONBLOCK) == 0);
        const QByteArray filler(4096, 'x');
        while (::write(ends[1], filler.constData(), 1) == 1) {
        }
        QVERIFY(::fcntl(ends[1], F_SETFL, 0) == 0);
        const FocusedWindow window(m_desktop->x11(), "Editor", QStringLiteral("notes"));
        QVERIFY(window.hasFocus);
        m_agent->process().process().setStandardOutputFile(
            QStringLiteral("/proc/%1/fd/%2").arg(::getpid()).arg(ends[1]));
        QVERIFY(m_desktop->startTracking(*m_agent));
        QTRY_VERIFY_WITH_TIMEOUT(recorded(*m_agent).size() >= 3, 15000);
        QCOMPARE(m_agent->end(), std::optional(0));
        ::close(ends[0]);
        ::close(ends[1]);
    }

    void theJournalDoesNotGetTheTicks_data()
    {
        QTest::addColumn<bool>("isJournal");
        QTest::newRow("standard output is the journal") << true;
        QTest::newRow("something else is") << false;
    }

    void theJournalDoesNotGetTheTicks()
    {
        QFETCH(bool, isJournal);
        const QByteArray stream = m_desktop->x11().home().toLocal8Bit() + "/stream";
        QCOMPARE(::mkfifo(stream.constData(), 0600), 0);
        const int reader = ::open(stream.constData(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
        struct stat facts = {};
        QCOMPARE(::fstat(reader, &facts), 0);
        QProcessEnvironment environment = m_desktop->environment();
        environment.insert(
            QStringLiteral("JOURNAL_STREAM"),
            QStringLiteral("%1:%2").arg(facts.st_dev).arg(facts.st_ino + (isJournal ? 0 : 1)));
        const FocusedWindow window(m_desktop->x11(), "Editor", QStringLiteral("a letter"));
        QVERIFY(window.hasFocus);
        Agent agent(environment);
        agent.process().process().setStandardOutputFile(QFile::decodeName(stream));
        QVERIFY(m_desktop->startTracking(agent));
        QTRY_VERIFY_WITH_TIMEOUT(recorded(agent).size() >= 3, 15000);
        QCOMPARE(agent.end(), std::optional(0));
        QByteArray written(65536, Qt::Uninitialized);
        const ssize_t size =
            ::read(reader, written.data(), static_cast<std::size_t>(written.size()));
        written.truncate(std::max<ssize_t>(size, 0));
        ::close(reader);
        QCOMPARE(written.contains("Tick: "), !isJournal);
        QCOMPARE(written.contains("a letter"), !isJournal);
    }

    void otherProcessesOfTheUserCannotLookInside()
    {
        const FocusedWindow window(m_desktop->x11(), "Editor", QStringLiteral("a letter"));
        QVERIFY(window.hasFocus && m_desktop->startTracking(*m_agent));
        QTRY_VERIFY_WITH_TIMEOUT(recorded(*m_agent).size() >= 2, 15000);
        const QByteArray process = "/proc/" + QByteArray::number(m_agent->process().pid()) + '/';
        char target[1] = {};
        QCOMPARE(::readlink((process + "exe").constData(), target, sizeof target), -1);
        QCOMPARE(errno, EACCES);
        QCOMPARE(::open((process + "mem").constData(), O_RDONLY | O_CLOEXEC), -1);
        QCOMPARE(errno, EACCES);
        const QByteArray limits = samples::contentOf(QString::fromLatin1(process + "limits"));
        const QByteArray core = limits.mid(limits.indexOf("Max core file size")).left(60);
        QVERIFY2(core.simplified().startsWith("Max core file size 0 "), core.constData());
        QCOMPARE(m_agent->end(), std::optional(0));
    }

    void diagnoseTellsWhatWasFoundAndChangesNothing()
    {
        const FocusedWindow window(m_desktop->x11(), "Editor", QStringLiteral("a private title"));
        QVERIFY(window.hasFocus && m_agent->start({QStringLiteral("--diagnose")}));
        QCOMPARE(m_agent->waitForEnd(), std::optional(0));
        const QString answer = m_agent->lines().join(QLatin1Char('\n'));
        for (const char* line : {"version: ",
                                 "session: X11",
                                 "idle time: MIT-SCREEN-SAVER",
                                 "front window: EWMH",
                                 "application in front: found",
                                 "its window title: found",
                                 "data folder: not there yet",
                                 "stored activity: not there yet",
                                 "service: http://127.0.0.1:8787",
                                 "QT_LOGGING_RULES=\"velomira.*=true\""})
            QVERIFY2(answer.contains(QLatin1StringView(line)), qPrintable(answer));
        QVERIFY(!answer.contains(QStringLiteral("private title")));
        QVERIFY(!answer.contains(QStringLiteral("Editor")));
        QVERIFY(!QFileInfo::exists(QFileInfo(m_agent->dataFile()).path()));
    }

    void diagnoseTellsOfADamagedFileAndLeavesIt()
    {
        QVERIFY(QDir().mkpath(QFileInfo(m_agent->dataFile()).path()));
        QFile file(m_agent->dataFile());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("{}");
        file.close();
        QVERIFY(m_agent->start({QStringLiteral("--diagnose")}));
        QCOMPARE(m_agent->waitForEnd(), std::optional(0));
        QVERIFY(
            m_agent->lines().join(QLatin1Char('\n')).contains(QStringLiteral("damaged, 2 bytes")));
        QCOMPARE(samples::contentOf(m_agent->dataFile()), QByteArray("{}"));
    }

    void versionHelpAndWrongArguments()
    {
        QVERIFY(m_agent->start({QStringLiteral("--version")}));
        QCOMPARE(m_agent->waitForEnd(), std::optional(0));
        QCOMPARE(m_agent->lines(), QStringList(QStringLiteral("Quillstep 1.0.0")));
        QVERIFY(m_agent->start({QStringLiteral("--help")}));
        QCOMPARE(m_agent->waitForEnd(), std::optional(0));
        QVERIFY(m_agent->lines().join(QLatin1Char(' ')).contains(QStringLiteral("--diagnose")));
        QVERIFY(m_agent->start({QStringLiteral("--nonsense")}));
        QCOMPARE(m_agent->waitForEnd(), std::optional(1));
        QVERIFY(m_agent->complaints().contains(QStringLiteral("nonsense")));
        QVERIFY(m_agent->start({QStringLiteral("argument")}));
        QCOMPARE(m_agent->waitForEnd(), std::optional(1));
        QVERIFY(m_agent->complaints().contains(QStringLiteral("unexpected argument \"argument\"")));
    }

    void withoutADisplayItEndsWithOneClearLine_data()
    {
        QTest::addColumn<QString>("display");
        QTest::addColumn<QString>("line");
        QTest::newRow("none") << QString()
                              << QStringLiteral("Quillstep: there is no display: neither DISPLAY "
                                                "nor WAYLAND_DISPLAY is set\n");
        QTest::newRow("nobody there")
            << QStringLiteral(":4711")
            << QStringLiteral("Quillstep: cannot connect to the X server :4711\n");
    }

    void withoutADisplayItEndsWithOneClearLine()
    {
        QFETCH(QString, display);
        QFETCH(QString, line);
        QProcessEnvironment environment = m_desktop->environment();
        environment.remove(QStringLiteral("WAYLAND_DISPLAY"));
        environment.insert(QStringLiteral("DISPLAY"), display);
        Agent agent(environment);
        QVERIFY(agent.start());
        QCOMPARE(agent.waitForEnd(), std::optional(1));
        QCOMPARE(agent.complaints(), line);
    }

    void aWaylandDisplayThatIsNotThereEndsItWithOneClearLine()
    {
        QProcessEnvironment environment = m_desktop->environment();
        environment.insert(QStringLiteral("WAYLAND_DISPLAY"), QStringLiteral("wayland-none"));
        Agent agent(environment);
        QVERIFY(agent.start());
        QCOMPARE(agent.waitForEnd(), std::optional(1));
        const QString complaint = agent.complaints().trimmed();
        QVERIFY2(complaint.startsWith(QStringLiteral(
                     "Quillstep: cannot connect to the Wayland display wayland-none: ")),
                 qPrintable(complaint));
        QCOMPARE(complaint.count(u'\n'), 0);
    }

private:
    std::optional<SignedInDesktop> m_desktop;
    std::optional<Agent> m_agent;
};

QUILLSTEP_TEST(TestAgent)
#include "tst_agent.moc"
