// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/headless_kwin.h"
#include "tests/support/required_programs.h"
#include "tests/support/test_program.h"
#include "tests/support/test_window.h"
#include "tests/system/recorder.h"
#include "tests/system/verify_outcome.h"

#include <QDBusMessage>
#include <QTest>

using namespace Qt::StringLiterals;
using recording::Recorder;
using support::HeadlessKWin;
using support::TestWindow;

class TestKWinLock final : public QObject
{
    Q_OBJECT
private Q_SLOTS:

    // KWin locks the screen itself under Wayland, and goes on calling the window active that was in
    // front before.
    void behindALockedScreenNothingIsRecorded()
    {
        HeadlessKWin session(HeadlessKWin::Extra::LockScreen);
        REQUIRE_PROGRAMS(session.programs() + TestWindow::programs());
        VERIFY_OUTCOME(session.start());
        const QProcessEnvironment environment = session.environment();
        for (const QString& name : environment.keys())
            qputenv(name.toLocal8Bit().constData(), environment.value(name).toLocal8Bit());
        TestWindow window;
        VERIFY_OUTCOME(window.open(environment, u"one"_s, u"First"_s));
        QString problem;
        auto recorder = Recorder::start(problem);
        QVERIFY2(recorder, qPrintable(problem));
        QTRY_VERIFY_WITH_TIMEOUT(recorder->front().endsWith(u" | First"_s), 10000);
        recorder->tick();
        QCOMPARE(recorder->records().size(), 1);

        // Answers when it is locked, or never: the screen is drawn first.
        session.scripts().bus().send(
            QDBusMessage::createMethodCall(u"org.freedesktop.ScreenSaver"_s,
                                           u"/org/freedesktop/ScreenSaver"_s,
                                           u"org.freedesktop.ScreenSaver"_s,
                                           u"Lock"_s));
        QTRY_COMPARE_WITH_TIMEOUT(recorder->front(), u"(none)"_s, 20000);
        recorder->tick();
        QCOMPARE(recorder->records().size(), 1);
        QVERIFY(window.pid() != 0);

        // One that starts now learns it, too, when it knows who is in front.
        recorder.reset();
        recorder = Recorder::start(problem);
        QVERIFY2(recorder, qPrintable(problem));
        QTRY_VERIFY(
            recorder->environment().report().join(u'\n').contains(u"front window: KWin script"_s));
        QTRY_COMPARE(recorder->front(), u"(none)"_s);
    }
};

QUILLSTEP_TEST(TestKWinLock)
#include "tst_kwin_lock.moc"
