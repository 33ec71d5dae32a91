// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// The icon of the executable itself: what the panel is told, and what users are told where it
// cannot come.
#include "tests/support/agent.h"
#include "tests/support/headless_sway.h"
#include "tests/support/required_programs.h"
#include "tests/support/status_item_client.h"
#include "tests/support/status_notifier_watcher.h"
#include "tests/support/test_program.h"
#include "tests/system/tray_desktop.h"
#include "tests/system/tray_panel.h"
#include "tests/system/verify_outcome.h"

#include <QTest>

#include <optional>

using support::Agent;
using support::StatusItemClient;
using support::StatusNotifierWatcher;
using support::TrayDesktop;
using support::TrayPanel;

namespace {

constexpr int kPatienceMs = 20000;
/// A tray of X11 counts when it has been there for a quarter of a minute.
constexpr int kPatienceWithX11Ms = 45000;
const QString kNoIcon = QStringLiteral("there will be no icon");
const QString kWithoutIcon = QStringLiteral("without the icon");
const QString kBusWentAway = QStringLiteral("the session bus went away");

} // namespace

class TestTrayAgent : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        const QStringList more{QStringLiteral("xdotool"), QStringLiteral("xprop")};
        REQUIRE_PROGRAMS(TrayDesktop::programs() + TrayPanel::programs() +
                         support::HeadlessSway().programs() + more);
    }

    void init()
    {
        m_desktop.emplace();
        VERIFY_OUTCOME(m_desktop->start());
    }

    void cleanup()
    {
        m_agent.reset();
        m_watcher.reset();
        m_panel.reset();
        m_desktop.reset();
    }

    void theItemOnTheBusIsTitledVelomiraAndTheWindowsKeepTheirTitles()
    {
        start(m_desktop->environment());
        const QString owner = watch();
        QVERIFY(!owner.isEmpty());
        const StatusItemClient panel(m_desktop->bus.address(), owner);
        QCOMPARE(panel.property(QStringLiteral("Title")).toString(), QStringLiteral("Velomira"));
        QTRY_VERIFY_WITH_TIMEOUT(!windowNamed(QStringLiteral("Login")).isEmpty(), kPatienceMs);
        QCOMPARE(classOf(windowNamed(QStringLiteral("Login"))),
                 QStringLiteral("WM_CLASS(STRING) = \"Quillstep\", \"Quillstep\""));
    }

    void withoutABusATrayOfX11ShowsTheIconUnderItsName()
    {
        VERIFY_OUTCOME(startTint2());
        start(withoutBus(m_desktop->environment()));
        QTRY_VERIFY_WITH_TIMEOUT(!windowNamed(QStringLiteral("Velomira")).isEmpty(),
                                 kPatienceWithX11Ms);
        QVERIFY2(!m_agent->complaints().contains(kNoIcon), qPrintable(m_agent->complaints()));
        QVERIFY2(m_agent->complaints().contains(QStringLiteral(
                     "there is no session bus; only a tray of X11 can show the icon, and other "
                     "programs cannot reach this one")),
                 qPrintable(m_agent->complaints()));
    }

    void withoutABusAndATrayItIsNotSaidThatAnIconCannotComeLater()
    {
        start(withoutBus(m_desktop->environment()));
        QTRY_VERIFY_WITH_TIMEOUT(!windowNamed(QStringLiteral("Login")).isEmpty(), kPatienceMs);
        QVERIFY2(!m_agent->complaints().contains(kNoIcon), qPrintable(m_agent->complaints()));
        VERIFY_OUTCOME(startTint2());
        QTRY_VERIFY_WITH_TIMEOUT(!windowNamed(QStringLiteral("Velomira")).isEmpty(),
                                 kPatienceWithX11Ms);
    }

    void underWaylandWithoutABusThereIsNoIcon()
    {
        support::HeadlessSway sway;
        VERIFY_OUTCOME(sway.start());
        QProcessEnvironment environment = sway.environment();
        environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"),
                           QStringLiteral("unix:path=/nonexistent"));
        start(environment);
        QTRY_VERIFY_WITH_TIMEOUT(m_agent->complaints().contains(kNoIcon), kPatienceMs);
        QCOMPARE(m_agent->end(), std::optional(0));
    }

    void anIconOfX11StaysWhenTheBusGoes()
    {
        VERIFY_OUTCOME(startTint2());
        start(m_desktop->environment());
        QTRY_VERIFY_WITH_TIMEOUT(!windowNamed(QStringLiteral("Velomira")).isEmpty(),
                                 kPatienceWithX11Ms);
        m_desktop->bus.kill();
        QTRY_VERIFY_WITH_TIMEOUT(m_agent->complaints().contains(kBusWentAway), kPatienceMs);
        QVERIFY2(!m_agent->complaints().contains(kWithoutIcon), qPrintable(m_agent->complaints()));
        QVERIFY(!windowNamed(QStringLiteral("Velomira")).isEmpty());
    }

    void anItemGoesWithTheBus()
    {
        start(m_desktop->environment());
        QVERIFY(!watch().isEmpty());
        m_desktop->bus.kill();
        QTRY_VERIFY_WITH_TIMEOUT(m_agent->complaints().contains(kBusWentAway), kPatienceMs);
        QVERIFY2(m_agent->complaints().contains(kWithoutIcon), qPrintable(m_agent->complaints()));
    }

private:
    static QProcessEnvironment withoutBus(QProcessEnvironment environment)
    {
        environment.remove(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"));
        return environment;
    }

    void start(const QProcessEnvironment& environment)
    {
        m_agent.emplace(environment);
        VERIFY_OUTCOME(m_agent->start());
    }

    /// Watches for items from now on; the name of the first.
    QString watch()
    {
        m_watcher.emplace(m_desktop->bus.address(), true);
        return m_watcher->waitForItem();
    }

    platform::Outcome startTint2()
    {
        m_panel.emplace(*m_desktop, TrayPanel::Kind::Tint2, false);
        return m_panel->start();
    }

    QString outputOf(const QString& program, const QStringList& arguments)
    {
        support::ChildProcess child;
        if (!child.start(program, arguments, m_desktop->x11.environment()) ||
            !child.process().waitForFinished(kPatienceMs))
            return {};
        return QString::fromUtf8(child.process().readAllStandardOutput()).trimmed();
    }

    /// The windows on screen with exactly this name, as xdotool names them.
    QString windowNamed(const QString& name)
    {
        return outputOf(QStringLiteral("xdotool"),
                        {QStringLiteral("search"),
                         QStringLiteral("--onlyvisible"),
                         QStringLiteral("--name"),
                         u'^' + name + u'$'});
    }

    QString classOf(const QString& window)
    {
        return outputOf(QStringLiteral("xprop"),
                        {QStringLiteral("-id"), window, QStringLiteral("WM_CLASS")});
    }

    std::optional<TrayDesktop> m_desktop;
    std::optional<StatusNotifierWatcher> m_watcher;
    std::optional<TrayPanel> m_panel;
    std::optional<Agent> m_agent;
};

QUILLSTEP_TEST(TestTrayAgent)
#include "tst_tray_agent.moc"
