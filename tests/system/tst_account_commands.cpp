// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// The executable signs in to the real service, with the token in a real keyring.
#include "base/build_config.h"
#include "tests/support/agent.h"
#include "tests/support/headless_x11.h"
#include "tests/support/keyring.h"
#include "tests/support/required_programs.h"
#include "tests/support/service_process.h"
#include "tests/support/test_program.h"
#include "tests/system/xdotool.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDirIterator>
#include <QFile>
#include <QTest>
#include <QTimer>
#include <QUrl>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <memory>

using support::Agent;

namespace {

const QString kEmail = QStringLiteral("ada@example.org");
const QString kPassword = QStringLiteral("correct horse \u00e9");
const QString kOtherEmail = QStringLiteral("grace@example.org");
constexpr int kPatienceMs = 60000;
/// In the time of an agent that is ten times as fast; two intervals of its uploads, and some more.
constexpr qsizetype kTicksOfTwoUploads = 150;

QString servicePort()
{
    const auto url = platform::kServiceUrl;
    return QString::number(QUrl(QString::fromUtf8(url.data(), url.size())).port());
}

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// True while somebody is connected to the service: proc(5), "net/tcp", in hexadecimal.
bool hasConnectionToService()
{
    const QByteArray port = QByteArray::number(servicePort().toInt(), 16).toUpper();
    return contentOf(QStringLiteral("/proc/net/tcp")).contains(" 0100007F:" + port + " 01 ");
}

/// Everything in files below `folder`.
QByteArray contentBelow(const QString& folder)
{
    QByteArray all;
    QDirIterator files(folder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (files.hasNext())
        all += contentOf(files.next());
    return all;
}

} // namespace

class TestAccountCommands final : public QObject
{
    Q_OBJECT

    support::HeadlessX11 m_desktop;
    support::Keyring m_keyring;
    support::ServiceProcess m_service;
    std::unique_ptr<Agent> m_agent;
    std::unique_ptr<Agent> m_instance;
    bool m_right = false;
    QTimer m_hand; // moves the pointer: an idle user has nothing uploaded

    QProcessEnvironment environment() const
    {
        QProcessEnvironment environment = m_desktop.environment();
        const QString bus = QStringLiteral("DBUS_SESSION_BUS_ADDRESS");
        environment.insert(bus, m_keyring.environment().value(bus));
        return environment;
    }

    /// Starts the executable with `arguments` and hands it `input`.
    [[nodiscard]] bool start(const QStringList& arguments, const QString& input = {})
    {
        if (!m_agent->start(arguments))
            return false;
        QProcess& process = m_agent->process().process();
        process.write(input.toUtf8() + '\n');
        process.closeWriteChannel();
        return true;
    }

    /// Runs it to its end: the exit code, -1 when it does not end.
    int run(const QStringList& arguments, const QString& input = {})
    {
        return start(arguments, input) ? m_agent->waitForEnd().value_or(-1) : -1;
    }

    int signIn(const QString& password = kPassword)
    {
        return run({QStringLiteral("--sign-in"), kEmail}, password);
    }

    /// What a fresh start finds: the line of --diagnose that begins with `what`.
    QString diagnosed(const QString& what)
    {
        if (run({QStringLiteral("--diagnose")}) != 0)
            return QStringLiteral("(failed)");
        for (const QString& line : m_agent->lines()) {
            if (line.startsWith(what + QStringLiteral(": ")))
                return line.mid(what.size() + 2);
        }
        return {};
    }

    QByteArray storedToken() const { return m_keyring.lookup(QStringLiteral("authToken")); }

    /// Starts an instance that stays; it uploads every six seconds.
    void startInstance()
    {
        m_instance =
            std::make_unique<Agent>(environment(), QStringLiteral(TENFOLD_AGENT_EXECUTABLE));
        const platform::Outcome started = m_instance->start();
        QVERIFY2(bool(started), started ? "" : qPrintable(started.error().text));
        m_hand.start();
    }

    /// How many uploads of that user the service has taken so far.
    qsizetype uploads(int user)
    {
        const QStringList lines = m_service.log().split(u'\n');
        return std::ranges::count_if(lines, [user](const QString& line) {
            return line.contains(QStringLiteral(" POST /api/activity-log 201 ")) &&
                   line.contains(QStringLiteral(" user=%1 ").arg(user));
        });
    }

    /// How many requests for uploads the service has seen, whoever they were from.
    qsizetype allUploads() { return m_service.log().count(QStringLiteral(" /api/activity-log ")); }

    /// Whether an instance can be asked things on the session bus.
    bool instanceIsReached()
    {
        const QString name = QStringLiteral("observer");
        QDBusConnection bus = QDBusConnection::connectToBus(
            environment().value(QStringLiteral("DBUS_SESSION_BUS_ADDRESS")), name);
        const bool isThere = bus.isConnected() && bus.interface()->isServiceRegistered(
                                                      QStringLiteral("com.velomira.UsageMonitor"));
        QDBusConnection::disconnectFromBus(name);
        return isThere;
    }

    /// Waits until the instance has gone on for as long as two more uploads take.
    [[nodiscard]] bool instanceGoesOn()
    {
        const auto ticks = [this] {
            return m_instance->lines().filter(QStringLiteral("Tick:")).size();
        };
        const qsizetype enough = ticks() + kTicksOfTwoUploads;
        return QTest::qWaitFor([&] { return ticks() >= enough; }, kPatienceMs);
    }

private Q_SLOTS:

    void initTestCase()
    {
        REQUIRE_PROGRAMS(support::HeadlessX11::programs() + support::Keyring::programs() +
                         QStringList{QStringLiteral("xdotool")});
        QVERIFY(bool(m_desktop.start()));
        QVERIFY(bool(m_keyring.startBus()));
        const platform::Outcome started =
            m_service.start(m_service.folder() + QStringLiteral("/service.sqlite"),
                            {QStringLiteral("--port"), servicePort()});
        QVERIFY2(bool(started), started ? "" : qPrintable(started.error().text));
        m_hand.setInterval(std::chrono::seconds(1));
        m_hand.callOnTimeout([this] {
            m_right = !m_right;
            QVERIFY(xdotool(m_desktop,
                            {QStringLiteral("mousemove_relative"),
                             QStringLiteral("--"),
                             m_right ? QStringLiteral("5") : QStringLiteral("-5"),
                             QStringLiteral("0")}));
        });
        QVERIFY(bool(m_service.addUser(kEmail, QStringLiteral("Ada"), kPassword)));
        QVERIFY(bool(m_service.addUser(kOtherEmail, QStringLiteral("Grace"), kPassword)));
    }

    void init()
    {
        const platform::Outcome unlocked = m_keyring.startUnlocked();
        QVERIFY2(bool(unlocked), unlocked ? "" : qPrintable(unlocked.error().text));
        m_agent = std::make_unique<Agent>(environment());
    }

    void cleanup()
    {
        m_hand.stop();
        m_instance.reset();
        if (!storedToken().isEmpty())
            run({QStringLiteral("--sign-out")});
        m_agent.reset();
        m_keyring.kill();
    }

    void theVersionIsThatOfQuillstep()
    {
        QCOMPARE(run({QStringLiteral("--version")}), 0);
        QCOMPARE(m_agent->lines(), QStringList{QStringLiteral("Quillstep " QUILLSTEP_VERSION)});
    }

    void aSessionLastsUntilItIsEnded()
    {
        QCOMPARE(diagnosed(QStringLiteral("account")), QStringLiteral("signed out"));
        QCOMPARE(diagnosed(QStringLiteral("keyring")), QStringLiteral("unlocked"));
        QCOMPARE(diagnosed(QStringLiteral("service answers")), QStringLiteral("yes"));

        QCOMPARE(signIn(), 0);
        QCOMPARE(m_agent->lines(), QStringList{QStringLiteral("Signed in")});
        const QByteArray token = storedToken();
        QVERIFY(token.size() >= 32);
        QCOMPARE(diagnosed(QStringLiteral("account")), QStringLiteral("signed in"));

        m_keyring.kill();
        QCOMPARE(diagnosed(QStringLiteral("account")), QStringLiteral("signed out"));
        QVERIFY(bool(m_keyring.startUnlocked()));
        QCOMPARE(storedToken(), token);
        QCOMPARE(diagnosed(QStringLiteral("account")), QStringLiteral("signed in"));

        QCOMPARE(run({QStringLiteral("--sign-out")}), 0);
        QCOMPARE(m_agent->lines(), QStringList{QStringLiteral("Signed out")});
        QVERIFY(storedToken().isEmpty());
        QCOMPARE(m_keyring.search(QStringLiteral("authToken")), QString());
        QCOMPARE(diagnosed(QStringLiteral("account")), QStringLiteral("signed out"));
    }

    void signingOutReachesTheInstanceThatRuns()
    {
        QCOMPARE(signIn(), 0);
        startInstance();
        const qsizetype before = uploads(1);
        QTRY_VERIFY_WITH_TIMEOUT(uploads(1) > before, kPatienceMs);
        QCOMPARE(run({QStringLiteral("--sign-out")}), 0);
        QCOMPARE(m_agent->lines(), QStringList{QStringLiteral("Signed out")});
        QVERIFY(storedToken().isEmpty());
        const qsizetype sent = allUploads();
        QVERIFY(instanceGoesOn());
        QCOMPARE(allUploads(), sent);
    }

    void signingInReachesTheInstanceThatRuns()
    {
        QCOMPARE(signIn(), 0);
        startInstance();
        const qsizetype before = uploads(1);
        QTRY_VERIFY_WITH_TIMEOUT(uploads(1) > before, kPatienceMs);
        QCOMPARE(run({QStringLiteral("--sign-in"), kOtherEmail}, kPassword), 0);
        QCOMPARE(m_agent->lines(), QStringList{QStringLiteral("Signed in")});
        const qsizetype old = uploads(1);
        QTRY_VERIFY_WITH_TIMEOUT(uploads(2) > 0, kPatienceMs);
        QVERIFY(instanceGoesOn());
        QCOMPARE(uploads(1), old);
    }

    void signingInStartsTheServicesOfAnInstanceThatWaitsForIt()
    {
        startInstance();
        QTRY_VERIFY_WITH_TIMEOUT(instanceIsReached(), kPatienceMs);
        const qsizetype before = uploads(1);
        QCOMPARE(signIn(), 0);
        QTRY_VERIFY_WITH_TIMEOUT(uploads(1) > before, kPatienceMs);
    }

    void aFailedSignInLeavesTheInstanceThatRunsAsItWas()
    {
        QCOMPARE(signIn(), 0);
        startInstance();
        const qsizetype before = uploads(1);
        QTRY_VERIFY_WITH_TIMEOUT(uploads(1) > before, kPatienceMs);
        QCOMPARE(run({QStringLiteral("--sign-in"), kOtherEmail}, QStringLiteral("wrong")), 1);
        const qsizetype then = uploads(1);
        QTRY_VERIFY_WITH_TIMEOUT(uploads(1) > then, kPatienceMs);
    }

    void anInstanceThatHangsIsSaid()
    {
        QCOMPARE(signIn(), 0);
        const QByteArray token = storedToken();
        startInstance();
        QTRY_VERIFY_WITH_TIMEOUT(instanceIsReached(), kPatienceMs);
        m_instance->send(SIGSTOP);
        QCOMPARE(run({QStringLiteral("--sign-out")}), 1);
        QCOMPARE(run({QStringLiteral("--sign-in"), kOtherEmail}, kPassword), 1);
        QCOMPARE(
            m_agent->complaints().count(QStringLiteral(" does not answer; end it and try again")),
            2);
        QCOMPARE(storedToken(), token);
        m_instance->send(SIGCONT);
    }

    void aSignOutWithALockedKeyringLasts()
    {
        QCOMPARE(signIn(), 0);
        QVERIFY(bool(m_keyring.lock()));
        QCOMPARE(run({QStringLiteral("--sign-out")}), 0);
        QVERIFY2(m_agent->lines().value(0).startsWith(
                     QStringLiteral("Signed out. The keyring cannot be opened now")),
                 qPrintable(m_agent->lines().join(u' ')));
        QVERIFY(bool(m_keyring.unlock()));
        QVERIFY(!storedToken().isEmpty());
        QCOMPARE(diagnosed(QStringLiteral("account")), QStringLiteral("signed out"));
        const qsizetype sent = allUploads();
        startInstance();
        QTRY_VERIFY_WITH_TIMEOUT(storedToken().isEmpty(), kPatienceMs);
        QCOMPARE(allUploads(), sent);
    }

    void anInstanceFinishesASignOutWhenTheKeyringOpens()
    {
        QCOMPARE(signIn(), 0);
        startInstance();
        const qsizetype before = uploads(1);
        QTRY_VERIFY_WITH_TIMEOUT(uploads(1) > before, kPatienceMs);
        QVERIFY(bool(m_keyring.lock()));
        QCOMPARE(run({QStringLiteral("--sign-out")}), 0);
        QVERIFY2(m_agent->lines().value(0).startsWith(
                     QStringLiteral("Signed out. The keyring cannot be opened now")),
                 qPrintable(m_agent->lines().join(u' ')));
        const qsizetype sent = allUploads();
        QVERIFY(bool(m_keyring.unlock()));
        QTRY_VERIFY_WITH_TIMEOUT(storedToken().isEmpty(), kPatienceMs);
        QVERIFY(instanceGoesOn());
        QCOMPARE(allUploads(), sent);
    }

    void aNewSignInReplacesTheOneBefore()
    {
        QCOMPARE(signIn(), 0);
        const QByteArray first = storedToken();
        QCOMPARE(signIn(), 0);
        const QByteArray second = storedToken();
        QVERIFY(!second.isEmpty() && second != first);
        QCOMPARE(m_keyring.search(QStringLiteral("authToken")).count(QStringLiteral("secret = ")),
                 1);
    }

    void aWrongPasswordIsSaid()
    {
        QCOMPARE(signIn(QStringLiteral("wrong")), 1);
        QVERIFY2(m_agent->complaints().contains(
                     QStringLiteral("Quillstep: The e-mail address or the password is wrong")),
                 qPrintable(m_agent->complaints()));
        QVERIFY(storedToken().isEmpty());
    }

    void aKeyringThatKeepsNothingIsSaid()
    {
        m_keyring.kill();
        QCOMPARE(signIn(), 1);
        QVERIFY2(
            m_agent->complaints().contains(QStringLiteral("the keyring did not keep the session")),
            qPrintable(m_agent->complaints()));
    }

    void thePasswordAndTheTokenStayWhereTheyBelong()
    {
        // A service that hangs keeps the process in the middle of its sign-in.
        QVERIFY(kill(static_cast<pid_t>(m_service.process().pid()), SIGSTOP) == 0);
        QVERIFY(start({QStringLiteral("--sign-in"), kEmail}, kPassword));
        const QString process = QStringLiteral("/proc/%1/").arg(m_agent->process().pid());
        QTRY_VERIFY_WITH_TIMEOUT(hasConnectionToService(), 20000);
        const QByteArray visible = contentOf(process + QStringLiteral("cmdline")) +
                                   contentOf(process + QStringLiteral("environ"));
        QVERIFY(visible.contains("--sign-in"));
        QVERIFY(kill(static_cast<pid_t>(m_service.process().pid()), SIGCONT) == 0);
        QCOMPARE(m_agent->waitForEnd(), 0);

        const QByteArray token = storedToken();
        QVERIFY(!token.isEmpty());
        const QByteArray written = contentBelow(m_desktop.home()) +
                                   m_agent->lines().join(u' ').toUtf8() +
                                   m_agent->complaints().toUtf8() + m_service.log().toUtf8();
        QVERIFY(written.contains("deviceId"));
        for (const QByteArray& secret : {kPassword.toUtf8(), token}) {
            QVERIFY(!visible.contains(secret));
            QVERIFY(!written.contains(secret));
        }
        QVERIFY(!written.contains(kEmail.toUtf8()));
    }
};

QUILLSTEP_TEST(TestAccountCommands)
#include "tst_account_commands.moc"
