// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/system/desktop_recording.h"

#include "tests/support/activity_samples.h"
#include "tests/support/agent.h"
#include "tests/support/keyring.h"
#include "tests/support/required_programs.h"
#include "tests/support/test_program.h"
#include "tests/system/verify_outcome.h"

#include <QDir>
#include <QFile>
#include <QSet>
#include <QTest>

using support::TestWindow;

namespace recording {

namespace {

const QString kQt = QStringLiteral("recorded.qt");
const QString kGtk = QStringLiteral("recorded.gtk");
const QString kNone = QStringLiteral("(none)");

void enter(const QProcessEnvironment& environment)
{
    for (const QString& name : QProcessEnvironment::systemEnvironment().keys()) {
        if (!environment.contains(name))
            qunsetenv(name.toLocal8Bit().constData());
    }
    for (const QString& name : environment.keys())
        qputenv(name.toLocal8Bit().constData(), environment.value(name).toLocal8Bit());
}

/// As an installed application has it; under X11 a GTK program's class begins with a capital.
bool install(const QString& dataHome, const QString& identifier, const QString& name)
{
    QFile file(dataHome + QLatin1StringView("/applications/") + identifier +
               QLatin1StringView(".desktop"));
    const QString text = QStringLiteral("[Desktop Entry]\nType=Application\nName=%1\nExec=true\n");
    return QDir().mkpath(dataHome + QLatin1StringView("/applications")) &&
           file.open(QIODevice::WriteOnly) && file.write(text.arg(name).toUtf8()) > 0;
}

QStringList recordsIn(const QString& file)
{
    QStringList lines;
    if (const auto list = samples::read(samples::contentOf(file))) {
        for (const activity::ActivityLog& log : *list)
            lines +=
                log.appName.toString() + QLatin1StringView(" | ") + log.windowTitle->toString();
    }
    return lines;
}

/// The lines of ticks in the form of records.
QStringList ticksIn(const QStringList& lines)
{
    QStringList ticks;
    for (const QString& line : lines) {
        if (line.startsWith(QLatin1StringView("Tick: ")))
            ticks += line.mid(6).section(QStringLiteral(" | "), 0, -2);
    }
    return ticks;
}

} // namespace

void DesktopRecording::initTestCase()
{
    m_session = makeSession();
    REQUIRE_PROGRAMS(m_session->programs() + support::Keyring::programs());
    m_session.reset();
}

void DesktopRecording::openSession()
{
    m_session = makeSession();
    VERIFY_OUTCOME(m_session->start());
    enter(m_session->environment());
    const QString dataHome = qEnvironmentVariable("XDG_DATA_HOME");
    QVERIFY(install(dataHome, kQt, QStringLiteral("Fenster")));
    QVERIFY(install(dataHome, kGtk, QStringLiteral("Window & Co")));
    m_qt = std::make_unique<TestWindow>(TestWindow::Toolkit::Qt);
    m_gtk = std::make_unique<TestWindow>(TestWindow::Toolkit::Gtk);
    QVERIFY(open(*m_qt, kQt));
    QVERIFY(open(*m_gtk, kGtk));
    // A new window is given the focus some time after it is there, which must not happen later on.
    QString problem;
    const auto recorder = Recorder::start(problem);
    QVERIFY2(recorder, qPrintable(problem));
    QTRY_VERIFY_WITH_TIMEOUT(recorder->front().startsWith(QLatin1StringView("Window & Co | ")),
                             10000);
}

bool DesktopRecording::open(TestWindow& window, const QString& identifier)
{
    const auto opened = window.open(m_session->environment(), identifier, QStringLiteral("start"));
    if (!opened)
        qWarning("%s", qPrintable(opened.error().text));
    return static_cast<bool>(opened);
}

void DesktopRecording::init()
{
    if (!m_session)
        openSession();
    if (QTest::currentTestFailed())
        return;
    QString problem;
    m_recorder = Recorder::start(problem);
    QVERIFY2(m_recorder, qPrintable(problem));
    VERIFY_OUTCOME(m_session->focus(*m_qt));
    VERIFY_OUTCOME(m_qt->setTitle(QStringLiteral("start")));
    QTRY_COMPARE_WITH_TIMEOUT(m_recorder->front(), QStringLiteral("Fenster | start"), 10000);
}

void DesktopRecording::cleanup()
{
    m_recorder.reset();
}

void DesktopRecording::cleanupTestCase()
{
    closeSession();
}

void DesktopRecording::closeSession()
{
    m_gtk.reset();
    m_qt.reset();
    m_session.reset();
}

void DesktopRecording::twentyChangesAreRecordedExactly()
{
    QStringList expected;
    QString before = m_recorder->front();
    for (int change = 1; change <= 20; ++change) {
        // By turns the other window comes to the front and the one in front changes its title.
        const bool isQt = change % 4 < 2;
        TestWindow& window = isQt ? *m_qt : *m_gtk;
        const QString title = QStringLiteral("Grüße %1 – 😀").arg(change);
        VERIFY_OUTCOME(window.setTitle(title));
        if (change % 2 == 0)
            VERIFY_OUTCOME(m_session->focus(window));
        const QString now = (isQt ? QStringLiteral("Fenster") : QStringLiteral("Window & Co")) +
                            QLatin1StringView(" | ") + title;
        // On the way there is nothing but what was and what is: no window that never was in front.
        QSet<QString> seen;
        QTRY_VERIFY2_WITH_TIMEOUT(
            (seen.insert(m_recorder->front()), m_recorder->front() == now),
            qPrintable(QStringLiteral("%1 instead of %2").arg(m_recorder->front(), now)),
            10000);
        for (const QString& state : std::as_const(seen)) {
            QVERIFY2(state == now || state == before || state == kNone || state.endsWith(title) ||
                         state.section(u'|', 0, 0) == now.section(u'|', 0, 0),
                     qPrintable(state));
        }
        m_recorder->tick();
        expected += now;
        before = now;
    }
    QCOMPARE(m_recorder->records(), expected);
}

void DesktopRecording::anEmptyWorkspaceGivesNoSample()
{
    m_recorder->tick();
    const QStringList before = m_recorder->records();
    VERIFY_OUTCOME(m_session->showEmptyWorkspace());
    QTRY_COMPARE_WITH_TIMEOUT(m_recorder->front(), kNone, 10000);
    m_recorder->tick();
    QCOMPARE(m_recorder->records(), before);
    VERIFY_OUTCOME(m_session->showFirstWorkspace());
    VERIFY_OUTCOME(m_session->focus(*m_gtk));
    QTRY_COMPARE_WITH_TIMEOUT(
        m_recorder->front().section(u'|', 0, 0), QStringLiteral("Window & Co "), 10000);
}

void DesktopRecording::idleTimeCountsUpAndInputResetsIt()
{
    VERIFY_OUTCOME(m_session->makeInput());
    QTRY_VERIFY(m_recorder->idleSeconds() < 3);
    QTRY_VERIFY_WITH_TIMEOUT(m_recorder->idleSeconds() >= 4, 10000);
    const double before = m_recorder->idleSeconds();
    QVERIFY2(before < 8, qPrintable(QString::number(before)));
    VERIFY_OUTCOME(m_session->makeInput());
    QTRY_VERIFY(m_recorder->idleSeconds() < 4);
}

void DesktopRecording::aFloodOfTitlesEndsWithTheLastOne()
{
    VERIFY_OUTCOME(m_qt->changeTitles(QStringLiteral("flood"), 2000, std::chrono::seconds(2)));
    QTRY_COMPARE_WITH_TIMEOUT(m_recorder->front(), QStringLiteral("Fenster | flood 2000"), 30000);
}

void DesktopRecording::whatAnswersIsNamed()
{
    const QString report = m_recorder->environment().report().join(u'\n');
    QVERIFY2(report.contains(QStringLiteral("front window: ") + windowSource()),
             qPrintable(report));
    QVERIFY2(report.contains(QStringLiteral("idle time: ") + idleSource()), qPrintable(report));
    QVERIFY2(report.contains(QStringLiteral("application in front: found")), qPrintable(report));
    QVERIFY2(!report.contains(QStringLiteral("limits: ")), qPrintable(report));
}

void DesktopRecording::theProgramRecordsAndEndsInOrderWhenTheDisplayGoes()
{
    m_recorder.reset(); // it owns the name
    VERIFY_OUTCOME(m_qt->setTitle(QStringLiteral("to the end")));
    const QString shown = QStringLiteral("Fenster | to the end");
    support::Keyring keyring;
    VERIFY_OUTCOME(keyring.startSignedIn(m_session->environment()));
    support::Agent agent(m_session->environment());
    VERIFY_OUTCOME(agent.start());
    // The dashboard opens and takes the focus. No desktop file of ours is installed here.
    const auto isDashboardInFront = [&agent] {
        return agent.lines().contains(
            QStringLiteral("Tick: Velomira Usage Monitor | Dashboard | --"));
    };
    QTRY_VERIFY2_WITH_TIMEOUT(
        isDashboardInFront(), qPrintable(agent.lines().join(u'\n') + agent.complaints()), 60000);
    VERIFY_OUTCOME(m_session->focus(*m_qt));
    QTRY_VERIFY_WITH_TIMEOUT(ticksIn(agent.lines()).count(shown) >= 2, 60000);
    m_session->killDisplay();
    QCOMPARE(agent.waitForEnd(), std::optional(EXIT_FAILURE));
    const QStringList complaints = agent.complaints().trimmed().split(u'\n');
    QVERIFY2(complaints.last().contains(QStringLiteral("the session is over")),
             qPrintable(agent.complaints()));
    QCOMPARE(agent.complaints().count(QStringLiteral("the session is over")), 1);
    const QStringList ticks = ticksIn(agent.lines());
    QCOMPARE(recordsIn(agent.dataFile()).mid(recordsIn(agent.dataFile()).size() - ticks.size()),
             ticks);

    // The next session goes on where this one ended.
    const auto next = makeSession();
    VERIFY_OUTCOME(next->start());
    QProcessEnvironment environment = next->environment();
    environment.insert(QStringLiteral("XDG_DATA_HOME"), qEnvironmentVariable("XDG_DATA_HOME"));
    TestWindow window;
    VERIFY_OUTCOME(window.open(next->environment(), kQt, QStringLiteral("again")));
    support::Keyring nextKeyring;
    VERIFY_OUTCOME(nextKeyring.startSignedIn(environment));
    support::Agent again(environment);
    const QStringList kept = recordsIn(agent.dataFile());
    VERIFY_OUTCOME(again.start());
    QTRY_VERIFY2_WITH_TIMEOUT(!ticksIn(again.lines()).isEmpty(),
                              qPrintable(again.lines().join(u'\n') + again.complaints()),
                              60000);
    VERIFY_OUTCOME(next->focus(window));
    QTRY_VERIFY_WITH_TIMEOUT(ticksIn(again.lines()).contains(QStringLiteral("Fenster | again")),
                             60000);
    const std::optional<int> code = again.end();
    QVERIFY2(code == EXIT_SUCCESS, qPrintable(again.complaints()));
    QCOMPARE(recordsIn(again.dataFile()), kept + ticksIn(again.lines()));
    closeSession(); // its display has gone
}

} // namespace recording
