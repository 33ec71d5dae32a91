// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/bus_daemon.h"
#include "tests/support/headless_x11.h"
#include "tests/support/required_programs.h"
#include "tests/support/test_program.h"
#include "tests/support/x11_client.h"
#include "tests/support/x11_test_window.h"
#include "tests/system/x11_observer.h"

#include <QRegularExpression>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;
using support::BusDaemon;
using support::ChildProcess;
using support::HeadlessX11;
using support::X11Client;
using support::X11TestWindow;

/// KWin as the window manager of an X server.
class TestKWinX11 final : public QObject
{
    Q_OBJECT
private Q_SLOTS:

    void initTestCase()
    {
        REQUIRE_PROGRAMS(HeadlessX11::programs() << u"kwin_x11"_s << u"dbus-daemon"_s);
        const auto started = m_desktop.start();
        QVERIFY2(started, started ? "" : qPrintable(started.error().text));
        const auto bus = m_bus.start(m_desktop.home() + u"/bus"_s, m_desktop.environment());
        QVERIFY2(bus, bus ? "" : qPrintable(bus.error().text));
    }

    void init()
    {
        // But for what Qt says when a name changes hands while it asks for its owner.
        QTest::failOnWarning(QRegularExpression(u"^(?!QDBusConnection: name )"_s));
        m_observer = X11Observer::on(m_desktop.display());
        QVERIFY(m_observer);
    }

    // The first time it replaces another window manager, then itself.
    void itMayBeReplaced()
    {
        const X11Client client(m_desktop.display());
        const auto manager = [&client] {
            return client.number(client.root(), "_NET_SUPPORTING_WM_CHECK");
        };
        X11TestWindow old(m_desktop.display());
        old.setClass("old", "Old");
        old.setTitle(u"Before"_s);
        QVERIFY(old.showAndFocus());
        QTRY_COMPARE(identifier(), u"Old"_s);
        ChildProcess* former = nullptr;
        for (int i = 0; i < 3; ++i) {
            const std::uint32_t before = manager();
            ChildProcess* const kwin = startKWin();
            QVERIFY(kwin);
            QTRY_VERIFY_WITH_TIMEOUT(manager() != before && client.hasWindowManager(), 20000);
            if (former)
                QTRY_VERIFY_WITH_TIMEOUT(!former->isRunning(), 20000);
            former = kwin;
            X11TestWindow window(m_desktop.display());
            window.setClass("new", "New");
            window.setTitle(u"After"_s);
            window.show();
            // KWin may still be starting, and miss it.
            QTRY_COMPARE_WITH_TIMEOUT((window.activate(), identifier()), u"New"_s, 20000);
            QCOMPARE(m_observer->frontTitle(), std::optional(u"After"_s));
            QTRY_COMPARE_WITH_TIMEOUT((old.activate(), identifier()), u"Old"_s, 20000);
            QCOMPARE(m_observer->frontTitle(), std::optional(u"Before"_s));
        }
        QVERIFY(former->isRunning());
    }

private:
    /// Null when it does not start.
    ChildProcess* startKWin()
    {
        QProcessEnvironment environment = m_desktop.environment();
        environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, m_bus.address());
        environment.insert(u"XDG_CURRENT_DESKTOP"_s, u"KDE"_s);
        environment.insert(u"KWIN_COMPOSE"_s, u"N"_s);
        const auto started = m_desktop.startProgram(u"kwin_x11"_s, {u"--replace"_s}, environment);
        return started ? started.value() : nullptr;
    }

    [[nodiscard]] QString identifier()
    {
        const auto front = m_observer->front();
        return front ? front->bundleIdentifier.value_or(QString()) : u"(none)"_s;
    }

    HeadlessX11 m_desktop;
    BusDaemon m_bus;
    std::unique_ptr<X11Observer> m_observer;
};

QUILLSTEP_TEST(TestKWinX11)
#include "tst_kwin_x11.moc"
