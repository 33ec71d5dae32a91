// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/kwin/kwin_lock.h"
#include "tests/support/headless_kwin.h"
#include "tests/support/required_programs.h"
#include "tests/support/test_window.h"
#include "tests/system/kwin_observer.h"

#include <QDBusMessage>
#include <QRegularExpression>
#include <QTest>

using namespace Qt::StringLiterals;
using platform::kwin::KWinLock;
using support::HeadlessKWin;
using support::TestWindow;

namespace {

/// Somebody on the bus who locks nothing but may say so.
class Locker final : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.ScreenSaver")
public:
    Locker(const QString& address, const QString& name)
        : m_name(name)
        , bus(QDBusConnection::connectToBus(address, name))
    {
        bus.registerObject(
            u"/org/freedesktop/ScreenSaver"_s, this, QDBusConnection::ExportAllContents);
    }

    Locker(const Locker&) = delete;
    Locker& operator=(const Locker&) = delete;

    ~Locker() override
    {
        bus = QDBusConnection(QString());
        QDBusConnection::disconnectFromBus(m_name);
    }

    Q_SLOT bool GetActive() const { return isLocked; } // NOLINT: the interface's name

    void change(bool toLocked)
    {
        isLocked = toLocked;
        Q_EMIT ActiveChanged(isLocked);
    }

    bool isLocked = false;

Q_SIGNALS:
    void ActiveChanged(bool isLocked);

private:
    QString m_name;

public:
    QDBusConnection bus;
};

} // namespace

class TestKWinLock final : public QObject
{
    Q_OBJECT
private Q_SLOTS:

    void initTestCase()
    {
        REQUIRE_PROGRAMS(m_session.programs() + TestWindow::programs());
        VERIFY_OUTCOME(m_session.start());
    }

    void init()
    { // But for what Qt says when a name changes hands while it asks for its owner.
        QTest::failOnWarning(QRegularExpression(u"^(?!QDBusConnection: name )"_s));
    }

    void aStateThatIsThereBeforeIsLearnt()
    {
        Locker locker(m_session.busAddress(), u"locker"_s);
        locker.isLocked = true;
        KWinLock lock(m_session.scripts().bus());
        QVERIFY(!lock.isLocked());
        lock.follow(locker.bus.baseService());
        QTRY_VERIFY(lock.isLocked());
    }

    void changesAreFollowed()
    {
        Locker locker(m_session.busAddress(), u"locker"_s);
        KWinLock lock(m_session.scripts().bus());
        lock.follow(locker.bus.baseService());
        for (int i = 0; i < 3; ++i) {
            locker.change(true);
            QTRY_VERIFY(lock.isLocked());
            locker.change(false);
            QTRY_VERIFY(!lock.isLocked());
        }
    }

    void whoIsNotFollowedIsNotHeard()
    {
        Locker locker(m_session.busAddress(), u"locker"_s);
        Locker stranger(m_session.busAddress(), u"stranger"_s);
        KWinLock lock(m_session.scripts().bus());
        lock.follow(locker.bus.baseService());
        locker.change(true);
        QTRY_VERIFY(lock.isLocked());
        stranger.change(false);
        // The bus keeps the order of what one sender says, not of several: the stranger's answer
        // comes after its signal.
        static_cast<void>(m_session.scripts().bus().call(
            QDBusMessage::createMethodCall(stranger.bus.baseService(),
                                           u"/org/freedesktop/ScreenSaver"_s,
                                           u"org.freedesktop.ScreenSaver"_s,
                                           u"GetActive"_s),
            QDBus::BlockWithGui));
        QCoreApplication::processEvents();
        QVERIFY(lock.isLocked());
        lock.follow(QString());
        QVERIFY(!lock.isLocked());
    }

    // Last: there is nobody to unlock it.
    void onALockedScreenNothingIsInFront()
    {
        KWinObserver observer(m_session.busAddress());
        TestWindow window;
        VERIFY_OUTCOME(window.open(m_session.environment(), u"one"_s, u"First"_s));
        QTRY_COMPARE(observer.identifier(), u"one"_s);
        // Answers when it is locked, or never: the screen is drawn first.
        m_session.scripts().bus().send(
            QDBusMessage::createMethodCall(u"org.freedesktop.ScreenSaver"_s,
                                           u"/org/freedesktop/ScreenSaver"_s,
                                           u"org.freedesktop.ScreenSaver"_s,
                                           u"Lock"_s));
        QTRY_COMPARE_WITH_TIMEOUT(observer.identifier(), u"(none)"_s, 20000);
        QVERIFY(observer.isHere());
        QVERIFY(window.pid() != 0);
        const KWinObserver later(m_session.busAddress());
        QTRY_VERIFY(later.isHere());
        QTRY_COMPARE(later.identifier(), u"(none)"_s);
    }

private:
    HeadlessKWin m_session{HeadlessKWin::Extra::LockScreen};
};

QTEST_GUILESS_MAIN(TestKWinLock)
#include "tst_kwin_lock.moc"
