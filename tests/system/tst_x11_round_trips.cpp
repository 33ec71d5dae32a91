// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/headless_x11.h"
#include "tests/support/required_programs.h"
#include "tests/support/x11_test_window.h"
#include "tests/system/x11_observer.h"

#include <QElapsedTimer>
#include <QRegularExpression>
#include <QTest>

#include <memory>
#include <optional>
#include <utility>

using namespace Qt::StringLiterals;
using platform::Application;
using support::HeadlessX11;
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
        QCOMPARE(m_observer->tick(), std::optional(u"Two"_s));
        m_waits = m_observer->connection().blockingWaits();
    }

    void cleanup()
    {
        m_one.reset();
        m_two.reset();
    }

    void aTickCostsOneRoundTripWhileTheFocusStays()
    {
        for (int i = 0; i < 5; ++i) {
            const QString title = QString::number(i);
            QCOMPARE(afterwards([&] { m_two->setTitle(title); }, [this] { return tick(); }),
                     cost(title, 1));
        }
    }

    void aTickCostsTwoWhenTheFocusHasChanged()
    {
        const auto change = [this] {
            QVERIFY(m_two->focus());
            QCOMPARE(tick(), u"Two"_s);
            QVERIFY(m_one->focus());
        };
        QCOMPARE(afterwards(change, [this] { return tick(); }), cost(u"One"_s, 2));
        QCOMPARE(afterwards([] {}, [this] { return tick(); }), cost(u"One"_s, 1));
    }

    void theApplicationAloneCostsOne()
    {
        const auto ask = [this] {
            return m_observer->frontTitle().value_or(QString());
        };
        QCOMPARE(afterwards([] {}, ask), cost(u"Two"_s, 1));
        const auto change = [&] {
            QVERIFY(m_two->focus());
            QCOMPARE(ask(), u"Two"_s);
            QVERIFY(m_one->focus());
        };
        QCOMPARE(afterwards(change, ask), cost(u"One"_s, 2));
    }

    void idleTicksCostOneAndLeaveNothingBehind()
    {
        for (int i = 0; i < 5; ++i) {
            QVERIFY(m_observer->idleTime.secondsSinceLastInput() >= 0);
            QCOMPARE(newWaits(), 1U);
        }
        QCOMPARE(afterwards([this] { m_two->setTitle(u"New"_s); }, [this] { return tick(); }),
                 cost(u"New"_s, 1));
    }

    void anAnswerOfAnEarlierTickIsNotUsed()
    {
        QVERIFY(m_observer->idleTime.secondsSinceLastInput() >= 0);
        QElapsedTimer sinceThen;
        sinceThen.start();
        QVERIFY(m_one->focus());
        QTRY_VERIFY(sinceThen.hasExpired(150));
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
        QCOMPARE(titleOf(application), u"Later"_s);
    }

    void aRestartedWindowManagerCostsOneMoreOnce()
    {
        const auto restart = [this] {
            m_desktop.killWindowManager();
            QCOMPARE(m_observer->tick(), std::nullopt);
            QVERIFY(m_desktop.startWindowManager());
            QVERIFY(m_two->focus());
        };
        QCOMPARE(afterwards(restart, [this] { return tick(); }), cost(u"Two"_s, 2));
        QCOMPARE(afterwards([] {}, [this] { return tick(); }), cost(u"Two"_s, 1));
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
            application ? m_observer->windowTitle.focusedWindowTitle(*application) : std::nullopt;
        return title.value_or(QString());
    }

    static Cost cost(const QString& answer, std::uint64_t waits) { return {answer, waits}; }

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

QTEST_GUILESS_MAIN(TestX11RoundTrips)
#include "tst_x11_round_trips.moc"
