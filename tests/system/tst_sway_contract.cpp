// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/platform/contract/desktop_contract.h"
#include "tests/support/headless_sway.h"
#include "tests/support/required_programs.h"
#include "tests/support/test_program.h"
#include "tests/system/session_desktop.h"
#include "tests/system/wayland_observer.h"

#include <QRegularExpression>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

class TestSwayContract final : public contract::DesktopContract
{
    Q_OBJECT
protected:
    [[nodiscard]] contract::Desktop& desktop() override { return *m_desktop; }

private Q_SLOTS:

    void initTestCase()
    {
        REQUIRE_PROGRAMS(m_sway.programs());
        const auto started = m_sway.start();
        QVERIFY2(started, started ? "" : qPrintable(started.error().text));
    }

    void init()
    {
        QTest::failOnWarning(QRegularExpression(u".*"_s));
        m_observer = WaylandObserver::on(m_sway);
        QVERIFY(m_observer);
        m_desktop =
            std::make_unique<SessionDesktop>(m_sway, m_observer->windows, m_observer->idleTime);
        waitUntilNothingIsInFront();
    }

    void cleanup()
    {
        m_desktop.reset();
        m_observer.reset();
    }

private:
    support::HeadlessSway m_sway;
    std::unique_ptr<WaylandObserver> m_observer;
    std::unique_ptr<SessionDesktop> m_desktop;
};

QUILLSTEP_TEST(TestSwayContract)
#include "tst_sway_contract.moc"
