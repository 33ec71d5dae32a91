// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// The executable under a session manager that ends the session.
#include "tests/support/activity_samples.h"
#include "tests/support/agent.h"
#include "tests/support/child_process.h"
#include "tests/support/required_programs.h"
#include "tests/support/signed_in_desktop.h"
#include "tests/support/test_program.h"
#include "tests/support/x11_test_window.h"

#include <QTest>

using support::Agent;
using support::ChildProcess;
using support::SignedInDesktop;

#ifdef SESSION_MANAGER_EXECUTABLE
const QString kSessionManager = QStringLiteral(SESSION_MANAGER_EXECUTABLE);
#else
const QString kSessionManager;
#endif

class TestSessionEnd final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        REQUIRE_PROGRAMS(SignedInDesktop::programs());
        QVERIFY2(!kSessionManager.isEmpty(), "built without libsm-dev: scripts/setup.sh test");
    }

    void theEndOfTheSessionEndsTheProgramWithNothingLost()
    {
        SignedInDesktop desktop;
        QVERIFY(bool(desktop.start()));
        support::X11TestWindow window(desktop.x11().display());
        window.setClass("editor", "Editor");
        window.setTitle(QStringLiteral("notes"));
        QVERIFY(window.showAndFocus());

        ChildProcess manager;
        QVERIFY(bool(manager.start(kSessionManager, {}, desktop.environment())));
        const auto nextWord = [&manager] {
            QProcess& process = manager.process();
            static_cast<void>(QTest::qWaitFor([&process] { return process.canReadLine(); }, 20000));
            return QString::fromUtf8(process.readLine()).trimmed();
        };
        QProcessEnvironment environment = desktop.environment();
        const QString address = nextWord();
        QVERIFY(!address.isEmpty());
        environment.insert(QStringLiteral("SESSION_MANAGER"), address);

        Agent agent(environment);
        QVERIFY(bool(desktop.startTracking(agent)));
        QCOMPARE(nextWord(), QStringLiteral("registered"));
        QVERIFY(agent.nextLine());
        manager.process().write("end\n");
        QCOMPARE(nextWord(), QStringLiteral("saved"));
        QCOMPARE(agent.waitForEnd(), std::optional(0));
        QCOMPARE(nextWord(), QStringLiteral("gone"));
        QCOMPARE(agent.complaints(), QString());
        const auto kept = samples::read(samples::contentOf(agent.dataFile()));
        QVERIFY(kept);
        QCOMPARE(qsizetype(kept->size()), agent.lines().size());
    }
};

QUILLSTEP_TEST(TestSessionEnd)
#include "tst_session_end.moc"
