// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// A real Firefox with our extension and host: what a tick would record is the page in front.
#include "tests/support/firefox.h"
#include "tests/support/required_programs.h"
#include "tests/system/browser_desktop.h"
#include "tests/system/xdotool.h"

#include <QTest>

class TestBrowserFirefox final : public QObject
{
    Q_OBJECT
private Q_SLOTS:

    void initTestCase()
    {
        REQUIRE_PROGRAMS(support::HeadlessX11::programs() + support::Firefox::programs());
        const auto started = m_desktop.start();
        QVERIFY2(started, started ? "" : qPrintable(started.error().text));
        QVERIFY(m_desktop.addHost(platform::browsers::Family::Other,
                                  m_desktop.x11().home() +
                                      QStringLiteral("/.mozilla/native-messaging-hosts")));
        QVERIFY(m_desktop.addHost(platform::browsers::Family::Other,
                                  m_desktop.x11().home() +
                                      QStringLiteral("/config/mozilla/native-messaging-hosts")));
        const auto up = m_browser.start(
            m_desktop.environment(), "user_pref(\"extensions.background.idle.timeout\", 1000);\n");
        QVERIFY2(up, up ? "" : qPrintable(up.error().text));
    }

    void probe()
    {
        const auto watch = [&](const char* what, int ms) {
            QElapsedTimer t;
            t.start();
            QString last = QStringLiteral("?");
            while (t.elapsed() < ms) {
                QString now = m_desktop.title() + QStringLiteral(" => ") + m_desktop.address();
                if (now != last)
                    qDebug() << what << t.elapsed() << now;
                last = now;
                QTest::qWait(2);
            }
        };
        const auto ok = [](const auto& r) {
            if (!r)
                qDebug() << r.error().text;
            return bool(r);
        };
        QVERIFY(ok(m_browser.navigate(page("first"))));
        watch("first", 1000);
        QVERIFY(ok(m_browser.installExtension(QStringLiteral(EXTENSION_PACKAGE))));
        watch("installed", 8000);
        qDebug() << m_desktop.reports().state()
                 << (m_desktop.front() ? m_desktop.front()->processIdentifier : -1)
                 << m_browser.pid();
        auto home = m_browser.selectedTab();
        QVERIFY(ok(m_browser.openTab()));
        watch("tab", 500);
        QVERIFY(ok(m_browser.navigate(page("second"))));
        watch("second", 1500);
        QVERIFY(ok(m_browser.run(QStringLiteral("history.pushState(0,'','/pushed')"))));
        watch("push", 1500);
        QVERIFY(ok(m_browser.run(QStringLiteral("document.title='new title'"))));
        watch("title", 1500);
        QVERIFY(ok(m_browser.select(home.value())));
        watch("show", 1500);
        QVERIFY(ok(m_browser.openWindow()));
        watch("window", 500);
        QVERIFY(ok(m_browser.navigate(page("other"))));
        watch("window", 1500);
        QVERIFY(ok(m_browser.openPrivateWindow()));
        watch("private", 3000);
        QVERIFY(ok(m_browser.navigate(page("other"))));
        watch("private", 3000);
    }

private:
    QString page(const char* name) { return m_desktop.pages().page(QString::fromUtf8(name)); }

    BrowserDesktop m_desktop;
    support::Firefox m_browser;
};
QTEST_GUILESS_MAIN(TestBrowserFirefox)
#include "tst_browser_firefox.moc"
