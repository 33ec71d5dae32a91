// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/headless_x11.h"
#include "tests/support/passing_time.h"
#include "tests/support/required_programs.h"
#include "tests/support/test_program.h"
#include "tests/support/x11_test_window.h"
#include "tests/system/x11_observer.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QRegularExpression>
#include <QTest>
#include <QTimer>

#include <chrono>
#include <memory>
#include <optional>
#include <sys/resource.h>
#include <thread>
#include <utility>

using namespace Qt::StringLiterals;
using platform::Application;
using platform::x11::X11Reply;
using support::HeadlessX11;
using support::X11Client;
using support::X11TestWindow;

/// What was answered, and the round trips that it took.
using Cost = std::pair<QString, std::uint64_t>;

class TestX11RoundTrips final : public QObject
{
    Q_OBJECT
private Q_SLOTS:

    void initTestCase()
    {
        REQUIRE_PROGRAMS(HeadlessX11::programs());
        const auto started = m_desktop.start();
        QVERIFY2(started, started ? "" : qPrintable(started.error().text));
    }

    void init()
    {
        QTest::failOnWarning(QRegularExpression(u".*"_s));
        m_observer = X11Observer::on(m_desktop.display());
        QVERIFY(m_observer);
        m_one = openWindow(u"One"_s);
        m_two = openWindow(u"Two"_s);
        QVERIFY(m_one && m_two);
        // From here on the idle time is followed, and the window manager is done with the windows.
        QTRY_VERIFY(m_observer->idleTime.secondsSinceLastInput() > 1.2);
        QVERIFY(m_two->client().waitForWindowManager());
        QCOMPARE(m_observer->tick(), std::optional(u"Two"_s));
        m_waits = m_observer->connection().blockingWaits();
    }

    void cleanup()
    {
        m_one.reset();
        m_two.reset();
    }

    void anUnchangedTickSendsNothingAndWaitsForNothing()
    {
        xcb_connection_t* const connection = m_observer->connection().get();
        std::uint64_t waits = 0;
        for (int i = 0; i < 120; ++i) {
            const std::uint64_t sent = xcb_total_written(connection);
            QCOMPARE(m_observer->tick(), std::optional(u"Two"_s));
            xcb_flush(connection);
            const std::uint64_t newOnes = newWaits();
            QCOMPARE(xcb_total_written(connection) > sent, newOnes > 0);
            waits += newOnes;
        }
        QCOMPARE(waits, 2U); // once in sixty ticks everything is asked for
        QVERIFY(m_observer->idleTime.secondsSinceLastInput() > 1);
    }

    void aTickCostsOneRoundTripWhereTheTitleHasChanged()
    {
        for (int i = 0; i < 5; ++i) {
            const QString title = QString::number(i);
            QCOMPARE(afterwards([&] { m_two->setTitle(title); }, [this] { return tick(); }),
                     cost(title, 1));
            QCOMPARE(afterwards([] {}, [this] { return tick(); }), cost(title, 0));
        }
    }

    void titlesOfOtherWindowsCostNothing()
    {
        QCOMPARE(afterwards([this] { m_one->setTitle(u"Other"_s); }, [this] { return tick(); }),
                 cost(u"Two"_s, 0));
    }

    void aTickCostsTwoWhenTheFocusHasChanged()
    {
        const auto change = [this] {
            QVERIFY(m_two->focus());
            QCOMPARE(tick(), u"Two"_s);
            QVERIFY(m_one->focus());
        };
        QCOMPARE(afterwards(change, [this] { return tick(); }), cost(u"One"_s, 2));
        QTRY_COMPARE(afterwards([] {}, [this] { return tick(); }), cost(u"One"_s, 0));
    }

    void theApplicationAloneCostsAsMuch()
    {
        const auto ask = [this] {
            return m_observer->frontTitle().value_or(QString());
        };
        QCOMPARE(afterwards([] {}, ask), cost(u"Two"_s, 0));
        const auto change = [&] {
            QVERIFY(m_two->focus());
            QCOMPARE(ask(), u"Two"_s);
            QVERIFY(m_one->focus());
        };
        QCOMPARE(afterwards(change, ask), cost(u"One"_s, 2));
    }

    void idleTicksCostNothingAndMissNothing()
    {
        for (int i = 0; i < 5; ++i) {
            QVERIFY(m_observer->idleTime.secondsSinceLastInput() >= 1);
            QCOMPARE(newWaits(), 0U);
        }
        QCOMPARE(afterwards([this] { m_two->setTitle(u"New"_s); }, [this] { return tick(); }),
                 cost(u"New"_s, 1));
    }

    void aMissedEventIsMadeUpForWithinSixtyTicks()
    {
        selectNothing(m_two->id());
        m_two->setTitle(u"Missed"_s);
        QCOMPARE(tick(), u"Two"_s); // it was an event that would have told
        int ticks = 1;
        while (tick() != u"Missed"_s)
            ++ticks;
        QVERIFY2(ticks < 60, qPrintable(QString::number(ticks)));
        m_two->setTitle(u"Told"_s);
        QCOMPARE(tick(), u"Told"_s);
    }

    void aFloodOfTitlesWakesNobodyBetweenTicks_data()
    {
        QTest::addColumn<bool>("isInFront");
        QTest::newRow("of the window in front") << true;
        QTest::newRow("of another window") << false;
    }

    void aFloodOfTitlesWakesNobodyBetweenTicks()
    {
        QFETCH(const bool, isInFront);
        const xcb_window_t window = (isInFront ? m_two : m_one)->id();
        std::thread flood([this, window] { changeTitles(window, 5000); });
        const long before = timesWaited();
        QEventLoop loop;
        QTimer::singleShot(1000, &loop, &QEventLoop::quit);
        loop.exec();
        const long waited = timesWaited() - before;
        flood.join();
        QVERIFY2(waited <= 3, qPrintable(QString::number(waited)));
        QCOMPARE(tick(), isInFront ? u"title 5000"_s : u"Two"_s);
    }

    // What nobody reads stays in the server's memory.
    void aWindowThatTellsTooMuchIsAskedInsteadForAWhile()
    {
        QVERIFY(isTold(m_two->id()));
        changeTitles(m_two->id(), 300);
        QCOMPARE(tick(), u"title 300"_s);
        QVERIFY(!isTold(m_two->id()));
        for (int i = 0; i < 5; ++i) {
            m_two->setTitle(QString::number(i));
            QCOMPARE(tick(), QString::number(i));
        }
        int ticks = 5;
        for (; !isTold(m_two->id()); ++ticks)
            QCOMPARE(tick(), u"4"_s);
        QVERIFY(ticks > 50 && ticks <= 61);
        QCOMPARE(afterwards([] {}, [this] { return tick(); }), cost(u"4"_s, 0));
    }

    void withoutTicksTheServerKeepsNothing()
    {
        QVERIFY(isTold(m_observer->connection().root()) && isTold(m_two->id()));
        QTRY_VERIFY_WITH_TIMEOUT(!isTold(m_observer->connection().root()), 10000);
        QVERIFY(!isTold(m_two->id()));
        m_two->setTitle(u"Meanwhile"_s);
        QCOMPARE(tick(), u"Meanwhile"_s);
        QVERIFY(isTold(m_observer->connection().root()) && isTold(m_two->id()));
    }

    void anAnswerOfAnEarlierTickIsNotUsed()
    {
        QVERIFY(m_observer->idleTime.secondsSinceLastInput() >= 0);
        QVERIFY(m_one->focus());
        support::letPass(std::chrono::milliseconds(150));
        const auto application = m_observer->front();
        QVERIFY(application);
        QCOMPARE(application->window, std::uint64_t{m_one->id()});
    }

    void titleAndApplicationAreOfTheSameMoment()
    {
        const auto prepare = [this] {
            m_two->setTitle(u"Two"_s);
        };
        std::optional<Application> application;
        const auto ask = [&] {
            application = m_observer->front();
            m_two->setTitle(u"Later"_s);
            return titleOf(application);
        };
        QCOMPARE(afterwards(prepare, ask).first, u"Two"_s);
        QCOMPARE(titleOf(application), u"Two"_s);
        QCOMPARE(m_observer->frontTitle(), std::optional(u"Later"_s));
    }

    void aRestartedWindowManagerCostsOneMoreOnce()
    {
        const auto restart = [this] {
            m_desktop.killWindowManager();
            QTRY_COMPARE(m_observer->tick(), std::nullopt);
            QVERIFY(m_desktop.startWindowManager());
            QVERIFY(m_two->focus());
        };
        QCOMPARE(afterwards(restart, [this] { return tick(); }), cost(u"Two"_s, 2));
        QTRY_COMPARE(afterwards([] {}, [this] { return tick(); }), cost(u"Two"_s, 0));
    }

private:
    std::unique_ptr<X11TestWindow> openWindow(const QString& title) const
    {
        auto window = std::make_unique<X11TestWindow>(m_desktop.display());
        window->setClass("tool", "Tool");
        window->setTitle(title);
        return window->showAndFocus() ? std::move(window) : nullptr;
    }

    QString tick() { return m_observer->tick().value_or(QString()); }

    QString titleOf(const std::optional<Application>& application)
    {
        const auto title =
            application ? m_observer->windows.focusedWindowTitle(*application) : std::nullopt;
        return title.value_or(QString());
    }

    static Cost cost(const QString& answer, std::uint64_t waits) { return {answer, waits}; }

    /// Has the server tell the connection nothing of `window`.
    void selectNothing(xcb_window_t window)
    {
        xcb_connection_t* const connection = m_observer->connection().get();
        const std::uint32_t nothing = XCB_EVENT_MASK_NO_EVENT;
        xcb_change_window_attributes(connection, window, XCB_CW_EVENT_MASK, &nothing);
        QVERIFY(!isTold(window));
    }

    /// Whether the server tells the connection of changes of `window`.
    bool isTold(xcb_window_t window)
    {
        xcb_connection_t* const connection = m_observer->connection().get();
        const auto cookie = xcb_get_window_attributes(connection, window);
        const X11Reply<xcb_get_window_attributes_reply_t> reply(
            xcb_get_window_attributes_reply(connection, cookie, nullptr));
        return reply && (reply->your_event_mask & XCB_EVENT_MASK_PROPERTY_CHANGE) != 0;
    }

    /// Gives `window` so many titles one after the other, the last one is "title `count`". Returns
    /// when the server has done it. Any thread.
    void changeTitles(xcb_window_t window, int count)
    {
        const X11Client client(m_desktop.display());
        const xcb_atom_t name = client.atom("_NET_WM_NAME");
        const xcb_atom_t type = client.atom("UTF8_STRING");
        for (int i = 1; i <= count; ++i) {
            const QByteArray title = "title " + QByteArray::number(i);
            xcb_change_property(client.get(),
                                XCB_PROP_MODE_REPLACE,
                                window,
                                name,
                                type,
                                8,
                                static_cast<std::uint32_t>(title.size()),
                                title.constData());
            if (i % 10 == 0)
                client.sync();
        }
        client.sync();
    }

    /// How often this thread has stopped to wait for something.
    static long timesWaited()
    {
        rusage usage{};
        ::getrusage(RUSAGE_THREAD, &usage);
        return usage.ru_nvcsw;
    }

    /// What `ask` answers after `prepare`. Both again when the machine was too busy for that: what
    /// has been asked for a tick is not good for long.
    template <typename Prepare, typename Ask> Cost afterwards(Prepare prepare, Ask ask)
    {
        constexpr qint64 kGoodForMs = 100;
        for (;;) {
            prepare();
            static_cast<void>(newWaits());
            QElapsedTimer taken;
            taken.start();
            const QString answer = ask();
            const std::uint64_t waits = newWaits();
            if (QTest::currentTestFailed() || !taken.hasExpired(kGoodForMs))
                return {answer, waits};
        }
    }

    /// Round trips since the last call, or since the start of the test.
    std::uint64_t newWaits()
    {
        const std::uint64_t before =
            std::exchange(m_waits, m_observer->connection().blockingWaits());
        return m_waits - before;
    }

    HeadlessX11 m_desktop;
    std::unique_ptr<X11Observer> m_observer;
    std::unique_ptr<X11TestWindow> m_one;
    std::unique_ptr<X11TestWindow> m_two;
    std::uint64_t m_waits = 0;
};

QUILLSTEP_TEST(TestX11RoundTrips)
#include "tst_x11_round_trips.moc"
