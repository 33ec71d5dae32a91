// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// A real Chromium with our extension and host: what a tick would record is the page in front.
#include "tests/support/chromium.h"
#include "tests/support/required_programs.h"
#include "tests/system/browser_desktop.h"
#include "tests/system/xdotool.h"

#include <QTest>

class TestBrowserChromium final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase()
    {
        REQUIRE_PROGRAMS(support::HeadlessX11::programs() + support::Chromium::programs());
        const auto started = m_desktop.start();
        QVERIFY2(started, started ? "" : qPrintable(started.error().text));
        m_userData = m_desktop.x11().home() + QStringLiteral("/chromium-data");
        QVERIFY(m_desktop.addHost(platform::browsers::Family::Chromium, m_userData + QStringLiteral("/NativeMessagingHosts")));
        const auto up = m_browser.start(m_desktop.environment(), m_userData, QStringLiteral(EXTENSION_FOLDER), page("first"));
        QVERIFY2(up, up ? "" : qPrintable(up.error().text));
    }
    void probe()
    {
        const auto watch = [&](const char* what, int ms) {
            QElapsedTimer t; t.start(); QString last = QStringLiteral("?");
            while (t.elapsed() < ms) { QString now = m_desktop.title() + QStringLiteral(" => ") + m_desktop.address(); if (now != last) qDebug() << what << t.elapsed() << now; last = now; QTest::qWait(2);} 
        };
        watch("start", 6000);
        qDebug() << m_desktop.reports().state() << m_desktop.front()->processIdentifier << m_browser.pid();
        QVERIFY(m_browser.openTab(page("second"))); watch("tab", 1500);
        QVERIFY(m_browser.navigate(page("second"), page("third"))); watch("nav", 1500);
        QVERIFY(m_browser.run(page("third"), QStringLiteral("history.pushState(0,'','/pushed')"))); watch("push", 1500);
        QVERIFY(m_browser.run(page("pushed"), QStringLiteral("document.title='new title'"))); watch("title", 1500);
        QVERIFY(m_browser.show(page("first"))); watch("show", 1500);
        QVERIFY(m_browser.openWindow(page("other"))); watch("window", 1500);
        QVERIFY(m_browser.openPrivateWindow(page("private"))); watch("private", 3000);
        QVERIFY(m_browser.navigate(page("private"), page("other"))); watch("private", 3000);
    }
private:
    QString page(const char* name) { return m_desktop.pages().page(QString::fromUtf8(name)); }
    BrowserDesktop m_desktop;
    QString m_userData;
    support::Chromium m_browser;
};
QTEST_GUILESS_MAIN(TestBrowserChromium)
#include "tst_browser_chromium.moc"
