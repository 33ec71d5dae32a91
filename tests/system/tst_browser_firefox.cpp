// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// A real Firefox with our extension and host: what a tick would record is the page in front.
#include "tests/support/firefox.h"
#include "tests/support/passing_time.h"
#include "tests/support/required_programs.h"
#include "tests/support/test_program.h"
#include "tests/system/address_watch.h"
#include "tests/system/xdotool.h"

#include <QTest>

#include <chrono>
#include <memory>

using platform::browsers::Family;

namespace {

constexpr int kPatienceMs = 30000;

QString text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

} // namespace

class TestBrowserFirefox final : public QObject
{
    Q_OBJECT
private Q_SLOTS:

    void initTestCase()
    {
        REQUIRE_PROGRAMS(support::HeadlessX11::programs() + support::Firefox::programs() +
                         QStringList{text("xdotool")});
        REQUIRE(m_desktop.start());
        // It looks there also when its profiles are in the config home.
        QVERIFY(BrowserDesktop::addHost(Family::Other,
                                        m_desktop.x11().home() +
                                            text("/.mozilla/native-messaging-hosts"),
                                        m_desktop.host()));
        REQUIRE(startBrowser());
    }

    void cleanupTestCase()
    {
        qInfo("longest time from title to address: %lld ms", m_watch.longestMs());
    }

    void theFirstPageIsKnown() { REQUIRE(m_watch.comesTo(text("first"), page("first"))); }

    void theExtensionIsNotUnloadedWhileItIsIdle()
    {
        // The page of an extension is unloaded after a second here, but not while it has a host.
        support::letPass(std::chrono::seconds(4));
        REQUIRE(m_watch.comesTo(text("first"), page("first")));
    }

    void anotherTabIsKnown()
    {
        const auto tab = m_browser->openTab();
        REQUIRE(tab);
        REQUIRE(m_watch.comesToNothing(text("Mozilla Firefox")));
        REQUIRE(m_browser->navigate(page("second")));
        REQUIRE(m_watch.comesTo(text("second"), page("second")));
    }

    void anotherPageInTheTabIsKnown()
    {
        REQUIRE(m_browser->navigate(page("third")));
        REQUIRE(m_watch.comesTo(text("third"), page("third")));
    }

    void goingBackIsKnown()
    {
        REQUIRE(m_browser->run(text("history.back()")));
        REQUIRE(m_watch.comesTo(text("second"), page("second")));
    }

    void changesOfTheHistoryWithinAPageAreKnown()
    {
        REQUIRE(m_browser->run(text("history.pushState(0, '', '/pushed')")));
        REQUIRE(m_watch.comesTo(text("second"), page("pushed")));
        REQUIRE(m_browser->run(text("history.replaceState(0, '', '/put?q=1')")));
        REQUIRE(m_watch.comesTo(text("second"), page("put?q=1")));
        REQUIRE(m_browser->run(text("location.hash = 'here'")));
        REQUIRE(m_watch.comesTo(text("second"), page("put?q=1#here")));
    }

    void aChangeOfTheTitleKeepsTheAddress()
    {
        REQUIRE(m_browser->run(text("document.title = 'renamed'")));
        REQUIRE(m_watch.comesTo(text("renamed"), page("put?q=1#here")));
    }

    void aReloadKeepsTheAddress()
    {
        REQUIRE(m_browser->run(text("location.reload()")));
        REQUIRE(m_watch.comesTo(text("put"), page("put?q=1#here")));
    }

    void shownTabsAreKnown()
    {
        const auto second = m_browser->selectedTab();
        REQUIRE(second);
        REQUIRE(m_browser->select(m_home));
        REQUIRE(m_watch.comesTo(text("first"), page("first")));
        REQUIRE(m_browser->select(second.value()));
        REQUIRE(m_watch.comesTo(text("put"), page("put?q=1#here")));
    }

    void theTabBehindAClosedOneIsKnown()
    {
        REQUIRE(m_browser->closeTab());
        REQUIRE(m_browser->select(m_home));
        REQUIRE(m_watch.comesTo(text("first"), page("first")));
    }

    void anotherWindowIsKnownAlsoWithTheSameTitle()
    {
        const quint64 firstWindow = m_desktop.front()->window;
        REQUIRE(m_browser->openWindow());
        REQUIRE(m_browser->navigate(page("first?2")));
        REQUIRE(m_watch.comesTo(text("first"), page("first?2")));
        const quint64 secondWindow = m_desktop.front()->window;
        QVERIFY(secondWindow != firstWindow);
        for (int round = 0; round < 5; ++round) {
            QVERIFY(m_desktop.activate(firstWindow));
            REQUIRE(m_watch.comesTo(text("first"), page("first")));
            QVERIFY(m_desktop.activate(secondWindow));
            REQUIRE(m_watch.comesTo(text("first"), page("first?2")));
        }
    }

    void behindAMinimisedWindowIsTheOther()
    {
        QVERIFY(xdotool(m_desktop.x11(),
                        {text("windowminimize"), QString::number(m_desktop.front()->window)}));
        REQUIRE(m_watch.comesTo(text("first"), page("first")));
        REQUIRE(m_browser->closeTab());
        REQUIRE(m_browser->select(m_home));
        REQUIRE(m_watch.comesTo(text("first"), page("first")));
    }

    void privateWindowsNeverHaveAnAddress()
    {
        const quint64 normalWindow = m_desktop.front()->window;
        const auto privateTab = m_browser->openPrivateWindow();
        REQUIRE(privateTab);
        REQUIRE(m_browser->navigate(page("secret")));
        REQUIRE(m_watch.comesToNothing(text("secret"), 200));
        const quint64 privateWindow = m_desktop.front()->window;
        QVERIFY(privateWindow != normalWindow);
        // The same page as in the other window, so that the titles agree.
        REQUIRE(m_browser->navigate(page("first")));
        REQUIRE(m_watch.comesToNothing(text("first"), 200));
        for (int round = 0; round < 5; ++round) {
            QVERIFY(m_desktop.activate(normalWindow));
            REQUIRE(m_watch.comesTo(text("first"), page("first")));
            QVERIFY(m_desktop.activate(privateWindow));
            REQUIRE(m_watch.staysAtNothing(200)); // from the first look on
        }
        REQUIRE(m_browser->closeTab());
        REQUIRE(m_browser->select(m_home));
        REQUIRE(m_watch.comesTo(text("first"), page("first")));
    }

    void aPageThatChangesBehindAPrivateWindowIsKnownAfterIt()
    {
        const quint64 normalWindow = m_desktop.front()->window;
        REQUIRE(m_browser->run(text("setTimeout(() => { document.title = 'changed' }, 1500)")));
        REQUIRE(m_browser->openPrivateWindow());
        REQUIRE(m_browser->navigate(page("secret")));
        const auto privateTab = m_browser->selectedTab();
        REQUIRE(privateTab);
        REQUIRE(m_watch.comesToNothing(text("secret"), 1000));
        REQUIRE(m_browser->closeTab());
        REQUIRE(m_browser->select(m_home));
        QVERIFY(m_desktop.activate(normalWindow));
        REQUIRE(m_watch.comesTo(text("changed"), page("first")));
    }

    void aUsageMonitorThatStartsLaterIsTold()
    {
        m_desktop.listen();
        REQUIRE(m_watch.comesTo(text("changed"), page("first")));
    }

    void theHostEndsWithTheUsageMonitorAndComesBackWithIt()
    {
        QVERIFY(m_desktop.stopListening());
        QVERIFY(waitUntilNoneRuns(m_desktop.host(), kPatienceMs));
        QVERIFY(m_desktop.startListening());
        // The page of the extension may have been unloaded meanwhile: a change wakes it.
        int changes = 0;
        QTRY_VERIFY_WITH_TIMEOUT(
            m_browser->run(text("document.title = 'change %1'").arg(++changes)) &&
                !m_desktop.reports().connectedBrowsers().isEmpty(),
            kPatienceMs);
        REQUIRE(m_browser->run(text("document.title = 'changed'")));
        REQUIRE(m_watch.comesTo(text("changed"), page("first")));
    }

    void aKilledBrowserLeavesNothingAndComesBack()
    {
        m_browser->process().kill();
        QTRY_VERIFY_WITH_TIMEOUT(m_desktop.reports().connectedBrowsers().isEmpty(), kPatienceMs);
        QCOMPARE(m_desktop.address(), QString());
        REQUIRE(startBrowser());
        REQUIRE(m_watch.comesTo(text("first"), page("first")));
    }

    void whereTheExtensionIsAllowedInPrivateItStillTellsNothing()
    {
        m_browser.reset();
        REQUIRE(startBrowser(true));
        REQUIRE(m_watch.comesTo(text("first"), page("first")));
        REQUIRE(m_browser->openPrivateWindow());
        REQUIRE(m_browser->navigate(page("secret")));
        REQUIRE(m_watch.comesToNothing(text("secret"), 200));
        REQUIRE(m_browser->navigate(page("first")));
        REQUIRE(m_watch.comesToNothing(text("first"), 200));
    }

private:
    [[nodiscard]] platform::Outcome startBrowser(bool alsoInPrivate = false)
    {
        m_browser = std::make_unique<support::Firefox>();
        const QByteArray preferences = "user_pref(\"extensions.background.idle.timeout\", 1000);\n"
                                       "user_pref(\"dom.min_background_timeout_value\", 4);\n";
        if (const auto started = m_browser->start(m_desktop.environment(), preferences); !started)
            return started;
        if (const auto there = m_browser->navigate(page("first")); !there)
            return there;
        if (const auto installed =
                m_browser->installExtension(text(EXTENSION_PACKAGE), alsoInPrivate);
            !installed)
            return installed;
        const auto home = m_browser->selectedTab();
        if (!home)
            return home.error();
        m_home = home.value();
        const bool isConnected = QTest::qWaitFor(
            [this] { return !m_desktop.reports().connectedBrowsers().isEmpty(); }, kPatienceMs);
        return isConnected ? platform::success()
                           : platform::Error{text("the extension starts no host")};
    }

    [[nodiscard]] QString page(const char* name) { return m_desktop.pages().page(text(name)); }

    BrowserDesktop m_desktop;
    AddressWatch m_watch{m_desktop};
    std::unique_ptr<support::Firefox> m_browser;
    QString m_home;
};

QUILLSTEP_TEST(TestBrowserFirefox)
#include "tst_browser_firefox.moc"
