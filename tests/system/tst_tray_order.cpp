// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// The status icon and those who show it, in every order.
#include "tests/support/passing_time.h"
#include "tests/support/required_programs.h"
#include "tests/support/status_item_client.h"
#include "tests/support/status_notifier_watcher.h"
#include "tests/support/test_program.h"
#include "tests/system/tray_client_process.h"
#include "tests/system/tray_desktop.h"

#include <QElapsedTimer>
#include <QTest>

#include <chrono>
#include <csignal>
#include <optional>

using support::StatusItemClient;
using support::StatusNotifierWatcher;
using support::TrayClient;
using support::TrayDesktop;

namespace {

constexpr double kHeldUpMs = 100;
const QString kMade = QStringLiteral("made StatusNotifier");
const QStringList kPrograms{QStringLiteral("tint2")};

} // namespace

class TestTrayOrder : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase() { REQUIRE_PROGRAMS(TrayDesktop::programs() + kPrograms); }

    void init()
    {
        m_desktop.emplace();
        const auto started = m_desktop->start();
        QVERIFY2(started, started ? "" : qPrintable(started.error().text));
        m_client.emplace();
    }

    void cleanup()
    {
        if (m_client && m_client->process().isRunning())
            QCOMPARE(m_client->finish(), 0);
        m_watcher.reset();
        m_client.reset();
        m_desktop.reset();
    }

    void aWatcherThatIsThereGetsTheItemAtOnce()
    {
        watch(true);
        QVERIFY(m_client->start(m_desktop->environment()));
        QVERIFY(m_client->waitFor(kMade));
        QVERIFY(!m_watcher->waitForItem().isEmpty());
    }

    void withoutAWatcherNothingIsMadeUntilThereIsOne_data()
    {
        QTest::addColumn<int>("later");
        QTest::newRow("right after") << 0;
        QTest::newRow("two seconds later") << 2000;
    }

    void withoutAWatcherNothingIsMadeUntilThereIsOne()
    {
        QFETCH(int, later);
        // The grace passes long before: without an X11 tray it means nothing.
        QVERIFY(m_client->start(m_desktop->environment(), later / 4));
        support::letPass(std::chrono::milliseconds(later));
        QCOMPARE(m_client->otherLines(), QStringList());
        watch(true);
        QVERIFY(m_client->waitFor(kMade));
        const QString owner = m_watcher->waitForItem();
        QVERIFY(!owner.isEmpty());
        StatusItemClient panel(m_desktop->bus.address(), owner);
        QVERIFY(panel.described().contains(QStringLiteral("+ Log In")));
    }

    void aWatcherWithoutAHostIsNotEnough()
    {
        watch(false);
        QVERIFY(m_client->start(m_desktop->environment()));
        support::letPass(std::chrono::milliseconds(500));
        QCOMPARE(m_client->otherLines(), QStringList());
        QCOMPARE(m_watcher->items(), QStringList());
        m_watcher->addHost();
        QVERIFY(m_client->waitFor(kMade));
        QVERIFY(!m_watcher->waitForItem().isEmpty());
    }

    void aWatcherThatIsStartedAnewGetsTheItemAgain()
    {
        watch(true);
        QVERIFY(m_client->start(m_desktop->environment()));
        for (int round = 0; round < 3; ++round) {
            const QString owner = m_watcher->waitForItem();
            QVERIFY(!owner.isEmpty());
            StatusItemClient panel(m_desktop->bus.address(), owner);
            QVERIFY(panel.click(QStringLiteral("Settings")));
            QVERIFY(m_client->waitFor(QStringLiteral("chosen 4")));
            m_watcher.reset();
            watch(true);
        }
        QVERIFY(!m_watcher->waitForItem().isEmpty());
        QVERIFY(m_client->waitFor(kMade));
        QCOMPARE(m_client->otherLines(), QStringList()); // made once
    }

    void aWatcherThatHangsHoldsNothingUp()
    {
        support::ChildProcess* const peer = hangingWatcher();
        QVERIFY(peer != nullptr);
        QVERIFY(m_client->start(m_desktop->environment()));
        QVERIFY(m_client->longestGap() >= 0); // from here on
        support::letPass(std::chrono::milliseconds(2000));
        const double gap = m_client->longestGap();
        QVERIFY2(gap < kHeldUpMs, qPrintable(QString::number(gap)));
        QCOMPARE(m_client->otherLines(), QStringList());
        peer->kill();
        watch(true);
        QVERIFY(m_client->waitFor(kMade));
        QVERIFY(!m_watcher->waitForItem().isEmpty());
    }

    void aWatcherThatHangsIsNotAskedByQtEither()
    {
        support::ChildProcess* const peer = hangingWatcher();
        QVERIFY(peer != nullptr && tint2());
        QVERIFY(m_client->start(m_desktop->environment(), 300));
        QVERIFY(m_client->longestGap() >= 0); // from here on
        support::letPass(std::chrono::milliseconds(2000));
        const double gap = m_client->longestGap();
        QVERIFY2(gap < kHeldUpMs, qPrintable(QString::number(gap)));
        QCOMPARE(m_client->otherLines(), QStringList());
        peer->kill();
        QVERIFY(m_client->waitFor(QStringLiteral("made XEmbed")));
    }

    void anX11TrayCountsWhenItHasBeenThereForTheGrace()
    {
        QVERIFY(tint2());
        QElapsedTimer timer;
        timer.start();
        QVERIFY(m_client->start(m_desktop->environment(), 1500));
        QVERIFY(m_client->waitFor(QStringLiteral("made XEmbed")));
        QVERIFY(timer.elapsed() >= 1500);
    }

    void anX11TrayThatComesLaterCounts()
    {
        QVERIFY(m_client->start(m_desktop->environment(), 500));
        support::letPass(std::chrono::milliseconds(1000));
        QCOMPARE(m_client->otherLines(), QStringList());
        QVERIFY(tint2());
        QVERIFY(m_client->waitFor(QStringLiteral("made XEmbed")));
    }

    void anX11TrayThatGoesWithinTheGraceDoesNotCount()
    {
        auto* const panel = startTint2();
        QVERIFY(panel != nullptr);
        QVERIFY(m_client->start(m_desktop->environment(), 3000));
        panel->kill();
        support::letPass(std::chrono::milliseconds(3500));
        QCOMPARE(m_client->otherLines(), QStringList());
        watch(true);
        QVERIFY(m_client->waitFor(kMade));
    }

    void aHostThatComesWithinTheGraceIsPreferred()
    {
        QVERIFY(tint2());
        QVERIFY(m_client->start(m_desktop->environment(), 60000));
        watch(false);
        support::letPass(std::chrono::milliseconds(300));
        QCOMPARE(m_client->otherLines(), QStringList());
        m_watcher->addHost();
        QVERIFY(m_client->waitFor(kMade));
    }

    void withoutABusNothingIsMissingButTheIcon()
    {
        QProcessEnvironment environment = m_desktop->environment();
        environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"),
                           QStringLiteral("unix:path=/nonexistent/bus"));
        QVERIFY(m_client->start(environment, 200));
        QVERIFY(m_client->setState({}));
        support::letPass(std::chrono::milliseconds(1000));
        QCOMPARE(m_client->otherLines(), QStringList());
        QVERIFY(tint2());
        QVERIFY(m_client->waitFor(QStringLiteral("made XEmbed")));
    }

    void theEndOfTheBusDoesNotEndTheProgram()
    {
        watch(true);
        QVERIFY(m_client->start(m_desktop->environment()));
        QVERIFY(m_client->waitFor(kMade));
        m_desktop->bus.kill();
        QVERIFY(m_client->setState({}));
        QVERIFY(m_client->longestGap() >= 0);
        support::letPass(std::chrono::milliseconds(500));
        QVERIFY(m_client->longestGap() < kHeldUpMs);
    }

private:
    void watch(bool hasHost)
    {
        m_watcher.emplace(m_desktop->bus.address(), hasHost);
        QVERIFY(m_watcher->isThere());
    }

    support::ChildProcess* hangingWatcher()
    {
        const auto peer =
            m_desktop->x11.startProgram(QStringLiteral(SILENT_PEER_EXECUTABLE),
                                        {QStringLiteral("org.kde.StatusNotifierWatcher")},
                                        m_desktop->environment());
        if (!peer || !QTest::qWaitFor([&] { return peer.value()->process().canReadLine(); }, 20000))
            return nullptr;
        return peer.value();
    }

    support::ChildProcess* startTint2()
    {
        const auto panel =
            m_desktop->x11.startProgram(QStringLiteral("tint2"), {}, m_desktop->environment());
        return panel ? panel.value() : nullptr;
    }

    bool tint2() { return startTint2() != nullptr; }

    std::optional<TrayDesktop> m_desktop;
    std::optional<StatusNotifierWatcher> m_watcher;
    std::optional<TrayClient> m_client;
};

QUILLSTEP_TEST(TestTrayOrder)
#include "tst_tray_order.moc"
