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

using support::HeadlessX11;
using support::X11TestWindow;

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
        QTest::failOnWarning(QRegularExpression(u".*"_qs));
        m_observer = X11Observer::on(m_desktop.display());
        QVERIFY(m_observer);
        m_one = openWindow(u"One"_qs);
        m_two = openWindow(u"Two"_qs);
        QVERIFY(m_one && m_two);
        QCOMPARE(m_observer->tick(), std::optional(u"Two"_qs));
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
            m_two->setTitle(QString::number(i));
            QCOMPARE(m_observer->tick(), std::optional(QString::number(i)));
            QCOMPARE(newWaits(), 1U);
        }
    }

    void aTickCostsTwoWhenTheFocusHasChanged()
    {
        QVERIFY(m_one->focus());
        QCOMPARE(m_observer->tick(), std::optional(u"One"_qs));
        QCOMPARE(newWaits(), 2U);
        QCOMPARE(m_observer->tick(), std::optional(u"One"_qs));
        QCOMPARE(newWaits(), 1U);
    }

    void theApplicationAloneCostsOne()
    {
        QCOMPARE(m_observer->frontTitle(), std::optional(u"Two"_qs));
        QCOMPARE(newWaits(), 1U);
        QVERIFY(m_one->focus());
        QCOMPARE(m_observer->frontTitle(), std::optional(u"One"_qs));
        QCOMPARE(newWaits(), 2U);
    }

    void idleTicksCostOneAndLeaveNothingBehind()
    {
        for (int i = 0; i < 5; ++i) {
            QVERIFY(m_observer->idleTime.secondsSinceLastInput() >= 0);
            QCOMPARE(newWaits(), 1U);
        }
        m_two->setTitle(u"New"_qs);
        QCOMPARE(m_observer->tick(), std::optional(u"New"_qs));
        QCOMPARE(newWaits(), 1U);
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
        const auto application = m_observer->front();
        QVERIFY(application);
        m_two->setTitle(u"Later"_qs);
        QCOMPARE(m_observer->windowTitle.focusedWindowTitle(*application),
                 std::optional(u"Two"_qs));
        QCOMPARE(m_observer->windowTitle.focusedWindowTitle(*application),
                 std::optional(u"Later"_qs));
    }

    void aRestartedWindowManagerCostsOneMoreOnce()
    {
        m_desktop.killWindowManager();
        QCOMPARE(m_observer->tick(), std::nullopt);
        QVERIFY(m_desktop.startWindowManager());
        QVERIFY(m_two->focus());
        static_cast<void>(newWaits());
        QCOMPARE(m_observer->tick(), std::optional(u"Two"_qs));
        QCOMPARE(newWaits(), 2U);
        QCOMPARE(m_observer->tick(), std::optional(u"Two"_qs));
        QCOMPARE(newWaits(), 1U);
    }

private:
    std::unique_ptr<X11TestWindow> openWindow(const QString& title) const
    {
        auto window = std::make_unique<X11TestWindow>(m_desktop.display());
        window->setClass("tool", "Tool");
        window->setTitle(title);
        return window->showAndFocus() ? std::move(window) : nullptr;
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
