// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/desktops/gnome/mutter_idle_time.h"
#include "tests/support/headless_gnome.h"
#include "tests/support/required_programs.h"
#include "tests/support/test_program.h"
#include "tests/system/verify_outcome.h"

#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <cmath>
#include <memory>

using namespace Qt::StringLiterals;
using platform::desktop::Presence;
using platform::gnome::MutterIdleTime;
using support::HeadlessGnome;

class TestGnomeIdle final : public QObject
{
    Q_OBJECT
private Q_SLOTS:

    void initTestCase()
    {
        REQUIRE_PROGRAMS(m_session.programs() << u"dbus-monitor"_s);
        VERIFY_OUTCOME(m_session.start());
    }

    void init()
    {
        // But for what Qt says when a name changes hands while it asks for its owner.
        QTest::failOnWarning(QRegularExpression(u"^(?!QDBusConnection: name )"_s));
        m_bus = std::make_unique<QDBusConnection>(
            QDBusConnection::connectToBus(m_session.busAddress(), kConnection));
        QVERIFY(m_bus->isConnected());
        m_source = std::make_unique<MutterIdleTime>(*m_bus);
        QTRY_COMPARE(m_source->presence(), Presence::Here);
    }

    void cleanup()
    {
        m_source.reset();
        m_bus.reset();
        QDBusConnection::disconnectFromBus(kConnection);
    }

    void whatIsNotKnownIsNotANumber()
    {
        MutterIdleTime source(*m_bus);
        QCOMPARE(source.presence(), Presence::Asking);
        QVERIFY(std::isnan(source.secondsSinceLastInput()));
        QTRY_COMPARE(source.presence(), Presence::Here);
    }

    void itAgreesWithMutter()
    {
        for (int round = 0; round < 3; ++round) {
            VERIFY_OUTCOME(m_session.makeInput());
            QTRY_VERIFY(m_source->secondsSinceLastInput() < 0.3);
            double worst = 0;
            // Until a second has passed the answer is 0.
            for (const int seconds : {1, 2, 3}) {
                QTRY_VERIFY(m_source->secondsSinceLastInput() > seconds);
                worst = std::max(worst, difference());
            }
            qInfo("the error is at most %.0f ms", worst * 1e3);
            QVERIFY(worst < 0.8);
        }
    }

    void aSourceThatComesLaterAgreesToo()
    {
        VERIFY_OUTCOME(m_session.makeInput());
        QTRY_VERIFY(m_source->secondsSinceLastInput() < 0.3);
        QTRY_VERIFY(m_source->secondsSinceLastInput() > 2);
        MutterIdleTime source(*m_bus);
        QTRY_COMPARE(source.presence(), Presence::Here);
        QVERIFY(source.secondsSinceLastInput() >= 2);
        QVERIFY(std::abs(source.secondsSinceLastInput() - m_source->secondsSinceLastInput()) < 0.8);
        VERIFY_OUTCOME(m_session.makeInput());
        QTRY_VERIFY(source.secondsSinceLastInput() < 0.3);
    }

    void whileTheUserIsActiveTheErrorIsLessThanASecond()
    {
        for (int i = 0; i < 20; ++i) {
            VERIFY_OUTCOME(m_session.makeInput());
            QVERIFY(difference() < 1.3);
        }
    }

    void whileNothingChangesNothingIsSent()
    {
        VERIFY_OUTCOME(m_session.makeInput());
        QTRY_VERIFY(m_source->secondsSinceLastInput() < 0.3);
        QTRY_VERIFY(m_source->secondsSinceLastInput() > 2);
        support::ChildProcess monitor;
        const QString name = m_bus->baseService();
        VERIFY_OUTCOME(monitor.start(
            u"dbus-monitor"_s,
            {u"--profile"_s, u"sender='%1'"_s.arg(name), u"destination='%1'"_s.arg(name)},
            m_session.environment()));
        QByteArray seen;
        const auto isSeen = [&](const char* what) {
            seen += monitor.process().readAllStandardOutput();
            return seen.contains(what);
        };
        // The monitor is there when it sees us.
        const QDBusMessage ping = QDBusMessage::createMethodCall(u"org.freedesktop.DBus"_s,
                                                                 u"/org/freedesktop/DBus"_s,
                                                                 u"org.freedesktop.DBus.Peer"_s,
                                                                 u"Ping"_s);
        const auto isThere = [&] {
            return m_bus->send(ping) && isSeen("Ping");
        };
        QTRY_VERIFY(isThere());
        QTRY_VERIFY_WITH_TIMEOUT(m_source->secondsSinceLastInput() > 6, 10000);
        QVERIFY(!isSeen("org.gnome.Mutter.IdleMonitor"));
        VERIFY_OUTCOME(m_session.makeInput());
        QTRY_VERIFY(isSeen("WatchFired"));
    }

    void aHangingShellIsFoundAgain()
    {
        m_session.pauseShell();
        m_source = std::make_unique<MutterIdleTime>(*m_bus);
        QTRY_COMPARE_WITH_TIMEOUT(m_source->presence(), Presence::Absent, 15000);
        QVERIFY(std::isnan(m_source->secondsSinceLastInput()));
        m_session.resumeShell();
        QTRY_COMPARE_WITH_TIMEOUT(m_source->presence(), Presence::Here, 20000);
        VERIFY_OUTCOME(m_session.makeInput());
        QTRY_VERIFY(m_source->secondsSinceLastInput() < 0.3);
    }

    void afterACrashOfTheShellTheNextOneIsAsked()
    {
        VERIFY_OUTCOME(m_session.makeInput());
        QTRY_VERIFY(m_source->secondsSinceLastInput() < 0.3);
        QTRY_VERIFY(m_source->secondsSinceLastInput() > 1);
        m_session.killDisplay();
        QTRY_COMPARE(m_source->presence(), Presence::Absent);
        QVERIFY(std::isnan(m_source->secondsSinceLastInput()));
        VERIFY_OUTCOME(m_session.startShell());
        QTRY_COMPARE(m_source->presence(), Presence::Here);
        VERIFY_OUTCOME(m_session.makeInput());
        QTRY_VERIFY(m_source->secondsSinceLastInput() < 0.3);
        QTRY_VERIFY(m_source->secondsSinceLastInput() > 1);
        QVERIFY(difference() < 0.8);
    }

    void withoutMutterItIsAbsent()
    {
        const QTemporaryDir folder;
        support::BusDaemon daemon;
        VERIFY_OUTCOME(
            daemon.start(folder.filePath(u"bus"_s), QProcessEnvironment::systemEnvironment()));
        const QString connection = u"elsewhere"_s;
        {
            MutterIdleTime source(QDBusConnection::connectToBus(daemon.address(), connection));
            QTRY_COMPARE(source.presence(), Presence::Absent);
            QVERIFY(std::isnan(source.secondsSinceLastInput()));
        }
        QDBusConnection::disconnectFromBus(connection);
    }

private:
    /// How far the source is from what Mutter says, in seconds.
    [[nodiscard]] double difference()
    {
        const double before = m_source->secondsSinceLastInput();
        const double mutter = static_cast<double>(m_session.idleMilliseconds()) / 1e3;
        const double after = m_source->secondsSinceLastInput();
        // The question takes time: what Mutter says may be any moment of it.
        return std::max({0.0, before - mutter, mutter - after});
    }

    const QString kConnection = QStringLiteral("program");
    HeadlessGnome m_session;
    std::unique_ptr<QDBusConnection> m_bus;
    std::unique_ptr<MutterIdleTime> m_source;
};

QUILLSTEP_TEST(TestGnomeIdle)
#include "tst_gnome_idle.moc"
