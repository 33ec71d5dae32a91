// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/headless_kwin.h"
#include "tests/support/passing_time.h"
#include "tests/support/required_programs.h"
#include "tests/support/test_program.h"
#include "tests/support/test_window.h"
#include "tests/system/kwin_observer.h"

#include <QDir>
#include <QElapsedTimer>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>

#include <chrono>
#include <csignal>
#include <memory>

using namespace Qt::StringLiterals;
using platform::desktop::FrontWindowSource;
using platform::desktop::Presence;
using platform::kwin::KWinScriptTarget;
using platform::kwin::writeScript;
using support::ChildProcess;
using support::HeadlessKWin;
using support::TestWindow;

class TestKWinRecovery final : public QObject
{
    Q_OBJECT
private Q_SLOTS:

    void initTestCase() { REQUIRE_PROGRAMS(HeadlessKWin().programs() + TestWindow::programs()); }

    void init()
    {
        // But for what Qt says when a name changes hands while it asks for its owner.
        QTest::failOnWarning(QRegularExpression(u"^(?!QDBusConnection: name )"_s));
        m_session = std::make_unique<HeadlessKWin>();
        VERIFY_OUTCOME(m_session->start());
        m_observer = std::make_unique<KWinObserver>(m_session->busAddress());
        QTRY_VERIFY(m_observer->isHere());
    }

    void cleanup()
    {
        m_observer.reset();
        m_session.reset();
    }

    void aScriptThatSomebodyUnloadsComesBack()
    {
        TestWindow one;
        TestWindow two;
        openBoth(one, two);
        for (int i = 0; i < 3; ++i) {
            QVERIFY(m_session->scripts().unload(m_observer->windows().script().name));
            TestWindow& window = i % 2 == 0 ? one : two;
            VERIFY_OUTCOME(m_session->focus(window));
            QTRY_COMPARE_WITH_TIMEOUT(m_observer->identifier(), window.identifier(), 20000);
            QVERIFY(m_observer->isHere());
        }
    }

    void theLongerNothingIsReportedTheMoreRarelyKWinIsAsked()
    {
        ChildProcess monitor;
        VERIFY_OUTCOME(monitor.start(u"dbus-monitor"_s,
                                     {u"--address"_s,
                                      m_session->busAddress(),
                                      u"--profile"_s,
                                      u"type='method_call',interface='org.kde.kwin.Scripting'"_s},
                                     m_session->environment()));
        QByteArray seen;
        const auto looks = [&] {
            seen += monitor.process().readAllStandardOutput();
            return seen.count("isScriptLoaded");
        };
        // The monitor may come too late for the first one.
        QTRY_COMPARE_WITH_TIMEOUT(looks(), 1, 10000);
        QElapsedTimer time;
        time.start();
        QTRY_COMPARE_WITH_TIMEOUT(looks(), 2, 30000);
        QVERIFY2(time.elapsed() > 5000, qPrintable(QString::number(time.elapsed())));
        QVERIFY(support::staysSo(std::chrono::seconds(5), [&] { return looks() == 2; }));
        m_observer->windows().noteInput();
        time.restart();
        QTRY_COMPARE(looks(), 3);
        QVERIFY2(time.elapsed() < 2000, qPrintable(QString::number(time.elapsed())));
    }

    void scriptsStartedAnewChangeNothing()
    {
        TestWindow one;
        TestWindow two;
        openBoth(one, two);
        VERIFY_OUTCOME(m_session->restartScripting());
        VERIFY_OUTCOME(m_session->focus(one));
        QTRY_COMPARE_WITH_TIMEOUT(m_observer->identifier(), u"one"_s, 20000);
        VERIFY_OUTCOME(m_session->restartScripting());
        VERIFY_OUTCOME(m_session->focus(two));
        QTRY_COMPARE_WITH_TIMEOUT(m_observer->identifier(), u"two"_s, 20000);
    }

    void kwinMayEndAndStartAnew()
    {
        for (int i = 0; i < 2; ++i) {
            TestWindow window;
            VERIFY_OUTCOME(window.open(m_session->environment(), u"one"_s, u"First"_s));
            QTRY_COMPARE(m_observer->identifier(), u"one"_s);
            const QSignalSpy changes(&m_observer->windows(), &FrontWindowSource::presenceChanged);
            m_session->killDisplay();
            QTRY_VERIFY_WITH_TIMEOUT(m_observer->isAbsent(), 20000);
            QCOMPARE(m_observer->identifier(), u"(none)"_s);
            QCOMPARE(changes.size(), 1);
            VERIFY_OUTCOME(m_session->start());
            QTRY_VERIFY_WITH_TIMEOUT(m_observer->isHere(), 20000);
        }
        TestWindow window;
        VERIFY_OUTCOME(window.open(m_session->environment(), u"two"_s, u"Second"_s));
        QTRY_COMPARE(m_observer->identifier(), u"two"_s);
    }

    void kwinMayComeLater()
    {
        m_observer.reset();
        m_session->killDisplay();
        KWinObserver observer(m_session->busAddress());
        QCOMPARE(observer.windows().presence(), Presence::Asking);
        QTRY_VERIFY_WITH_TIMEOUT(observer.isAbsent(), 20000);
        VERIFY_OUTCOME(m_session->start());
        QTRY_VERIFY_WITH_TIMEOUT(observer.isHere(), 20000);
    }

    void withoutABusItIsAbsent()
    {
        TestWindow window;
        VERIFY_OUTCOME(window.open(m_session->environment(), u"one"_s, u"First"_s));
        QTRY_COMPARE(m_observer->identifier(), u"one"_s);
        m_session->killBus();
        QTRY_VERIFY_WITH_TIMEOUT(m_observer->isAbsent(), 20000);
        QCOMPARE(m_observer->identifier(), u"(none)"_s);
        const KWinObserver later(m_session->busAddress());
        QVERIFY(later.isAbsent());
    }

    void aScriptOfTheSameNameIsReplaced()
    {
        // The next object has the next number.
        const QString current = m_observer->windows().script().name;
        const qsizetype end = current.lastIndexOf(u'-') + 1;
        platform::kwin::KWinFrontWindow* const first = &m_observer->windows();
        const QString next = current.left(end) + QString::number(current.mid(end).toInt() + 1);
        VERIFY_OUTCOME(m_session->scripts().load(u"let nothing = 0;"_s, next));
        const platform::kwin::KWinFrontWindow second(m_observer->bus());
        QCOMPARE(second.script().name, next);
        QTRY_COMPARE_WITH_TIMEOUT(second.presence(), Presence::Here, 20000);
        TestWindow window;
        VERIFY_OUTCOME(window.open(m_session->environment(), u"one"_s, u"First"_s));
        QTRY_VERIFY(second.frontWindow().has_value());
        QTRY_VERIFY(first->frontWindow() == second.frontWindow());
    }

    void whatAProcessThatCrashedHasLeftEndsItself()
    {
        const QString connection = u"crashed"_s;
        auto bus = QDBusConnection::connectToBus(m_session->busAddress(), connection);
        const KWinScriptTarget target{
            .service = bus.baseService(), .path = u"/none"_s, .name = u"left-behind"_s};
        const auto script = writeScript(target, u"token"_s);
        QVERIFY(script);
        QFile file(script.value()->fileName());
        QVERIFY(file.open(QIODevice::ReadOnly));
        bus = QDBusConnection(u"none"_s);
        QDBusConnection::disconnectFromBus(connection);
        VERIFY_OUTCOME(m_session->scripts().load(QString::fromUtf8(file.readAll()), target.name));
        QVERIFY(m_session->scripts().isLoaded(target.name));
        // Its first report has no answer.
        QTRY_VERIFY_WITH_TIMEOUT(!m_session->scripts().isLoaded(target.name), 15000);
        QVERIFY(m_session->scripts().isLoaded(m_observer->windows().script().name));
    }

    void nothingIsLeftInKWin()
    {
        const QString name = m_observer->windows().script().name;
        QVERIFY(m_session->scripts().isLoaded(name));
        m_observer.reset();
        // A script that was left would end itself no sooner than ten seconds later.
        QTRY_VERIFY(!m_session->scripts().isLoaded(name));
    }

    void nothingIsLeftOfOneThatEndsWhileItLoads()
    {
        // The later it ends, the more of loading has been done.
        for (int turns = 0; turns < 20; ++turns) {
            auto observer = std::make_unique<KWinObserver>(m_session->busAddress());
            const QString name = observer->windows().script().name;
            for (int turn = 0; turn < turns; ++turn)
                QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 5);
            observer.reset();
            QTRY_VERIFY(!m_session->scripts().isLoaded(name));
        }
    }

    void noFileIsLeft()
    {
        const QString folder = qEnvironmentVariable("XDG_RUNTIME_DIR", QDir::tempPath());
        const auto files = [&folder] {
            return QDir(folder).entryList({u"velomira-*.js"_s}, QDir::Files);
        };
        QTRY_COMPARE(files(), QStringList());
    }

    void scriptsThatShareANumberBothRun()
    {
        // [ours, a, b] without "ours" is [a, b]: the next one is number 2, as b is.
        VERIFY_OUTCOME(m_session->scripts().load(u"let a = 0;"_s, u"a"_s));
        VERIFY_OUTCOME(m_session->scripts().load(u"let b = 0;"_s, u"b"_s));
        QVERIFY(m_session->scripts().unload(m_observer->windows().script().name));
        TestWindow window;
        VERIFY_OUTCOME(window.open(m_session->environment(), u"one"_s, u"First"_s));
        QTRY_COMPARE_WITH_TIMEOUT(m_observer->identifier(), u"one"_s, 20000);
    }

    void twoObserversDoNotDisturbEachOther()
    {
        auto second = std::make_unique<KWinObserver>(m_session->busAddress());
        TestWindow one;
        TestWindow two;
        openBoth(one, two);
        QTRY_COMPARE(second->identifier(), u"two"_s);
        second.reset();
        VERIFY_OUTCOME(m_session->focus(one));
        QTRY_COMPARE(m_observer->identifier(), u"one"_s);
    }

    void nobodyWaitsForAKWinThatHangs()
    {
        TestWindow window;
        VERIFY_OUTCOME(window.open(m_session->environment(), u"one"_s, u"First"_s));
        QTRY_COMPARE(m_observer->identifier(), u"one"_s);
        ::kill(static_cast<pid_t>(m_session->pid()), SIGSTOP);
        QElapsedTimer time;
        time.start();
        auto second = std::make_unique<KWinObserver>(m_session->busAddress());
        QVERIFY(!second->windows().frontWindow());
        QVERIFY(time.elapsed() < 1000);
        // It neither comes nor goes; the window cannot change meanwhile either.
        QTRY_VERIFY_WITH_TIMEOUT(second->isAbsent(), 20000);
        QCOMPARE(m_observer->identifier(), u"one"_s);
        time.restart();
        second.reset();
        QVERIFY(time.elapsed() < 1000);
        ::kill(static_cast<pid_t>(m_session->pid()), SIGCONT);
        TestWindow other;
        VERIFY_OUTCOME(other.open(m_session->environment(), u"two"_s, u"Second"_s));
        QTRY_COMPARE(m_observer->identifier(), u"two"_s);
    }

private:
    void openBoth(TestWindow& one, TestWindow& two)
    {
        VERIFY_OUTCOME(one.open(m_session->environment(), u"one"_s, u"First"_s));
        VERIFY_OUTCOME(two.open(m_session->environment(), u"two"_s, u"Second"_s));
        VERIFY_OUTCOME(m_session->focus(two));
        QTRY_COMPARE(m_observer->identifier(), u"two"_s);
    }

    std::unique_ptr<HeadlessKWin> m_session;
    std::unique_ptr<KWinObserver> m_observer;
};

QUILLSTEP_TEST(TestKWinRecovery)
#include "tst_kwin_recovery.moc"
