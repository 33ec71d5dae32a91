// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/posix/file_descriptor.h"
#include "tests/support/allocated_memory.h"
#include "tests/support/child_process.h"
#include "tests/support/test_program.h"
#include "tests/system/wayland_observer.h"

#include <QElapsedTimer>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <sys/socket.h>
#include <sys/un.h>
#include <wayland-client.h>

using namespace Qt::StringLiterals;
using platform::desktop::FrontWindow;
using platform::desktop::FrontWindowSource;
using platform::desktop::IdleSource;
using platform::desktop::Presence;
using platform::wayland::WaylandConnection;
using platform::wayland::WaylandDisplay;
using platform::wayland::WaylandIdleTime;

class TestWaylandProtocols final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void init()
    {
        QTest::failOnWarning(QRegularExpression(u".*"_s));
        m_folder = std::make_unique<QTemporaryDir>();
        m_compositor = std::make_unique<support::ChildProcess>();
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"XDG_RUNTIME_DIR"_s, m_folder->path());
        QVERIFY(m_compositor->start(
            QStringLiteral(FAKE_COMPOSITOR_EXECUTABLE), {u"wayland-9"_s}, environment));
        QCOMPARE(answer(), QByteArray("done"));
    }

    void cleanup()
    {
        m_observer.reset();
        m_compositor.reset();
        m_folder.reset();
    }

    void everyVersionOfTheWindowListIsUnderstood_data()
    {
        QTest::addColumn<int>("offered");
        QTest::addColumn<int>("bound");
        QTest::newRow("1") << 1 << 1;
        QTest::newRow("2") << 2 << 2;
        QTest::newRow("3") << 3 << 3;
    }

    void everyVersionOfTheWindowListIsUnderstood()
    {
        QFETCH(const int, offered);
        QFETCH(const int, bound);
        order("add m manager " + QByteArray::number(offered));
        observe();
        QCOMPARE(m_observer->windows.presence(), Presence::Here);
        openWindow("a", "one", "First", "0 2 3");
        QTRY_COMPARE(frontTitle(), u"First"_s);
        QCOMPARE(front()->identifiers, QStringList{u"one"_s});
        QCOMPARE(report(), "bind zwlr_foreign_toplevel_manager_v1 " + QByteArray::number(bound));
    }

    void nothingCountsBeforeItIsComplete()
    {
        order("add m manager 3");
        observe();
        order("open a");
        order("state a 2");
        order("title a Early");
        settleEvents();
        QVERIFY(!front());
        order("settled a");
        QTRY_COMPARE(frontTitle(), u"Early"_s);
        QVERIFY(front()->identifiers.isEmpty());
        order("title a Later");
        order("state a");
        settleEvents();
        QCOMPARE(frontTitle(), u"Early"_s);
        order("settled a");
        QTRY_VERIFY(!front());
    }

    void ofSeveralInFrontItIsTheLastOne()
    {
        order("add m manager 3");
        observe();
        openWindow("a", "one", "First", "2");
        openWindow("b", "two", "Second", "2");
        QTRY_COMPARE(frontTitle(), u"Second"_s);
        order("closed b");
        QTRY_COMPARE(frontTitle(), u"First"_s);
        order("closed a");
        QTRY_VERIFY(!front());
    }

    void aTitleMayBeAnything()
    {
        order("add m manager 3");
        observe();
        openWindow("a", "one", "\xEF\xBB\xBFmarked", "2");
        QTRY_COMPARE(frontTitle(), u"\uFEFFmarked"_s);
        order("title a \xff\xfe broken");
        order("settled a");
        QTRY_COMPARE(frontTitle(), u"\uFFFD\uFFFD broken"_s);
        order("title a " + QByteArray(4000, 'x'));
        order("app a " + QByteArray(1025, 'x'));
        order("settled a");
        QTRY_COMPARE(frontTitle(), QString(4000, u'x'));
        QVERIFY(front()->identifiers.isEmpty());
    }

    /// A compositor hangs up on whom it can no longer tell, which is after 25 of these.
    void aFloodOfLongTitlesIsBorne()
    {
        order("add m manager 3");
        observe();
        openWindow("a", "one", "First", "2");
        QTRY_COMPARE(frontTitle(), u"First"_s);
        const std::size_t before = support::allocatedMemory();
        const QByteArray title = "title a " + QByteArray(4000, 'x') + ' ';
        qint64 sent = 0;
        QByteArray answers;
        QTimer pace;
        pace.setTimerType(Qt::PreciseTimer);
        connect(&pace, &QTimer::timeout, &pace, [&] {
            // Two hundred a second, and no burst after somebody had to wait for a processor.
            answers += m_compositor->process().readAll();
            if (sent < 2000 && answers.count("done") >= 2 * (sent - 4))
                m_compositor->process().write(title + QByteArray::number(++sent) + "\nsettled a\n");
        });
        pace.start(5);
        QTRY_COMPARE_WITH_TIMEOUT(sent, 2000, 120000);
        pace.stop();
        QTRY_VERIFY(frontTitle().endsWith(u"x 2000"));
        QVERIFY(m_observer->connection->isAlive());
        QTRY_COMPARE((answers += m_compositor->process().readAll()).count("done"), 4000);
        const auto grown = qint64(support::allocatedMemory()) - qint64(before);
        QVERIFY2(grown < 1000000, qPrintable(QString::number(grown))); // of 8 million
    }

    void thousandsOfWindowsAreBorne()
    {
        order("add m manager 3");
        observe();
        openWindow("a", "one", "First", "2");
        order("open many 6000");
        QTRY_COMPARE(frontTitle(), u"First"_s);
        order("closed many");
        order("title a Still here");
        order("settled a");
        QTRY_COMPARE(frontTitle(), u"Still here"_s);
        QVERIFY(m_observer->connection->isAlive());
    }

    void aListThatEndsReturnsWhenItIsAnnouncedAgain()
    {
        order("add m manager 3");
        observe();
        openWindow("a", "one", "First", "2");
        QTRY_COMPARE(frontTitle(), u"First"_s);
        const std::uint64_t number = front()->window;
        QSignalSpy changes(&m_observer->windows, &FrontWindowSource::presenceChanged);
        order("finished");
        QTRY_COMPARE(m_observer->windows.presence(), Presence::Absent);
        QVERIFY(!front());
        order("add other output 1"); // no reason to ask a list that has ended
        settleEvents();
        QCOMPARE(m_observer->windows.presence(), Presence::Absent);
        order("remove m");
        order("add m manager 2");
        QTRY_COMPARE(m_observer->windows.presence(), Presence::Here);
        QCOMPARE(changes.count(), 2);
        // The compositor sees it a moment later.
        QTRY_VERIFY(report().endsWith("bind zwlr_foreign_toplevel_manager_v1 2"));
        openWindow("b", "one", "Second", "2");
        QTRY_COMPARE(frontTitle(), u"Second"_s);
        QVERIFY(front()->window != number);
    }

    void aListThatVanishesAndComesLaterIsUsed()
    {
        observe();
        QCOMPARE(m_observer->windows.presence(), Presence::Absent);
        QVERIFY(!front());
        order("add m manager 3");
        QTRY_COMPARE(m_observer->windows.presence(), Presence::Here);
        settleEvents();
        openWindow("a", "one", "First", "2");
        QTRY_COMPARE(frontTitle(), u"First"_s);
        order("remove m");
        QTRY_COMPARE(m_observer->windows.presence(), Presence::Absent);
        QVERIFY(!front());
        // What was on its way is told to nobody.
        order("title a Second");
        order("settled a");
        settleEvents();
        QVERIFY(!front());
        QTRY_VERIFY(report().endsWith("stop"));
    }

    void theBestIdleProtocolIsUsed_data()
    {
        QTest::addColumn<QByteArrayList>("offers");
        QTest::addColumn<QByteArray>("asked");
        QTest::addColumn<QString>("name");
        const QString ext = u"ext_idle_notifier_v1, version "_s;
        QTest::newRow("version 2 tells of input")
            << QByteArrayList{"add n notifier 2"} << QByteArray("input 1000") << ext + u'2';
        QTest::newRow("version 1")
            << QByteArrayList{"add n notifier 1"} << QByteArray("idle 1000") << ext + u'1';
        QTest::newRow("KDE's") << QByteArrayList{"add k kde 1"} << QByteArray("kde 1000")
                               << u"org_kde_kwin_idle, version 1"_s;
        QTest::newRow("both") << QByteArrayList{"add k kde 1", "add n notifier 1"}
                              << QByteArray("idle 1000") << ext + u'1';
    }

    void theBestIdleProtocolIsUsed()
    {
        QFETCH(const QByteArrayList, offers);
        QFETCH(const QByteArray, asked);
        QFETCH(const QString, name);
        order("add s seat 7");
        for (const QByteArray& offer : offers)
            order(offer);
        m_observer = WaylandObserver::on(display(), {});
        QVERIFY(m_observer && std::isnan(idle())); // for a second, unless something is told
        settleEvents();
        QCOMPARE(m_observer->idleTime.presence(), Presence::Here);
        QCOMPARE(m_observer->idleTime.name(), name);
        QTRY_VERIFY(report().endsWith(asked));
        order("idled");
        QTRY_VERIFY(idle() >= 1);
        QVERIFY(idle() < 10);
        order("resumed");
        QTRY_COMPARE(idle(), 0.0);
        order("resumed");
        order("idled");
        QTRY_VERIFY(idle() >= 1);
    }

    void withoutASeatIdleTimeIsUnknown()
    {
        order("add n notifier 2");
        observe();
        QCOMPARE(m_observer->idleTime.presence(), Presence::Absent);
        QVERIFY(std::isnan(idle()));
        QSignalSpy changes(&m_observer->idleTime, &IdleSource::presenceChanged);
        order("add s seat 1");
        QTRY_COMPARE(m_observer->idleTime.presence(), Presence::Here);
        QTRY_VERIFY(report().endsWith("input 1000"));
        order("idled");
        QTRY_VERIFY(idle() >= 1);
        order("remove s");
        QTRY_COMPARE(m_observer->idleTime.presence(), Presence::Absent);
        QVERIFY(std::isnan(idle()));
        order("idled");
        settleEvents();
        QVERIFY(std::isnan(idle()));
        order("add s seat 5");
        QTRY_COMPARE(m_observer->idleTime.presence(), Presence::Here);
        QTRY_COMPARE(report().count("input 1000"), 2);
        QCOMPARE(changes.count(), 3);
    }

    void aBetterIdleProtocolThatComesLaterIsTaken()
    {
        order("add s seat 1");
        order("add k kde 1");
        observe();
        QTRY_VERIFY(report().endsWith("kde 1000"));
        order("idled");
        QTRY_VERIFY(idle() >= 1);
        order("add n notifier 2");
        QTRY_VERIFY(report().endsWith("input 1000"));
        QCOMPARE(m_observer->idleTime.name(), u"ext_idle_notifier_v1, version 2"_s);
        QVERIFY(!(idle() >= 1));
    }

    void aBreachOfTheProtocolIsALoss()
    {
        order("add m manager 3");
        order("add s seat 1");
        order("add n notifier 2");
        observe();
        QTRY_VERIFY(report().endsWith("input 1000"));
        QSignalSpy lost(m_observer->connection.get(), &WaylandConnection::lost);
        order("break");
        QTRY_COMPARE(lost.count(), 1);
        QVERIFY(!m_observer->connection->isAlive());
        QVERIFY(!front());
        QVERIFY(std::isnan(idle()));
        QCOMPARE(m_observer->idleTime.presence(), Presence::Absent);
        QVERIFY(WaylandConnection::check(display()));
    }

    void aCompositorThatHangsAtTheStartIsGivenUp()
    {
        QVERIFY(WaylandConnection::check(display()));
        signalCompositor(SIGSTOP);
        QElapsedTimer timer;
        timer.start();
        const auto opened = WaylandConnection::open(display(), kPatience);
        QVERIFY(!opened);
        QCOMPARE(opened.error().text,
                 u"cannot connect to the Wayland display %1: it does not answer"_s.arg(display()));
        QVERIFY2(timer.elapsed() >= 900 && timer.elapsed() < 20000,
                 qPrintable(QString::number(timer.elapsed())));
        signalCompositor(SIGCONT);
        QVERIFY(WaylandConnection::check(display()));
    }

    void aSocketThatNobodyAcceptsOnIsGivenUp()
    {
        const QByteArray path = m_folder->filePath(u"full"_s).toLocal8Bit();
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::ranges::copy(path, address.sun_path);
        const platform::posix::FileDescriptor server(::socket(AF_UNIX, SOCK_STREAM, 0));
        QCOMPARE(::bind(server.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address),
                 0);
        QCOMPARE(::listen(server.get(), 0), 0);
        // The first is let in, though nobody looks at it; there is no place for another one.
        QVERIFY(!WaylandConnection::check(QString::fromLocal8Bit(path), kPatience));
        QElapsedTimer timer;
        timer.start();
        QVERIFY(!WaylandConnection::check(QString::fromLocal8Bit(path), kPatience));
        QVERIFY(timer.elapsed() < 20000);
    }

    void whatTheSocketDoesNotTakeIsSentLater()
    {
        auto connected = WaylandDisplay::connectTo(display(), QDeadlineTimer(2000));
        QVERIFY(connected);
        const auto waylandDisplay = std::move(connected).value();
        signalCompositor(SIGSTOP);
        std::vector<wl_callback*> callbacks;
        while (waylandDisplay->flush() == WaylandDisplay::Sent::All)
            callbacks.push_back(wl_display_sync(waylandDisplay->get()));
        QCOMPARE(waylandDisplay->flush(), WaylandDisplay::Sent::Partly);
        signalCompositor(SIGCONT);
        QVERIFY(waylandDisplay->roundTrip(QDeadlineTimer(20000)));
        QCOMPARE(waylandDisplay->flush(), WaylandDisplay::Sent::All);
        for (wl_callback* const callback : callbacks)
            wl_callback_destroy(callback);
    }

    void aCompositorThatReadsNoMoreIsGivenUpWithoutWaiting()
    {
        order("add s seat 1");
        order("add n notifier 2");
        observe();
        QSignalSpy lost(m_observer->connection.get(), &WaylandConnection::lost);
        signalCompositor(SIGSTOP);
        for (int i = 0; i < 100000 && m_observer->connection->isAlive(); ++i)
            const WaylandIdleTime another(*m_observer->connection);
        QVERIFY(!m_observer->connection->isAlive());
        QTRY_COMPARE(lost.count(), 1);
        signalCompositor(SIGCONT);
    }

    void theReasonOfAFailureIsNamed()
    {
        const QString missing = m_folder->filePath(u"wayland-8"_s);
        const auto opened = WaylandConnection::open(missing);
        QVERIFY(!opened);
        QCOMPARE(
            opened.error().text,
            u"cannot connect to the Wayland display %1: No such file or directory"_s.arg(missing));
        QVERIFY(!WaylandConnection::check(missing));
        QVERIFY(!WaylandConnection::check(QString(500, u'x')));
        qunsetenv("WAYLAND_DISPLAY");
        QCOMPARE(WaylandConnection::check().error().text,
                 u"cannot connect to a Wayland display: WAYLAND_DISPLAY is not set"_s);
        qputenv("XDG_RUNTIME_DIR", m_folder->path().toLocal8Bit());
        qputenv("WAYLAND_DISPLAY", "wayland-9");
        QVERIFY(WaylandConnection::check());
        const auto byName = WaylandConnection::open();
        QVERIFY(byName);
        QCOMPARE(byName.value()->name(), u"wayland-9"_s);
        qunsetenv("WAYLAND_DISPLAY");
    }

private:
    static constexpr std::chrono::seconds kPatience{1};

    [[nodiscard]] QString display() const { return m_folder->filePath(u"wayland-9"_s); }

    void observe()
    {
        m_observer = WaylandObserver::on(display(), {});
        QVERIFY(m_observer);
        settleEvents();
    }

    /// Returns when each side has taken what the other had sent.
    void settleEvents()
    {
        // The compositor looks at all its clients before it answers a new one.
        QVERIFY(WaylandConnection::check(display()));
        // What comes later is told later.
        QSignalSpy changes(m_observer->connection.get(), &WaylandConnection::globalsChanged);
        order("add settle kde 1"); // the least that anybody asks for
        QTRY_COMPARE(changes.count(), 1);
        order("remove settle");
        QTRY_COMPARE(changes.count(), 2);
    }

    QByteArray answer()
    {
        QProcess& process = m_compositor->process();
        while (!process.canReadLine() && process.waitForReadyRead(20000)) {
        }
        return process.readLine().trimmed();
    }

    void order(const QByteArray& line)
    {
        m_compositor->process().write(line + '\n');
        QCOMPARE(answer(), QByteArray("done"));
    }

    QByteArray report()
    {
        m_compositor->process().write("report\n");
        return answer();
    }

    void openWindow(const QByteArray& window,
                    const QByteArray& appId,
                    const QByteArray& title,
                    const QByteArray& states)
    {
        order("open " + window);
        order("app " + window + ' ' + appId);
        order("title " + window + ' ' + title);
        order("state " + window + ' ' + states);
        order("settled " + window);
    }

    void signalCompositor(int signal) { ::kill(static_cast<pid_t>(m_compositor->pid()), signal); }

    [[nodiscard]] std::optional<FrontWindow> front() { return m_observer->windows.frontWindow(); }

    [[nodiscard]] QString frontTitle()
    {
        return front().value_or(FrontWindow()).title.value_or(QString());
    }

    [[nodiscard]] double idle() { return m_observer->idleTime.secondsSinceLastInput(); }

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<support::ChildProcess> m_compositor;
    std::unique_ptr<WaylandObserver> m_observer;
};

QUILLSTEP_TEST(TestWaylandProtocols)
#include "tst_wayland_protocols.moc"
