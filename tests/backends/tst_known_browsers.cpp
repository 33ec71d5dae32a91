// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/xdg/known_browsers.h"
#include "tests/support/test_program.h"
#include "tracking/tracking_engine.h"

#include <QTest>

#include <algorithm>

using platform::browsers::Family;
using platform::browsers::familyOf;
using platform::browsers::isNeverAsked;
using platform::browsers::isWindowOfPage;
using platform::browsers::withDialect;

namespace {
QString text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}
} // namespace

class TestKnownBrowsers final : public QObject
{
    Q_OBJECT
private Q_SLOTS:

    void everyBrowserHasItsDialect_data()
    {
        QTest::addColumn<QString>("expected");
        const QStringList chromium{text("chromium"),
                                   text("chromium-browser"),
                                   text("Chromium"),
                                   text("chromium_chromium"),
                                   text("org.chromium.Chromium"),
                                   text("io.github.ungoogled_software.ungoogled_chromium"),
                                   text("google-chrome"),
                                   text("Google-chrome"),
                                   text("brave-browser"),
                                   text("com.brave.Browser"),
                                   text("brave_brave"),
                                   text("microsoft-edge"),
                                   text("com.microsoft.Edge"),
                                   text("vivaldi-stable"),
                                   text("com.vivaldi.Vivaldi"),
                                   text("opera"),
                                   text("opera_opera"),
                                   text("com.opera.Opera"),
                                   text("qutebrowser"),
                                   text("org.qutebrowser.qutebrowser")};
        const QStringList others{text("firefox"),
                                 text("firefox-esr"),
                                 text("firefox_firefox"),
                                 text("org.mozilla.firefox"),
                                 text("librewolf"),
                                 text("io.gitlab.librewolf-community"),
                                 text("waterfox"),
                                 text("Waterfox"),
                                 text("net.waterfox.waterfox"),
                                 text("zen"),
                                 text("zen-beta"),
                                 text("app.zen_browser.zen"),
                                 text("floorp"),
                                 text("one.ablaze.floorp"),
                                 text("epiphany"),
                                 text("org.gnome.Epiphany"),
                                 text("org.kde.falkon")};
        for (const QString& identifier : chromium)
            QTest::newRow(qPrintable(identifier)) << identifier + text("+Chrome");
        for (const QString& identifier : others)
            QTest::newRow(qPrintable(identifier)) << identifier + text("+Safari");
        for (const char* other : {"org.gnome.Terminal",
                                  "chrom",
                                  "firefoxes",
                                  "code",
                                  "Tor Browser",
                                  "torbrowser",
                                  "torbrowser-launcher",
                                  "start-tor-browser",
                                  "org.torproject.torbrowser-launcher"})
            QTest::newRow(other) << text(other);
    }

    void everyBrowserHasItsDialect()
    {
        QFETCH(QString, expected);
        const bool isOfChromium = expected.endsWith(text("+Chrome"));
        const bool isOther = expected.endsWith(text("+Safari"));
        const QString identifier =
            isOfChromium || isOther ? expected.chopped(text("+Chrome").size()) : expected;
        QCOMPARE(withDialect(identifier), expected);
        QCOMPARE(withDialect(expected), expected);
        QCOMPARE(familyOf(identifier).has_value(), isOfChromium || isOther);
        QCOMPARE(familyOf(expected), familyOf(identifier));
        QCOMPARE(tracking::addressScript(withDialect(identifier)).has_value(),
                 isOfChromium || isOther);
    }

    void identifiersThatHoldTheWordStayAsTheyAre()
    {
        QCOMPARE(withDialect(text("com.google.Chrome")), text("com.google.Chrome"));
        QCOMPARE(familyOf(text("com.google.Chrome")), std::optional(Family::Chromium));
        QCOMPARE(familyOf(text("com.google.Chrome.flextop.chrome-abc-Default")), std::nullopt);
        QCOMPARE(familyOf(text("org.example.ChromeViewer+Chrome")), std::nullopt);
        QCOMPARE(withDialect(text("org.example.Safari")), text("org.example.Safari"));
        QCOMPARE(withDialect(QString()), QString());
        QCOMPARE(withDialect(text("+Chrome")), text("+Chrome"));
    }

    void windowsAreRecognisedByThePageAndTheBrowser_data()
    {
        QTest::addColumn<QString>("window");
        QTest::addColumn<QString>("page");
        QTest::addColumn<bool>("isOfFirefox");
        QTest::addColumn<bool>("expected");
        const auto row = [](const char* window, const char* page, bool isOfFirefox, bool expected) {
            QTest::newRow(window) << text(window) << text(page) << isOfFirefox << expected;
        };
        const bool chromium = false;
        const bool firefox = true;
        row("A - Chromium", "A", chromium, true);
        row("A - B - Google Chrome", "A - B", chromium, true);
        row("A - Brave", "A", chromium, true);
        row("A - Microsoft\xE2\x80\x8B Edge", "A", chromium, true);
        row("A \xE2\x80\x94 Mozilla Firefox", "A", firefox, true);
        row("A - LibreWolf", "A", firefox, true);
        row("A - Personal - Microsoft\xE2\x80\x8B Edge", "A", chromium, true);
        row("A - Personal - Microsoft Edge", "A", chromium, true);
        row("A - B - Personal - Microsoft Edge", "A - B", chromium, true);
        row("A and 2 more pages - Personal - Microsoft\xE2\x80\x8B Edge", "A", chromium, true);
        row("A and 1 more page - Microsoft Edge", "A", chromium, true);
        row("A e mais 4 p\xC3\xA1ginas - Pessoal - Microsoft Edge", "A", chromium, true);
        row("(3) A / X and 10 more pages - Personal - Microsoft Edge", "(3) A / X", chromium, true);
        row("A - Work - Microsoft Edge Beta", "A", chromium, true);
        row("A \xE2\x80\x94 Waterfox", "A", firefox, true);
        row("A \xE2\x80\x94 Zen Browser", "A", firefox, true);
        row("A \xE2\x80\x94 Ablaze Floorp", "A", firefox, true);
        row("A and 2 more pages - [InPrivate] - Microsoft Edge", "A", chromium, false);
        row("A - InPrivate - Microsoft Edge", "A", chromium, false);
        row("A - Navigation InPrivate - Microsoft Edge", "A", chromium, false);
        row("A - C - Personal - Microsoft Edge", "A", chromium, false);
        row("A and more - Microsoft Edge", "A", chromium, false);
        row("AB 2 - Microsoft Edge", "A", chromium, false);
        row("A 1 of 2 - Microsoft Edge", "A", chromium, false);
        row("A -  - Microsoft Edge", "A", chromium, false);
        row("A - Personal - Google Chrome", "A", chromium, false);
        row("A \xE2\x80\x94 Zen Browser Private Browsing", "A", firefox, false);
        row("A \xE2\x80\x94 Tor Browser", "A", firefox, false);
        row("B - Chromium", "A", chromium, false);
        row("A and more - Chromium", "A", chromium, false);
        row("A - B - Chromium", "A", chromium, false);
        row("A - Opera", "A", firefox, false);
        row("A - Mozilla Firefox", "A", chromium, false);
        row("A - Chromium (Incognito)", "A", chromium, false);
        row("A - [InPrivate] - Microsoft Edge", "A", chromium, false);
        row("A \xE2\x80\x94 Mozilla Firefox Private Browsing", "A", firefox, false);
        row("A \xE2\x80\x94 Mozilla Firefox (Privater Modus)", "A", firefox, false);
        row("A \xE2\x80\x94 Navigation priv\xC3\xA9"
            "e de Mozilla Firefox",
            "A",
            firefox,
            false);
        row("A", "A", chromium, false);
        row("A - ", "A", chromium, false);
        row(" - Chromium", "", chromium, false);
        row("Chromium", "", chromium, false);
        row("", "", chromium, false);
    }

    void windowsAreRecognisedByThePageAndTheBrowser()
    {
        QFETCH(QString, window);
        QFETCH(QString, page);
        QFETCH(bool, isOfFirefox);
        QTEST(isWindowOfPage(window, page, isOfFirefox ? Family::Other : Family::Chromium),
              "expected");
    }

    void torBrowserIsNeverAskedByWhateverNameItIsKnown()
    {
        for (const char* name : {"Tor Browser", "torbrowser", "org.torproject.torbrowser-launcher"})
            QVERIFY2(isNeverAsked({text("Navigator"), text(name)}), name);
        QVERIFY(!isNeverAsked({text("Navigator"), text("firefox")}));
        QVERIFY(!isNeverAsked({}));
    }
};

QUILLSTEP_TEST(TestKnownBrowsers)
#include "tst_known_browsers.moc"
