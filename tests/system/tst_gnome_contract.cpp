// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/desktops/gnome/gnome_front_window.h"
#include "backends/desktops/gnome/mutter_idle_time.h"
#include "tests/platform/contract/desktop_contract.h"
#include "tests/support/headless_gnome.h"
#include "tests/support/required_programs.h"
#include "tests/support/test_program.h"
#include "tests/system/program_bus.h"
#include "tests/system/session_desktop.h"

#include <QRegularExpression>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

class TestGnomeContract final : public contract::DesktopContract
{
    Q_OBJECT
protected:
    [[nodiscard]] contract::Desktop& desktop() override { return *m_desktop; }

private Q_SLOTS:

    void initTestCase()
    {
        REQUIRE_PROGRAMS(m_session.programs());
        const auto started = m_session.start();
        QVERIFY2(started, started ? "" : qPrintable(started.error().text));
        m_bus = std::make_unique<ProgramBus>(m_session.busAddress());
        QVERIFY(m_bus->ownsName());
        m_windows = std::make_unique<platform::gnome::GnomeFrontWindow>(m_bus->connection());
        m_idleTime = std::make_unique<platform::gnome::MutterIdleTime>(m_bus->connection());
        QTRY_COMPARE(m_windows->presence(), platform::desktop::Presence::Here);
        QTRY_COMPARE(m_idleTime->presence(), platform::desktop::Presence::Here);
    }

    void init()
    {
        // But for what Qt says when a name changes hands while it asks for its owner.
        QTest::failOnWarning(QRegularExpression(u"^(?!QDBusConnection: name )"_s));
        m_desktop = std::make_unique<SessionDesktop>(m_session, *m_windows, *m_idleTime);
        waitUntilNothingIsInFront();
    }

    void cleanup() { m_desktop.reset(); }

private:
    support::HeadlessGnome m_session;
    std::unique_ptr<ProgramBus> m_bus;
    std::unique_ptr<platform::gnome::GnomeFrontWindow> m_windows;
    std::unique_ptr<platform::gnome::MutterIdleTime> m_idleTime;
    std::unique_ptr<SessionDesktop> m_desktop;
};

QUILLSTEP_TEST(TestGnomeContract)
#include "tst_gnome_contract.moc"
