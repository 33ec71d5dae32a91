// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// The running instance on a real session bus, with real second starts and foreign callers.
#include "backends/dbus/application_service.h"
#include "backends/dbus/bus_address.h"
#include "tests/support/private_bus.h"
#include "tests/support/required_programs.h"
#include "tests/support/test_program.h"
#include "tests/system/verify_outcome.h"

#include <QDBusPendingCall>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QLocalServer>
#include <QLocalSocket>
#include <QSignalSpy>
#include <QTest>

#include <algorithm>
#include <csignal>
#include <memory>
#include <optional>
#include <vector>

using platform::dbus::ApplicationCall;
using platform::dbus::applicationName;
using platform::dbus::applicationPath;
using platform::dbus::ApplicationService;
using platform::dbus::BusReturn;
using platform::dbus::StartResult;
using support::PrivateBus;

namespace {

constexpr int kPatienceMs = 20000;

QString text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

/// A start of the program, by what it prints.
class Start final
{
public:
    explicit Start(QProcessEnvironment environment)
        : m_environment(std::move(environment))
    {
        m_child.process().setProcessChannelMode(QProcess::MergedChannels);
    }

    [[nodiscard]] bool run(const QStringList& arguments = {})
    {
        m_output.clear();
        m_child.process().setProcessEnvironment(m_environment);
        m_child.process().start(text(SHELL_CLIENT_EXECUTABLE), arguments);
        return m_child.process().waitForStarted();
    }

    [[nodiscard]] QStringList lines()
    {
        m_output += QString::fromUtf8(m_child.process().readAll());
        QStringList all = m_output.split(QLatin1Char('\n'));
        all.removeLast();
        return all;
    }

    [[nodiscard]] bool waitFor(const char* line)
    {
        return QTest::qWaitFor([&] { return lines().contains(text(line)); }, kPatienceMs);
    }

    /// Its exit code; -1 when it does not end or crashed.
    [[nodiscard]] int waitForEnd()
    {
        const bool ended = QTest::qWaitFor([&] { return !m_child.isRunning(); }, kPatienceMs);
        return ended && m_child.process().exitStatus() == QProcess::NormalExit
                   ? m_child.process().exitCode()
                   : -1;
    }

    void send(int signal) { ::kill(static_cast<pid_t>(m_child.pid()), signal); }

    [[nodiscard]] qint64 pid() const { return m_child.pid(); }

    [[nodiscard]] QProcessEnvironment& environment() { return m_environment; }

private:
    QProcessEnvironment m_environment;
    support::ChildProcess m_child;
    QString m_output;
};

/// What a service of this process tells, a line each.
class Told final
{
public:
    explicit Told(ApplicationService& service)
    {
        QObject::connect(&service, &ApplicationService::activated, &m_context, [this](auto token) {
            lines += QStringLiteral("activated [%1]").arg(token.value);
        });
        QObject::connect(
            &service, &ApplicationService::urlOpened, &m_context, [this](auto url, auto token) {
                lines += QStringLiteral("url %1 [%2]").arg(url, token.value);
            });
        QObject::connect(&service,
                         &ApplicationService::actionRequested,
                         &m_context,
                         [this](auto name, auto token) {
                             lines += QStringLiteral("action %1 [%2]").arg(name, token.value);
                         });
    }

    QStringList lines;

private:
    QObject m_context;
};

/// A foreign program on the bus.
class Caller final
{
public:
    explicit Caller(const QString& address)
        : m_bus(QDBusConnection::connectToBus(address, text("caller")))
    {
    }

    ~Caller() { QDBusConnection::disconnectFromBus(text("caller")); }

    [[nodiscard]] QDBusPendingCall begin(const char* method, const QVariantList& arguments)
    {
        QDBusMessage message = QDBusMessage::createMethodCall(applicationName(),
                                                              applicationPath(),
                                                              text("org.freedesktop.Application"),
                                                              text(method));
        message.setArguments(arguments);
        return m_bus.asyncCall(message);
    }

    /// The name of the error, empty for success; "no answer" when there is none.
    [[nodiscard]] QString call(const char* method, const QVariantList& arguments)
    {
        const QDBusPendingCall pending = begin(method, arguments);
        if (!QTest::qWaitFor([&] { return pending.isFinished(); }, kPatienceMs))
            return text("no answer");
        return pending.isError() ? pending.error().name() : QString();
    }

private:
    QDBusConnection m_bus;
};

QVariantMap data(const char* key, const QVariant& value)
{
    return {{text(key), value}};
}

} // namespace

class TestApplicationService final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase() { REQUIRE_PROGRAMS(PrivateBus::programs()); }

    void init()
    {
        m_bus.emplace();
        VERIFY_OUTCOME(m_bus->start());
    }

    void cleanup() { m_bus.reset(); }

    void aTaskIsAnsweredWhenItIsDone()
    {
        ApplicationService service(m_bus->address());
        Told told(service);
        QList<platform::ApplicationRequests::Answer> answers;
        connect(&service,
                &ApplicationService::taskRequested,
                this,
                [&answers](const QString& name, const auto& answer) {
                    QCOMPARE(name, text("sign-out"));
                    answers.append(answer);
                });
        QCOMPARE(service.claim(std::chrono::seconds(3)), ApplicationService::Claim::Primary);
        service.begin();
        Caller caller(m_bus->address());
        const QVariantList signOut{text("sign-out"), QVariantList(), QVariantMap()};
        const QDBusPendingCall first = caller.begin("ActivateAction", signOut);
        const QDBusPendingCall second = caller.begin("ActivateAction", signOut);
        QTRY_COMPARE_WITH_TIMEOUT(answers.size(), 2, kPatienceMs);
        // Anything asked later is answered first.
        QCOMPARE(caller.call("Activate", {QVariantMap()}), QString());
        QVERIFY(!first.isFinished() && !second.isFinished());
        answers[0](platform::Error{text("no")});
        answers[0](platform::success()); // the first one counts
        answers[1](platform::success());
        QTRY_VERIFY_WITH_TIMEOUT(first.isFinished() && second.isFinished(), kPatienceMs);
        QCOMPARE(first.error().message(), text("no"));
        QVERIFY(!second.isError());
        QTRY_COMPARE(told.lines, QStringList{text("activated []")});
    }

    void whatOtherProgramsAskIsToldInOrder()
    {
        ApplicationService service(m_bus->address());
        Told told(service);
        QCOMPARE(service.claim(std::chrono::seconds(3)), ApplicationService::Claim::Primary);
        Caller caller(m_bus->address());
        const QStringList urls{text("velomira://login"), text("https://other/\u00fc"), QString()};
        QCOMPARE(caller.call("Open", {urls, data("activation-token", text("t1"))}), QString());
        QCOMPARE(caller.call("Activate", {data("desktop-startup-id", text("t2_TIME3"))}),
                 QString());
        QVERIFY(told.lines.isEmpty()); // not before begin()
        service.begin();
        QCOMPARE(caller.call("ActivateAction",
                             {text("quit"), QVariantList{1, text("x")}, QVariantMap()}),
                 QString());
        QTRY_COMPARE(told.lines,
                     QStringList({text("url velomira://login [t1]"),
                                  text("url https://other/\u00fc [t1]"),
                                  text("url  [t1]"),
                                  text("activated [t2_TIME3]"),
                                  text("action quit []")}));
    }

    void theActivationTokenGoesBeforeTheStartupIdAndNeedsToBeText()
    {
        ApplicationService service(m_bus->address());
        Told told(service);
        QCOMPARE(service.claim(std::chrono::seconds(3)), ApplicationService::Claim::Primary);
        service.begin();
        Caller caller(m_bus->address());
        QVariantMap both = data("activation-token", text("a"));
        both.insert(text("desktop-startup-id"), text("b"));
        QCOMPARE(caller.call("Activate", {both}), QString());
        both.insert(text("activation-token"), 7);
        QCOMPARE(caller.call("Activate", {both}), QString());
        both.insert(text("desktop-startup-id"), QStringList(text("b")));
        QCOMPARE(caller.call("Activate", {both}), QString());
        QCOMPARE(caller.call("Activate", {data("activation-token", QString(5000, u'x'))}),
                 QString());
        QTRY_COMPARE(told.lines,
                     QStringList({text("activated [a]"),
                                  text("activated [b]"),
                                  text("activated []"),
                                  text("activated []")}));
    }

    void callsOfOtherTypesAndSizesAreErrorsAndHarmless_data()
    {
        QTest::addColumn<QByteArray>("method");
        QTest::addColumn<QVariantList>("arguments");
        QTest::addColumn<QString>("error");
        const QString unknown = text("org.freedesktop.DBus.Error.UnknownMethod");
        const QString invalid = text("org.freedesktop.DBus.Error.InvalidArgs");
        const QVariantMap none;
        QTest::newRow("nothing") << QByteArray("Activate") << QVariantList() << unknown;
        QTest::newRow("text for a map")
            << QByteArray("Activate") << QVariantList{text("x")} << unknown;
        QTest::newRow("one address, not a list")
            << QByteArray("Open") << QVariantList{text("velomira:"), none} << unknown;
        QTest::newRow("numbers for addresses")
            << QByteArray("Open") << QVariantList{QVariantList{1, 2}, none} << unknown;
        QTest::newRow("action without parameter")
            << QByteArray("ActivateAction") << QVariantList{text("quit"), none} << unknown;
        QTest::newRow("a method of ours") << QByteArray("begin") << QVariantList() << unknown;
        QTest::newRow("huge address")
            << QByteArray("Open")
            << QVariantList{QStringList(text("velomira:") + QString(30'000'000, u'x')), none}
            << invalid;
        QStringList many;
        for (int i = 0; i < 100'000; ++i)
            many += text("velomira:x");
        QTest::newRow("many addresses")
            << QByteArray("Open") << QVariantList{many, none} << invalid;
        QTest::newRow("huge action")
            << QByteArray("ActivateAction")
            << QVariantList{QString(1'000'000, u'q'), QVariantList(), none} << invalid;
    }

    void callsOfOtherTypesAndSizesAreErrorsAndHarmless()
    {
        QFETCH(QByteArray, method);
        QFETCH(QVariantList, arguments);
        ApplicationService service(m_bus->address());
        Told told(service);
        QCOMPARE(service.claim(std::chrono::seconds(3)), ApplicationService::Claim::Primary);
        service.begin();
        Caller caller(m_bus->address());
        QTEST(caller.call(method.constData(), arguments), "error");
        QCOMPARE(caller.call("Activate", {QVariantMap()}), QString());
        QTRY_COMPARE(told.lines, QStringList(text("activated []")));
    }

    void twoThousandCallsAtOnceAreAllToldInOrder()
    {
        ApplicationService service(m_bus->address());
        Told told(service);
        QCOMPARE(service.claim(std::chrono::seconds(3)), ApplicationService::Claim::Primary);
        Caller caller(m_bus->address());
        std::vector<QDBusPendingCall> calls;
        QStringList expected;
        for (int i = 0; i < 2000; ++i) {
            const QString url = text("velomira:%1").arg(i);
            calls.push_back(caller.begin("Open", {QStringList(url), QVariantMap()}));
            expected += text("url %1 []").arg(url);
        }
        service.begin();
        QTRY_COMPARE_WITH_TIMEOUT(told.lines.size(), expected.size(), kPatienceMs);
        QCOMPARE(told.lines, expected);
        QTRY_VERIFY(std::ranges::all_of(
            calls, [](const auto& call) { return call.isFinished() && !call.isError(); }));
    }

    void whatNobodyTakesIsRefusedBeyondALimit()
    {
        ApplicationService service(m_bus->address());
        Told told(service);
        QCOMPARE(service.claim(std::chrono::seconds(3)), ApplicationService::Claim::Primary);
        Caller caller(m_bus->address());
        QStringList urls;
        for (int i = 0; i < 60; ++i)
            urls += text("velomira:x");
        QString error;
        for (int calls = 0; error.isEmpty() && calls < 1000; ++calls)
            error = caller.call("Open", {urls, QVariantMap()});
        QCOMPARE(error, text("org.freedesktop.DBus.Error.LimitsExceeded"));
        service.begin();
        QTRY_COMPARE(told.lines.size(), 9960);
        QCOMPARE(caller.call("Activate", {QVariantMap()}), QString());
        QTRY_COMPARE(told.lines.last(), text("activated []"));
    }

    void aSecondStartHandsOverWhatItWasStartedForAndItsTokens()
    {
        Start first(m_bus->environment());
        QVERIFY(first.run({text("velomira://first")}));
        QVERIFY(first.waitFor("first"));
        Start second(m_bus->environment());
        second.environment().insert(text("XDG_ACTIVATION_TOKEN"), text("token"));
        second.environment().insert(text("DESKTOP_STARTUP_ID"), text("id"));
        const QList<QStringList> starts{{},
                                        {text("velomira://dashboard")},
                                        {text("--action"), text("settings")},
                                        {text("--gapplication-service")}};
        for (const QStringList& arguments : starts) {
            QVERIFY(second.run(arguments));
            QCOMPARE(second.waitForEnd(), 0);
            QCOMPARE(second.lines(), QStringList(text("handed over")));
        }
        second.environment().remove(text("XDG_ACTIVATION_TOKEN"));
        QVERIFY(second.run({text("--action"), text("quit")}));
        QCOMPARE(second.waitForEnd(), 0);
        QCOMPARE(first.waitForEnd(), 0);
        QCOMPARE(first.lines(),
                 QStringList({text("first"),
                              text("url velomira://first []"),
                              text("activated [token]"),
                              text("url velomira://dashboard [token]"),
                              text("action settings [token]"),
                              text("action quit [id]"),
                              text("ending")}));
    }

    void ofTenStartsAtOnceExactlyOneRunsAndIsToldOfTheOthers()
    {
        for (int round = 0; round < 3; ++round) {
            std::vector<std::unique_ptr<Start>> starts;
            for (int i = 0; i < 10; ++i)
                starts.push_back(std::make_unique<Start>(m_bus->environment()));
            for (auto& start : starts)
                QVERIFY(start->run());
            const auto isFirst = [](const auto& start) {
                return start->lines().contains(text("first"));
            };
            const auto hasDecided = [](const auto& start) {
                return !start->lines().isEmpty();
            };
            QTRY_VERIFY_WITH_TIMEOUT(std::ranges::all_of(starts, hasDecided), kPatienceMs);
            QCOMPARE(std::ranges::count_if(starts, isFirst), 1);
            Start& first = **std::ranges::find_if(starts, isFirst);
            QTRY_COMPARE(first.lines().count(text("activated []")), 9);
            for (auto& start : starts)
                if (start.get() != &first)
                    QCOMPARE(start->waitForEnd(), 0);
            Start quit(m_bus->environment());
            QVERIFY(quit.run({text("--action"), text("quit")}));
            QCOMPARE(quit.waitForEnd(), 0);
            QCOMPARE(first.waitForEnd(), 0);
        }
    }

    void aStartWhileTheFirstIsEndingRunsInItsPlace()
    {
        Start first(m_bus->environment());
        first.environment().insert(text("SHELL_CLIENT_WAIT"), text("600000"));
        QVERIFY(first.run());
        QVERIFY(first.waitFor("first"));
        Start quit(m_bus->environment());
        QVERIFY(quit.run({text("--action"), text("quit")}));
        QVERIFY(first.waitFor("ending"));
        Start next(m_bus->environment());
        QVERIFY(next.run({text("velomira://login")}));
        QVERIFY(next.waitFor("url velomira://login []"));
        QCOMPARE(next.lines().first(), text("first"));
        first.send(SIGKILL);
    }

    void whatReachesAnInstanceThatIsEndingIsSentToTheNext()
    {
        // The owner of the name takes the call, but says that it ends; it gives the name back only
        // after that, so the asker meets it again and again.
        ApplicationService service(m_bus->address());
        Told told(service);
        QCOMPARE(service.claim(std::chrono::seconds(3)), ApplicationService::Claim::Primary);
        service.begin();
        service.release();
        QCOMPARE(service.claim(std::chrono::seconds(3)), ApplicationService::Claim::Primary);
        Start next(m_bus->environment());
        QVERIFY(next.run());
        Caller caller(m_bus->address());
        QCOMPARE(caller.call("Activate", {QVariantMap()}),
                 text("org.freedesktop.DBus.Error.ServiceUnknown"));
        service.release();
        QVERIFY(next.waitFor("first"));
        QVERIFY(told.lines.isEmpty());
    }

    void aStartWhoseOwnerIsKilledMeanwhileRunsInItsPlace()
    {
        Start first(m_bus->environment());
        QVERIFY(first.run());
        QVERIFY(first.waitFor("first"));
        first.send(SIGSTOP);
        Start next(m_bus->environment());
        QVERIFY(next.run({text("velomira://login")}));
        // It waits for the answer of the stopped one: the bus knows both.
        const auto knowsBoth = [this] {
            return m_bus
                       ->call(text("org.freedesktop.DBus"),
                              text("/org/freedesktop/DBus"),
                              text("org.freedesktop.DBus.ListNames"),
                              {})
                       .count(text("':")) >= 3;
        };
        QVERIFY(
            QTest::qWaitFor(knowsBoth, kPatienceMs)); // each question takes from its three seconds
        first.send(SIGKILL);
        QVERIFY(next.waitFor("url velomira://login []"));
        QCOMPARE(next.lines().first(), text("first"));
    }

    void anOwnerThatHangsCostsTheLimitAndIsNamed()
    {
        Start first(m_bus->environment());
        QVERIFY(first.run());
        QVERIFY(first.waitFor("first"));
        first.send(SIGSTOP);
        QElapsedTimer timer;
        timer.start();
        Start second(m_bus->environment());
        QVERIFY(second.run({text("velomira://login")}));
        QCOMPARE(second.waitForEnd(), 1);
        const qint64 elapsed = timer.elapsed();
        QVERIFY2(elapsed >= 2900 && elapsed < 15000, qPrintable(QString::number(elapsed)));
        QCOMPARE(second.lines(),
                 QStringList(text("Quillstep: the instance that runs (process %1) does not answer; "
                                  "end it and try again")
                                 .arg(first.pid())));
        first.send(SIGCONT);
    }

    void aForeignOwnerOfTheNameIsAFailureAtOnce()
    {
        QDBusConnection foreign = QDBusConnection::connectToBus(m_bus->address(), text("foreign"));
        QVERIFY(foreign.registerService(applicationName()));
        Start second(m_bus->environment());
        QVERIFY(second.run());
        QCOMPARE(second.waitForEnd(), 1);
        QVERIFY2(second.lines().value(0).contains(text("refuses: No such object path")),
                 qPrintable(second.lines().join(u'\n')));
        QDBusConnection::disconnectFromBus(text("foreign"));
    }

    void theThreadOfTheBusTakesNoSignalOfTheProcess()
    {
        Start first(m_bus->environment());
        QVERIFY(first.run());
        QVERIFY(first.waitFor("first"));
        QDir threads(text("/proc/%1/task").arg(first.pid()));
        QCOMPARE(threads.entryList(QDir::Dirs | QDir::NoDotAndDotDot).size(), 2);
        for (const QString& thread : threads.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
            QFile file(threads.filePath(thread) + text("/status"));
            QVERIFY(file.open(QIODevice::ReadOnly));
            const QString status = QString::fromUtf8(file.readAll());
            const quint64 blocked = status.section(text("SigBlk:\t"), 1)
                                        .section(QLatin1Char('\n'), 0, 0)
                                        .toULongLong(nullptr, 16);
            const bool blocksTermination = (blocked & (1ULL << (SIGTERM - 1))) != 0;
            QCOMPARE(blocksTermination, thread.toLongLong() != first.pid());
        }
    }

    void withoutABusTheStartIsAloneAndSaysWhy()
    {
        QProcessEnvironment none = m_bus->environment();
        none.remove(text("DBUS_SESSION_BUS_ADDRESS"));
        none.insert(text("XDG_RUNTIME_DIR"), m_bus->home());
        QProcessEnvironment automatic = none;
        automatic.insert(text("DBUS_SESSION_BUS_ADDRESS"), text("autolaunch:"));
        QProcessEnvironment dead = m_bus->environment();
        dead.insert(text("DBUS_SESSION_BUS_ADDRESS"), text("unix:path=/nowhere/bus"));
        QProcessEnvironment nonsense = m_bus->environment();
        nonsense.insert(text("DBUS_SESSION_BUS_ADDRESS"), text("nonsense"));
        for (const QProcessEnvironment& one : {none, automatic, dead, nonsense}) {
            Start start(one);
            QVERIFY(start.run());
            QCOMPARE(start.waitForEnd(), 1);
            QCOMPARE(start.lines().size(), 1);
            QVERIFY(start.lines().first().size() > 20);
        }
        QProcessEnvironment found = none; // in its usual place
        found.insert(text("XDG_RUNTIME_DIR"), m_bus->home() + text("/runtime"));
        Start start(found);
        QVERIFY(start.run());
        QVERIFY(start.waitFor("first"));
    }

    void aBusThatHangsCostsTheLimit()
    {
        m_bus->pause();
        QElapsedTimer timer;
        timer.start();
        Start start(m_bus->environment());
        QVERIFY(start.run());
        QCOMPARE(start.waitForEnd(), 1);
        const qint64 elapsed = timer.elapsed();
        QVERIFY2(elapsed >= 2900 && elapsed < 15000, qPrintable(QString::number(elapsed)));
        QCOMPARE(start.lines(), QStringList(text("Quillstep: the session bus does not answer")));
        m_bus->resume();
        QVERIFY(start.run());
        QVERIFY(start.waitFor("first"));
    }

    void aBusThatIsKilledAndComesBackIsNoticed()
    {
        Start first(m_bus->environment());
        QVERIFY(first.run());
        QVERIFY(first.waitFor("first"));
        m_bus->kill();
        QVERIFY(first.waitFor("connection lost"));
        Start alone(m_bus->environment());
        QVERIFY(alone.run());
        QCOMPARE(alone.waitForEnd(), 1);
        QVERIFY(!first.lines().contains(text("bus is back")));
        VERIFY_OUTCOME(m_bus->start());
        QVERIFY(first.waitFor("bus is back"));
        QCOMPARE(first.waitForEnd(), 0);
        QCOMPARE(first.lines(),
                 QStringList({text("first"), text("connection lost"), text("bus is back")}));
        Start again(m_bus->environment());
        QVERIFY(again.run());
        QVERIFY(again.waitFor("first"));
    }

    void theReturnOfABusIsLookedForLessAndLessOften()
    {
        BusReturn busReturn(
            m_bus->address(), std::chrono::milliseconds(20), std::chrono::seconds(1));
        QSignalSpy back(&busReturn, &BusReturn::busIsBack);
        m_bus->kill();
        busReturn.start();
        busReturn.start();
        QVERIFY(!back.wait(300));
        VERIFY_OUTCOME(m_bus->start());
        QVERIFY(back.wait(3000));
        QVERIFY(!back.wait(100));
        QCOMPARE(back.size(), 1);
    }

    void aSocketThatNobodyServesIsNotABus()
    {
        m_bus->kill();
        const QString path = m_bus->address().section(u'=', 1);
        QVERIFY(QFile::remove(path));
        std::optional<QLocalServer> nobody(std::in_place);
        QVERIFY(nobody->listen(path));
        BusReturn busReturn(
            m_bus->address(), std::chrono::milliseconds(10), std::chrono::seconds(1));
        QSignalSpy back(&busReturn, &BusReturn::busIsBack);
        busReturn.start();
        QTRY_VERIFY(nobody->hasPendingConnections());
        // One that asks and one that hangs up.
        delete nobody->nextPendingConnection();
        QTRY_VERIFY(nobody->hasPendingConnections());
        QVERIFY(!back.wait(200));
        nobody.reset();
        VERIFY_OUTCOME(m_bus->start());
        QVERIFY(back.wait(3000));
        QCOMPARE(back.size(), 1);
    }

    void theNextBusIsFoundWithoutTheIdentityOfTheLast()
    {
        using platform::dbus::withoutIdentity;
        QCOMPARE(withoutIdentity(QStringLiteral("unix:path=/run/bus,guid=0a1b")),
                 QStringLiteral("unix:path=/run/bus"));
        QCOMPARE(withoutIdentity(QStringLiteral("unix:guid=0a1b,path=/a;unix:abstract=b,guid=2")),
                 QStringLiteral("unix:path=/a;unix:abstract=b"));
        QCOMPARE(withoutIdentity(QStringLiteral("unix:path=/run/bus")),
                 QStringLiteral("unix:path=/run/bus"));
        QCOMPARE(withoutIdentity(QString()), QString());
    }

    void addressesOfAnyFormAreTriedWithoutHarm_data()
    {
        QTest::addColumn<QString>("address");
        QTest::addColumn<bool>("answers");
        // %1 is the address of the bus.
        QTest::newRow("plain") << text("%1") << true;
        QTest::newRow("with guid") << text("%1,guid=00") << true;
        QTest::newRow("second") << text("tcp:host=localhost,port=1;%1") << true;
        QTest::newRow("nobody") << text("%1x") << false;
        QTest::newRow("empty") << QString() << false;
        QTest::newRow("no path") << text("unix:") << false;
        QTest::newRow("empty path") << text("unix:path=") << false;
        QTest::newRow("no value") << text("unix:path") << false;
        QTest::newRow("folder") << text("unix:path=/") << false;
        QTest::newRow("abstract") << text("unix:abstract=velomira-nobody") << false;
        QTest::newRow("long") << text("unix:path=") + QString(108, u'x') << false;
        QTest::newRow("long abstract") << text("unix:abstract=") + QString(5000, u'x') << false;
        QTest::newRow("other transport") << text("unixexec:path=/bin/true") << false;
        QTest::newRow("nonsense") << text(";;,=:%%%") << false;
    }

    void addressesOfAnyFormAreTriedWithoutHarm()
    {
        QFETCH(QString, address);
        address.replace(text("%1"), m_bus->address());
        QFETCH(bool, answers);
        // A busy bus gets more time with each question.
        BusReturn busReturn(address, std::chrono::milliseconds(10), std::chrono::seconds(1));
        QSignalSpy back(&busReturn, &BusReturn::busIsBack);
        busReturn.start();
        QCOMPARE(back.wait(answers ? 3000 : 150), answers);
    }

private:
    std::optional<PrivateBus> m_bus;
};

QUILLSTEP_TEST(TestApplicationService)
#include "tst_application_service.moc"
