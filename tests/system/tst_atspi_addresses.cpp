// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/desktops/accessibility/accessibility_bus.h"
#include "backends/page_addresses/accessible_addresses.h"
#include "tests/support/accessibility.h"
#include "tests/support/firefox.h"
#include "tests/support/headless_x11.h"
#include "tests/support/heartbeat.h"
#include "tests/support/required_programs.h"
#include "tests/support/scripted_server.h"
#include "tests/support/test_program.h"
#include "tests/system/x11_observer.h"
#include "tests/system/xdotool.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QRegularExpression>
#include <QTest>
#include <QTimer>

#include <csignal>
#include <memory>
#include <optional>
#include <utility>

using namespace Qt::StringLiterals;
using platform::atspi::AccessibilityBus;
using platform::atspi::AccessibleAddresses;
using platform::browsers::Family;
using platform::browsers::FrontBrowser;
using support::Accessibility;
using support::ChildProcess;
using support::Firefox;
using support::HeadlessX11;
using support::ScriptedServer;

namespace {
constexpr int kPatienceMs = 40000;
} // namespace

class TestAtspiAddresses final : public QObject
{
    Q_OBJECT
private Q_SLOTS:

    void initTestCase()
    {
        REQUIRE_PROGRAMS(HeadlessX11::programs() + Accessibility::programs() + Firefox::programs() +
                         QStringList({u"epiphany"_s, u"chromium"_s}));
    }

    void init()
    {
        m_desktop = std::make_unique<HeadlessX11>();
        m_accessibility = std::make_unique<Accessibility>();
        check(m_desktop->start());
        check(m_accessibility->startBus(m_desktop->environment()));
        check(m_accessibility->startService());
        m_observer = X11Observer::on(m_desktop->display());
        QVERIFY(m_observer);
        m_server = std::make_unique<ScriptedServer>();
        m_server->willAlwaysAnswer([this](QTcpSocket& connection) {
            const QByteArray page = m_server->requests().constLast().target.mid(1);
            ScriptedServer::reply(200,
                                  "<html><head><title>Page " + page +
                                      "</title></head><body>Text</body></html>",
                                  "Content-Type: text/html\r\n")(connection);
        });
        m_bus = std::make_unique<AccessibilityBus>(m_accessibility->connection());
        m_addresses = std::make_unique<AccessibleAddresses>(*m_bus);
        m_family = Family::Other;
        m_remark.clear();
    }

    void cleanup()
    {
        m_addresses.reset();
        m_bus.reset();
        m_observer.reset();
        m_accessibility.reset();
        m_desktop.reset();
        m_server.reset();
    }

    void firefoxIsNotAsked()
    {
        check(m_accessibility->switchOn());
        Firefox firefox;
        check(firefox.start(m_accessibility->environment()));
        check(firefox.navigate(page("shown")));
        QTRY_VERIFY_WITH_TIMEOUT(front().windowTitle.startsWith(u"Page shown"_s), kPatienceMs);
        QVERIFY(front().processIdentifier > 0);
        expectSilence();
    }

    void gnomeWebTellsTheAddressOnShow()
    {
        check(m_accessibility->switchOn());
        const auto browser = startGnomeWeb({page("one")});
        QVERIFY(browser);
        QTRY_COMPARE_WITH_TIMEOUT(address(), page("one"), kPatienceMs);
        QCOMPARE(front().processIdentifier, browser->pid());
        // The running instance opens it in another tab.
        const auto caller = startGnomeWeb({page("two")});
        QVERIFY(caller);
        expectSoon("two");
        const auto windows = startGnomeWeb({u"--new-window"_s, page("three")});
        QVERIFY(windows);
        expectSoon("three");
        activate("two");
        expectSoon("two");
    }

    void gnomeWebTellsNothingWhenItKeepsNoHistory_data()
    {
        QTest::addColumn<QString>("option");
        QTest::newRow("incognito") << u"--incognito-mode"_s;
        QTest::newRow("incognito, in short") << u"-i"_s;
        QTest::newRow("private instance") << u"--private-instance"_s;
    }

    void gnomeWebTellsNothingWhenItKeepsNoHistory()
    {
        QFETCH(QString, option);
        check(m_accessibility->switchOn());
        const auto browser = startGnomeWeb({option, page("secret")});
        QVERIFY(browser);
        QTRY_VERIFY_WITH_TIMEOUT(front().windowTitle.startsWith(u"Page secret"_s), kPatienceMs);
        expectSilence();
    }

    void chromiumTellsTheAddressWhereItWasStartedForThat()
    {
        check(m_accessibility->switchOn());
        m_family = Family::Chromium;
        const auto browser = startChromium({page("one")});
        QVERIFY(browser);
        QTRY_COMPARE_WITH_TIMEOUT(address(), page("one"), kPatienceMs);
    }

    void chromiumTellsNothingOfIncognitoWindows()
    {
        check(m_accessibility->switchOn());
        m_family = Family::Chromium;
        const auto browser = startChromium({u"--incognito"_s, page("secret")});
        QVERIFY(browser);
        QTRY_VERIFY_WITH_TIMEOUT(front().windowTitle.startsWith(u"Page secret"_s), kPatienceMs);
        expectSilence();
        // Nor when the title is the one that it tells assistive programs.
        m_remark = u" (Incognito)"_s;
        expectSilence();
    }

    void aBrowserThatHangsDelaysNobody()
    {
        check(m_accessibility->switchOn());
        m_family = Family::Chromium;
        const auto browser = startChromium({page("one")});
        QVERIFY(browser);
        QTRY_COMPARE_WITH_TIMEOUT(address(), page("one"), kPatienceMs);
        const pid_t process = front().processIdentifier;
        support::Heartbeat heartbeat;
        ::kill(process, SIGSTOP);
        QTRY_COMPARE_WITH_TIMEOUT(address(), u"(none)"_s, kPatienceMs);
        // One call that blocks would cost 200.
        QVERIFY2(heartbeat.longestGap() < 180, qPrintable(QString::number(heartbeat.longestGap())));
        ::kill(process, SIGCONT);
        QTRY_COMPARE_WITH_TIMEOUT(address(), page("one"), kPatienceMs);
    }

    void withoutAccessibilityOrAProcessNothingIsTold()
    {
        QVERIFY(!m_addresses->addressIn(
            {.family = Family::Other, .processIdentifier = 1, .windowTitle = u"Page"_s}));
        QVERIFY(!m_addresses->state().isEmpty());
        check(m_accessibility->switchOn());
        QTRY_VERIFY_WITH_TIMEOUT(m_bus->isOn(), kPatienceMs);
        QVERIFY(!m_addresses->addressIn(
            {.family = Family::Other, .processIdentifier = 0, .windowTitle = u"Page"_s}));
    }

private:
    static void check(const platform::Outcome& outcome)
    {
        QVERIFY2(outcome, outcome ? "" : qPrintable(outcome.error().text));
    }

    QString page(const char* name) const
    {
        return m_server->url() + u'/' + QString::fromLatin1(name);
    }

    FrontBrowser front()
    {
        const auto application = m_observer->front();
        if (!application)
            return {};
        return {.family = m_family,
                .processIdentifier = application->processIdentifier,
                .windowTitle =
                    m_observer->windows.focusedWindowTitle(*application).value_or(QString()) +
                    m_remark};
    }

    QString address() { return m_addresses->addressIn(front()).value_or(u"(none)"_s); }

    /// Sixty reads without an answer, while the title stays.
    void expectSilence()
    {
        QTRY_VERIFY_WITH_TIMEOUT(m_bus->isOn(), kPatienceMs);
        QStringList leaks;
        int reads = 0;
        QTimer reader;
        connect(&reader, &QTimer::timeout, this, [&] {
            if (const auto found = m_addresses->addressIn(front()))
                leaks.append(*found);
            ++reads;
        });
        reader.start(50);
        QTRY_VERIFY_WITH_TIMEOUT(reads >= 60, kPatienceMs);
        QCOMPARE(leaks, QStringList());
    }

    void activate(const char* name)
    {
        QVERIFY(xdotool(*m_desktop,
                        {u"search"_s,
                         u"--onlyvisible"_s,
                         u"--name"_s,
                         u"^Page "_s + QString::fromLatin1(name),
                         u"windowactivate"_s,
                         u"--sync"_s}));
    }

    /// Its settings keep it from fetching lists of what to block.
    std::unique_ptr<ChildProcess> startGnomeWeb(const QStringList& arguments)
    {
        const QString folder = m_desktop->home() + u"/config/glib-2.0/settings"_s;
        QFile file(folder + u"/keyfile"_s);
        if (!QDir().mkpath(folder) || !file.open(QIODevice::WriteOnly) ||
            file.write("[org/gnome/epiphany/web]\nenable-adblock=false\n") < 0)
            return nullptr;
        file.close();
        QProcessEnvironment environment = m_accessibility->environment();
        environment.insert(u"GSETTINGS_BACKEND"_s, u"keyfile"_s);
        return startBrowser(u"epiphany"_s, arguments, environment);
    }

    std::unique_ptr<ChildProcess> startChromium(const QStringList& arguments)
    {
        const QStringList common{u"--no-sandbox"_s, // tests run as root
                                 u"--user-data-dir="_s + m_desktop->home() + u"/chromium"_s,
                                 u"--no-first-run"_s,
                                 u"--disable-gpu"_s,
                                 u"--disable-background-networking"_s,
                                 u"--disable-component-update"_s,
                                 u"--proxy-server=127.0.0.1:9"_s,
                                 u"--proxy-bypass-list=127.0.0.1"_s,
                                 u"--password-store=basic"_s,
                                 u"--force-renderer-accessibility"_s};
        return startBrowser(u"chromium"_s, common + arguments, m_accessibility->environment());
    }

    static std::unique_ptr<ChildProcess> startBrowser(const QString& program,
                                                      const QStringList& arguments,
                                                      const QProcessEnvironment& environment)
    {
        auto browser = std::make_unique<ChildProcess>();
        const auto started = browser->start(program, arguments, environment);
        return started ? std::move(browser) : nullptr;
    }

    void expectSoon(const char* name)
    {
        const QString title = u"Page "_s + QString::fromLatin1(name);
        QTRY_VERIFY_WITH_TIMEOUT(front().windowTitle.startsWith(title), kPatienceMs);
        QElapsedTimer time;
        time.start();
        QTRY_COMPARE_WITH_TIMEOUT(address(), page(name), kPatienceMs);
        qInfo("%s: after %lld ms", name, static_cast<long long>(time.elapsed()));
    }

    std::unique_ptr<HeadlessX11> m_desktop;
    std::unique_ptr<Accessibility> m_accessibility;
    std::unique_ptr<X11Observer> m_observer;
    std::unique_ptr<ScriptedServer> m_server;
    std::unique_ptr<AccessibilityBus> m_bus;
    std::unique_ptr<AccessibleAddresses> m_addresses;
    Family m_family = Family::Other;
    QString m_remark;
};

QUILLSTEP_TEST(TestAtspiAddresses)
#include "tst_atspi_addresses.moc"
