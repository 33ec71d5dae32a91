// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// What is owed is on the disk before the machine sleeps, and the machine is not held up longer.
#include "backends/dbus/sleep_watch.h"
#include "tests/support/agent.h"
#include "tests/support/bus_daemon.h"
#include "tests/support/private_home.h"
#include "tests/support/required_programs.h"
#include "tests/support/signed_in_desktop.h"
#include "tests/support/test_program.h"
#include "tests/support/x11_test_window.h"

#include <QDBusConnection>
#include <QDBusUnixFileDescriptor>
#include <QTest>

#include <array>
#include <fcntl.h>
#include <memory>
#include <optional>
#include <poll.h>
#include <unistd.h>

using platform::dbus::SleepWatch;
using namespace Qt::StringLiterals;

namespace {

/// The login manager, as far as it is asked. The lock that it gives out is the one end of a pipe.
class LoginManager : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.login1.Manager")

public:
    ~LoginManager() override { forget(); }

    LoginManager() = default;

    QStringList asked;

    /// True while somebody holds the lock that was given out last.
    [[nodiscard]] bool isHeldUp() const
    {
        pollfd watched = {.fd = m_end, .events = 0, .revents = 0};
        return m_end >= 0 && ::poll(&watched, 1, 0) == 0;
    }

public Q_SLOTS:

    [[nodiscard]] QDBusUnixFileDescriptor
    Inhibit(const QString& what, const QString& who, const QString& why, const QString& mode)
    {
        asked = {what, who, why, mode};
        std::array<int, 2> ends = {};
        if (::pipe2(ends.data(), O_CLOEXEC) != 0)
            qFatal("no pipe");
        forget();
        m_end = ends[0];
        const QDBusUnixFileDescriptor given(ends[1]);
        ::close(ends[1]);
        return given;
    }

Q_SIGNALS:
    void PrepareForSleep(bool isComing);

private:
    void forget()
    {
        if (m_end >= 0)
            ::close(m_end);
        m_end = -1;
    }

    int m_end = -1;
};

} // namespace

class TestSleepWatch final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        REQUIRE_PROGRAMS(support::SignedInDesktop::programs());
        QVERIFY(m_home.create());
        QVERIFY(m_daemon.start(m_home.filePath(u"bus"_s), m_home.environment()));
    }

    void init()
    {
        m_peer = std::make_unique<QDBusConnection>(
            QDBusConnection::connectToBus(m_daemon.address(), u"peer"_s));
        m_own = std::make_unique<QDBusConnection>(
            QDBusConnection::connectToBus(m_daemon.address(), u"own"_s));
        QVERIFY(m_peer->isConnected() && m_own->isConnected());
        m_done = {};
    }

    void cleanup()
    {
        QDBusConnection::disconnectFromBus(u"peer"_s);
        QDBusConnection::disconnectFromBus(u"own"_s);
    }

    void theMachineWaitsUntilThePreparationIsDoneAndNoLonger()
    {
        LoginManager manager;
        offer(manager);
        const SleepWatch watch(*m_own, u"me"_s, u"to save"_s, preparation());
        QTRY_VERIFY(manager.isHeldUp());
        QCOMPARE(manager.asked, QStringList({u"sleep"_s, u"me"_s, u"to save"_s, u"delay"_s}));
        Q_EMIT manager.PrepareForSleep(true);
        QTRY_VERIFY(m_done);
        QVERIFY(manager.isHeldUp());
        m_done();
        QTRY_VERIFY(!manager.isHeldUp());
        // The next time, too.
        Q_EMIT manager.PrepareForSleep(false);
        QTRY_VERIFY(manager.isHeldUp());
        m_done = {};
        Q_EMIT manager.PrepareForSleep(true);
        QTRY_VERIFY(m_done);
        m_done();
        QTRY_VERIFY(!manager.isHeldUp());
    }

    void aLoginManagerThatComesLaterIsAskedToo()
    {
        const SleepWatch watch(*m_own, u"me"_s, u"to save"_s, preparation());
        LoginManager manager;
        offer(manager);
        QTRY_VERIFY(manager.isHeldUp());
    }

    void theEndOfTheProgramHoldsNothingUp()
    {
        LoginManager manager;
        offer(manager);
        {
            const SleepWatch watch(*m_own, u"me"_s, u"to save"_s, preparation());
            QTRY_VERIFY(manager.isHeldUp());
            Q_EMIT manager.PrepareForSleep(true);
            QTRY_VERIFY(m_done);
        }
        QTRY_VERIFY(!manager.isHeldUp());
        m_done(); // too late, and no harm
    }

    void withoutASystemBusNothingHappens()
    {
        const QDBusConnection none(u"none"_s);
        const SleepWatch watch(none, u"me"_s, u"to save"_s, preparation());
        QVERIFY(!m_done);
    }

    void theAgentHoldsTheMachineUpAndLetsItGo()
    {
        LoginManager manager;
        offer(manager);
        support::SignedInDesktop desktop;
        QVERIFY(bool(desktop.start()));
        support::X11TestWindow window(desktop.x11().display());
        window.setClass("editor", "Editor");
        window.setTitle(u"notes"_s);
        QVERIFY(window.showAndFocus());
        QProcessEnvironment environment = desktop.environment();
        environment.insert(u"DBUS_SYSTEM_BUS_ADDRESS"_s, m_daemon.address());
        support::Agent agent(environment);
        QVERIFY(bool(desktop.startTracking(agent)));
        QTRY_VERIFY_WITH_TIMEOUT(manager.isHeldUp(), 20000);
        for (int night = 0; night < 2; ++night) {
            QVERIFY(agent.nextLine()); // there is something to flush
            Q_EMIT manager.PrepareForSleep(true);
            QTRY_VERIFY(!manager.isHeldUp());
            Q_EMIT manager.PrepareForSleep(false);
            QTRY_VERIFY(manager.isHeldUp());
        }
        QCOMPARE(agent.end(), std::optional(0));
        QVERIFY(!manager.isHeldUp());
    }

private:
    void offer(LoginManager& manager)
    {
        QVERIFY(m_peer->registerObject(
            u"/org/freedesktop/login1"_s, &manager, QDBusConnection::ExportAllContents));
        QVERIFY(m_peer->registerService(u"org.freedesktop.login1"_s));
    }

    [[nodiscard]] SleepWatch::Preparation preparation()
    {
        return [this](std::function<void()> done) {
            m_done = std::move(done);
        };
    }

    support::PrivateHome m_home;
    support::BusDaemon m_daemon;
    std::unique_ptr<QDBusConnection> m_peer;
    std::unique_ptr<QDBusConnection> m_own;
    std::function<void()> m_done;
};

QUILLSTEP_TEST(TestSleepWatch)
#include "tst_sleep_watch.moc"
