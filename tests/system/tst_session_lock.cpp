// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/desktops/choice/session_lock.h"
#include "tests/support/bus_daemon.h"
#include "tests/support/private_home.h"
#include "tests/support/required_programs.h"
#include "tests/support/test_program.h"

#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;
using platform::desktop::SessionLock;

namespace {

/// A screen saver as desktops have it.
class ScreenSaver : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.gnome.ScreenSaver")

public:
    void setActive(bool value)
    {
        isActive = value;
        Q_EMIT ActiveChanged(value);
    }

    bool isActive = false;

public Q_SLOTS:

    [[nodiscard]] bool GetActive() const { return isActive; }

Q_SIGNALS:
    void ActiveChanged(bool active);
};

/// The login manager, as far as it is asked.
class LoginManager : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.login1.Manager")

public Q_SLOTS:

    [[nodiscard]] static QDBusObjectPath GetSession(const QString& id)
    {
        return QDBusObjectPath(u"/org/freedesktop/login1/session/"_s + id);
    }

    [[nodiscard]] static QDBusObjectPath GetSessionByPID(uint /*pid*/)
    {
        return QDBusObjectPath(u"/org/freedesktop/login1/session/own"_s);
    }
};

class LoginSession : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.login1.Session")
    Q_PROPERTY(bool LockedHint MEMBER isLocked)

public:
    bool isLocked = false;
};

const QString kSessionPath = u"/org/freedesktop/login1/session/own"_s;

} // namespace

class TestSessionLock final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        REQUIRE_PROGRAMS(QStringList{u"dbus-daemon"_s});
        qunsetenv("XDG_SESSION_ID");
        QVERIFY(m_home.create());
        QVERIFY(m_daemon.start(m_home.filePath(u"bus"_s), m_home.environment()));
    }

    void init()
    {
        m_peer = std::make_unique<QDBusConnection>(connection(u"peer"_s));
        m_own = std::make_unique<QDBusConnection>(connection(u"own"_s));
        QVERIFY(m_peer->isConnected() && m_own->isConnected());
    }

    void cleanup()
    {
        QDBusConnection::disconnectFromBus(u"peer"_s);
        QDBusConnection::disconnectFromBus(u"own"_s);
    }

    void whereNobodyTellsTheSessionIsNotLocked()
    {
        const SessionLock lock(*m_own, *m_own);
        QVERIFY(!lock.isLocked());
        const QDBusConnection none(u"none"_s);
        const SessionLock unconnected(none, none);
        QVERIFY(!unconnected.isLocked());
    }

    void theScreenSaverIsFollowed()
    {
        ScreenSaver saver;
        QVERIFY(offer(saver, u"/org/gnome/ScreenSaver"_s, u"org.gnome.ScreenSaver"_s));
        const SessionLock lock(*m_own, *m_own);
        saver.setActive(true);
        QTRY_VERIFY(lock.isLocked());
        saver.setActive(false);
        QTRY_VERIFY(!lock.isLocked());
    }

    void oneThatIsActiveAlreadyIsNoticed()
    {
        ScreenSaver saver;
        saver.isActive = true;
        QVERIFY(offer(saver, u"/org/gnome/ScreenSaver"_s, u"org.gnome.ScreenSaver"_s));
        const SessionLock lock(*m_own, *m_own);
        QTRY_VERIFY(lock.isLocked());
    }

    void oneThatComesLaterIsNoticedAndForgottenWhenItGoes()
    {
        const SessionLock lock(*m_own, *m_own);
        ScreenSaver saver;
        saver.isActive = true;
        QVERIFY(offer(saver, u"/org/gnome/ScreenSaver"_s, u"org.gnome.ScreenSaver"_s));
        QTRY_VERIFY(lock.isLocked());
        QDBusConnection::disconnectFromBus(u"peer"_s);
        *m_peer = QDBusConnection(u"gone"_s);
        QTRY_VERIFY(!lock.isLocked());
    }

    void othersCannotLock()
    {
        ScreenSaver saver;
        QVERIFY(offer(saver, u"/org/gnome/ScreenSaver"_s, u"org.gnome.ScreenSaver"_s));
        const SessionLock lock(*m_own, *m_own);
        QDBusConnection stranger = connection(u"stranger"_s);
        auto signal = QDBusMessage::createSignal(
            u"/org/gnome/ScreenSaver"_s, u"org.gnome.ScreenSaver"_s, u"ActiveChanged"_s);
        QVERIFY(stranger.send(signal << true));
        // The bus keeps the order of what the saver says after the stranger has been heard.
        QVERIFY(stranger.call(ping()).type() == QDBusMessage::ReplyMessage);
        int changes = 0;
        connect(&lock, &SessionLock::changed, this, [&changes] { ++changes; });
        saver.setActive(true);
        QTRY_VERIFY(lock.isLocked());
        QCOMPARE(changes, 1);
        QDBusConnection::disconnectFromBus(u"stranger"_s);
    }

    void theLoginManagersHintCounts()
    {
        LoginManager manager;
        LoginSession session;
        QVERIFY(offer(session, kSessionPath, u"org.freedesktop.login1"_s));
        QVERIFY(m_peer->registerObject(
            u"/org/freedesktop/login1"_s, &manager, QDBusConnection::ExportAllSlots));
        session.isLocked = true;
        const SessionLock lock(*m_own, *m_own);
        QTRY_VERIFY(lock.isLocked());
        tell(false);
        QTRY_VERIFY(!lock.isLocked());
        tell(true);
        QTRY_VERIFY(lock.isLocked());
    }

private:
    [[nodiscard]] QDBusConnection connection(const QString& name) const
    {
        return QDBusConnection::connectToBus(m_daemon.address(), name);
    }

    [[nodiscard]] bool offer(QObject& object, const QString& path, const QString& service)
    {
        return m_peer->registerObject(path, &object, QDBusConnection::ExportAllContents) &&
               m_peer->registerService(service);
    }

    void tell(bool isLocked)
    {
        auto signal = QDBusMessage::createSignal(
            kSessionPath, u"org.freedesktop.DBus.Properties"_s, u"PropertiesChanged"_s);
        signal << u"org.freedesktop.login1.Session"_s << QVariantMap{{u"LockedHint"_s, isLocked}}
               << QStringList();
        QVERIFY(m_peer->send(signal));
    }

    [[nodiscard]] static QDBusMessage ping()
    {
        return QDBusMessage::createMethodCall(u"org.freedesktop.DBus"_s,
                                              u"/org/freedesktop/DBus"_s,
                                              u"org.freedesktop.DBus.Peer"_s,
                                              u"Ping"_s);
    }

    support::PrivateHome m_home;
    support::BusDaemon m_daemon;
    std::unique_ptr<QDBusConnection> m_peer;
    std::unique_ptr<QDBusConnection> m_own;
};

QUILLSTEP_TEST(TestSessionLock)
#include "tst_session_lock.moc"
