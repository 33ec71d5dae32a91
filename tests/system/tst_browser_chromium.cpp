// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// A real Chromium with our extension and host: what a tick would record is the page in front.
#include "tests/support/chromium.h"
#include "tests/support/required_programs.h"
#include "tests/support/test_program.h"
#include "tests/support/x11_test_window.h"
#include "tests/system/address_watch.h"
#include "tests/system/xdotool.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTest>

#include <csignal>

using platform::browsers::Family;

namespace {

constexpr int kPatienceMs = 30000;

QString text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

} // namespace

class TestBrowserChromium final : public QObject
{
    Q_OBJECT
private Q_SLOTS:

    void initTestCase()
    {
        REQUIRE_PROGRAMS(support::HeadlessX11::programs() + support::Chromium::programs() +
                         QStringList{text("xdotool")});
        REQUIRE(m_desktop.start());
        m_userData = m_desktop.x11().home() + text("/chromium-data");
        QVERIFY(BrowserDesktop::addHost(
            Family::Chromium, m_userData + text("/NativeMessagingHosts"), m_desktop.host()));
        REQUIRE(startBrowser());
    }

    void cleanupTestCase()
    {
        qInfo("longest time from title to address: %lld ms", m_watch.longestMs());
    }

    void theFirstPageIsKnown() { REQUIRE(m_watch.comesTo(text("first"), page("first"))); }

    void anotherTabIsKnown()
    {
        REQUIRE(m_browser.openTab(page("second")));
        REQUIRE(m_watch.comesTo(text("second"), page("second")));
    }

    void anotherPageInTheTabIsKnown()
    {
        REQUIRE(m_browser.navigate(page("second"), page("third")));
        REQUIRE(m_watch.comesTo(text("third"), page("third")));
    }

    void goingBackIsKnown()
    {
        REQUIRE(m_browser.run(page("third"), text("history.back()")));
        REQUIRE(m_watch.comesTo(text("second"), page("second")));
    }

    void changesOfTheHistoryWithinAPageAreKnown()
    {
        REQUIRE(m_browser.run(page("second"), text("history.pushState(0, '', '/pushed')")));
        REQUIRE(m_watch.comesTo(text("second"), page("pushed")));
        REQUIRE(m_browser.run(page("pushed"), text("history.replaceState(0, '', '/put?q=1')")));
        REQUIRE(m_watch.comesTo(text("second"), page("put?q=1")));
        REQUIRE(m_browser.run(page("put?q=1"), text("location.hash = 'here'")));
        REQUIRE(m_watch.comesTo(text("second"), page("put?q=1#here")));
    }

    void aChangeOfTheTitleKeepsTheAddress()
    {
        REQUIRE(m_browser.run(page("put?q=1#here"), text("document.title = 'renamed'")));
        REQUIRE(m_watch.comesTo(text("renamed"), page("put?q=1#here")));
    }

    void aThousandTitlesASecondEndAtTheLast()
    {
        REQUIRE(m_browser.run(page("put?q=1#here"),
                              text("new Promise(done => { let n = 0; const timer = setInterval(() "
                                   "=> { for (let i = 0; i < 4; ++i) document.title = 'title ' + "
                                   "++n; if (n >= 1000) { clearInterval(timer); done(); } }, 4) "
                                   "})")));
        REQUIRE(m_watch.comesTo(text("title 1000"), page("put?q=1#here")));
    }

    void aReloadKeepsTheAddress()
    {
        REQUIRE(m_browser.run(page("put?q=1#here"), text("location.reload()")));
        REQUIRE(m_watch.comesTo(text("put"), page("put?q=1#here")));
    }

    void shownTabsAreKnown()
    {
        REQUIRE(m_browser.show(page("first")));
        REQUIRE(m_watch.comesTo(text("first"), page("first")));
        REQUIRE(m_browser.show(page("put?q=1#here")));
        REQUIRE(m_watch.comesTo(text("put"), page("put?q=1#here")));
    }

    void theTabBehindAClosedOneIsKnown()
    {
        REQUIRE(m_browser.close(page("put?q=1#here")));
        REQUIRE(m_watch.comesTo(text("first"), page("first")));
    }

    void whatIsNoPlaceHasNoAddress()
    {
        const QString data = text("data:text/html,<title>data</title>");
        REQUIRE(m_browser.openTab(data));
        REQUIRE(m_watch.comesToNothing(text("data")));
        REQUIRE(m_browser.close(data));
        REQUIRE(m_watch.comesTo(text("first"), page("first")));
    }

    void pagesOfTheBrowserItselfHaveNoAddress()
    {
        REQUIRE(m_browser.openTab(text("chrome://version/")));
        REQUIRE(m_watch.comesToNothing(text("About")));
        REQUIRE(m_browser.close(text("chrome://version/")));
        REQUIRE(m_watch.comesTo(text("first"), page("first")));
    }

    void titlesOfAnyLetterAreFound()
    {
        const QString address = page("first");
        REQUIRE(
            m_browser.run(address, text("document.title = '\xC3\xBC \xF0\x9F\x98\x80 < \" &'")));
        REQUIRE(m_watch.comesTo(text("\xC3\xBC \xF0\x9F\x98\x80"), address));
        REQUIRE(m_browser.run(address, text("document.title = 'first'")));
        REQUIRE(m_watch.comesTo(text("first"), address));
    }

    void anotherWindowIsKnownAlsoWithTheSameTitle()
    {
        const quint64 firstWindow = m_desktop.front()->window;
        REQUIRE(m_browser.openWindow(page("first?2")));
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
        REQUIRE(m_browser.close(page("first?2")));
        REQUIRE(m_watch.comesTo(text("first"), page("first")));
    }

    void anotherApplicationInFrontHasNoAddress()
    {
        support::X11TestWindow window(m_desktop.x11().display());
        window.setClass("chromium", "Chromium"); // it says so, but belongs to another process
        window.setPid(static_cast<std::uint32_t>(QCoreApplication::applicationPid()));
        window.setTitle(text("first - Chromium"));
        QVERIFY(window.showAndFocus());
        QTRY_COMPARE(m_desktop.address(), QString());
        REQUIRE(m_watch.comesToNothing(text("first - Chromium")));
        window.destroy();
        REQUIRE(m_watch.comesTo(text("first"), page("first")));
    }

    void privateWindowsNeverHaveAnAddress()
    {
        const quint64 normalWindow = m_desktop.front()->window;
        REQUIRE(m_browser.openPrivateWindow(page("secret")));
        REQUIRE(m_watch.comesToNothing(text("secret"), 200));
        const quint64 privateWindow = m_desktop.front()->window;
        // The same page as in the other window, so that all titles agree.
        REQUIRE(m_browser.navigate(page("secret"), page("first#private")));
        REQUIRE(m_watch.comesToNothing(text("first"), 200));
        for (int round = 0; round < 5; ++round) {
            QVERIFY(m_desktop.activate(normalWindow));
            REQUIRE(m_watch.comesTo(text("first"), page("first")));
            QVERIFY(m_desktop.activate(privateWindow));
            REQUIRE(m_watch.staysAtNothing(200)); // from the first look on
        }
        REQUIRE(m_browser.close(page("first#private")));
        REQUIRE(m_watch.comesTo(text("first"), page("first")));
    }

    void aUsageMonitorThatStartsLaterIsTold()
    {
        m_desktop.listen();
        REQUIRE(m_watch.comesTo(text("first"), page("first")));
    }

    void theHostEndsWithTheUsageMonitorAndComesBackWithIt()
    {
        QCOMPARE(processesOf(m_desktop.host()).size(), 1);
        QVERIFY(m_desktop.stopListening());
        QVERIFY(waitUntilNoneRuns(m_desktop.host(), kPatienceMs));
        QVERIFY(m_desktop.startListening());
        // By itself: nothing happens in the browser meanwhile.
        QTRY_COMPARE_WITH_TIMEOUT(m_desktop.address(), page("first"), kPatienceMs);
        QCOMPARE(processesOf(m_desktop.host()).size(), 1);
    }

    void whileNoUsageMonitorRunsHostsAreStartedRarely()
    {
        QVERIFY(m_desktop.stopListening());
        QVERIFY(waitUntilNoneRuns(m_desktop.host(), kPatienceMs));
        // In place of the host the browser starts a script that counts and becomes the host.
        const QString starts = m_desktop.x11().home() + text("/starts");
        QFile script(m_desktop.x11().home() + text("/counting-host"));
        QVERIFY(script.open(QIODevice::WriteOnly));
        script.write("#!/bin/sh\necho start >>'" + starts.toUtf8() + "'\nexec '" +
                     m_desktop.host().toUtf8() + "' \"$@\"\n");
        script.close();
        QVERIFY(script.setPermissions(QFile::ReadOwner | QFile::ExeOwner));
        const QString hosts = m_userData + text("/NativeMessagingHosts");
        QVERIFY(BrowserDesktop::addHost(Family::Chromium, hosts, script.fileName()));
        QElapsedTimer watched;
        watched.start();
        for (int i = 0; watched.elapsed() < 10000; ++i) {
            REQUIRE(m_browser.run(page("first"), text("document.title = 'first %1'").arg(i)));
            QTest::qWait(20);
        }
        QFile counted(starts);
        QVERIFY(counted.open(QIODevice::ReadOnly));
        const auto count = counted.readAll().count('\n');
        QVERIFY2(count >= 1 && count <= 4, qPrintable(QString::number(count)));
        QVERIFY(BrowserDesktop::addHost(Family::Chromium, hosts, m_desktop.host()));
        REQUIRE(m_browser.run(page("first"), text("document.title = 'first'")));
        QVERIFY(m_desktop.startListening());
        QTRY_COMPARE_WITH_TIMEOUT(m_desktop.address(), page("first"), kPatienceMs);
    }

    void anAddressIsToldWithoutNameAndPassword()
    {
        QString withUser = page("user");
        withUser.replace(text("://"), text("://ada:secret@"));
        REQUIRE(m_browser.openTab(withUser));
        REQUIRE(m_watch.comesTo(text("user"), page("user")));
        REQUIRE(m_browser.close(withUser));
        REQUIRE(m_watch.comesTo(text("first"), page("first")));
    }

    void aKilledHostIsStartedAgain()
    {
        const auto hosts = processesOf(m_desktop.host());
        QCOMPARE(hosts.size(), 1);
        ::kill(hosts.constFirst(), SIGKILL);
        QTRY_VERIFY_WITH_TIMEOUT(m_desktop.reports().connectedBrowsers().isEmpty(), kPatienceMs);
        QTRY_COMPARE_WITH_TIMEOUT(m_desktop.address(), page("first"), kPatienceMs);
    }

    void anUnloadedWorkerComesBackWithTheNextEvent()
    {
        REQUIRE(m_browser.stopWorkers());
        QTRY_VERIFY_WITH_TIMEOUT(m_desktop.reports().connectedBrowsers().isEmpty(), kPatienceMs);
        REQUIRE(m_watch.comesToNothing(text("first")));
        REQUIRE(m_browser.navigate(page("first"), page("woken")));
        REQUIRE(m_watch.comesTo(text("woken"), page("woken")));
    }

    void aKilledBrowserLeavesNothingAndComesBack()
    {
        m_browser.kill();
        QTRY_VERIFY_WITH_TIMEOUT(m_desktop.reports().connectedBrowsers().isEmpty(), kPatienceMs);
        QVERIFY(waitUntilNoneRuns(m_desktop.host(), kPatienceMs));
        QCOMPARE(m_desktop.address(), QString());
        REQUIRE(startBrowser());
        REQUIRE(m_watch.comesTo(text("first"), page("first")));
    }

    // After that one: a browser that is killed soon may not have kept that the extension is on
    // again.
    void aDisabledExtensionTellsNothing()
    {
        const QString extensions = text("chrome://extensions/");
        REQUIRE(m_browser.openTab(extensions));
        REQUIRE(m_browser.run(extensions, setEnabled(false)));
        QTRY_VERIFY_WITH_TIMEOUT(m_desktop.reports().connectedBrowsers().isEmpty(), kPatienceMs);
        REQUIRE(m_browser.show(page("first")));
        REQUIRE(m_watch.comesToNothing(text("first"), 200));
        QVERIFY(waitUntilNoneRuns(m_desktop.host(), kPatienceMs));
        REQUIRE(m_browser.run(extensions, setEnabled(true)));
        QTRY_COMPARE_WITH_TIMEOUT(m_desktop.address(), page("first"), kPatienceMs);
        REQUIRE(m_browser.close(extensions));
        REQUIRE(m_watch.comesTo(text("first"), page("first")));
    }

    void aTickCostsNoMoreThanItMay()
    {
        const auto front = m_desktop.front();
        QVERIFY(front);
        QVERIFY(m_desktop.reports().addressIn(*front));
        QBENCHMARK
        {
            static_cast<void>(m_desktop.reports().addressIn(*front));
        }
    }

private:
    [[nodiscard]] platform::Outcome startBrowser()
    {
        const auto started = m_browser.start(
            m_desktop.environment(), m_userData, text(EXTENSION_FOLDER), page("first"));
        if (!started)
            return started;
        const bool isConnected = QTest::qWaitFor(
            [this] { return !m_desktop.reports().connectedBrowsers().isEmpty(); }, kPatienceMs);
        return isConnected ? platform::success()
                           : platform::Error{text("the extension starts no host")};
    }

    [[nodiscard]] static QString setEnabled(bool isEnabled)
    {
        return text("chrome.management.setEnabled('mhplccilcafjopbfaahhkohdjhajiigf', %1)")
            .arg(isEnabled ? text("true") : text("false"));
    }

    [[nodiscard]] QString page(const char* name) { return m_desktop.pages().page(text(name)); }

    BrowserDesktop m_desktop;
    AddressWatch m_watch{m_desktop};
    QString m_userData;
    support::Chromium m_browser;
};

QUILLSTEP_TEST(TestBrowserChromium)
#include "tst_browser_chromium.moc"
