// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/desktops/kwin/kwin_front_window.h"
#include "backends/desktops/wayland/wayland_connection.h"
#include "backends/desktops/wayland/wayland_idle_time.h"
#include "tests/platform/contract/desktop_contract.h"
#include "tests/support/headless_kwin.h"
#include "tests/support/required_programs.h"
#include "tests/support/test_program.h"
#include "tests/system/session_desktop.h"

#include <QRegularExpression>
#include <QTest>

#include <memory>
#include <utility>

using namespace Qt::StringLiterals;
using platform::kwin::KWinFrontWindow;
using platform::wayland::WaylandConnection;
using platform::wayland::WaylandIdleTime;
using support::HeadlessKWin;
using support::TestWindow;

class TestKWinContract final : public contract::DesktopContract
{
    Q_OBJECT
protected:
    [[nodiscard]] contract::Desktop& desktop() override { return *m_desktop; }

private Q_SLOTS:

    void initTestCase()
    {
        REQUIRE_PROGRAMS(m_session.programs() + TestWindow::programs());
        const auto started = m_session.start();
        QVERIFY2(started, started ? "" : qPrintable(started.error().text));
    }

    void init()
    {
        // But for what Qt says when a name changes hands while it asks for its owner.
        QTest::failOnWarning(QRegularExpression(u"^(?!QDBusConnection: name )"_s));
        m_windows = std::make_unique<KWinFrontWindow>(m_session.scripts().bus());
        auto connection = WaylandConnection::open(m_session.waylandDisplay());
        QVERIFY2(connection, connection ? "" : qPrintable(connection.error().text));
        m_connection = std::move(connection).value();
        m_idleTime = std::make_unique<WaylandIdleTime>(*m_connection);
        QTRY_COMPARE(m_windows->presence(), platform::desktop::Presence::Here);
        m_desktop = std::make_unique<SessionDesktop>(m_session, *m_windows, *m_idleTime);
        waitUntilNothingIsInFront();
    }

    void cleanup()
    {
        m_desktop.reset();
        m_idleTime.reset();
        m_connection.reset();
        m_windows.reset();
    }

private:
    HeadlessKWin m_session;
    std::unique_ptr<KWinFrontWindow> m_windows;
    std::unique_ptr<WaylandConnection> m_connection;
    std::unique_ptr<WaylandIdleTime> m_idleTime;
    std::unique_ptr<SessionDesktop> m_desktop;
};

QUILLSTEP_TEST(TestKWinContract)
#include "tst_kwin_contract.moc"
