// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/atspi/accessible_reply.h"
#include "platform/linux/atspi/browser_memory.h"
#include "platform/linux/atspi/page_rules.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace platform::atspi;
using platform::browsers::Family;

class TestPageRules final : public QObject
{
    Q_OBJECT
private Q_SLOTS:

    void aWindowsTitleBeginsWithItsPages_data()
    {
        QTest::addColumn<QString>("window");
        QTest::addColumn<QString>("page");
        QTest::addColumn<Family>("family");
        QTest::addColumn<bool>("may");
        const auto row =
            [](const char* name, const QString& window, const QString& page) -> QTestData& {
            return QTest::newRow(name) << window << page;
        };
        row("same", u"Page"_s, u"Page"_s) << Family::Other << true;
        row("with the browser", u"Page — Browser"_s, u"Page"_s) << Family::Other << true;
        row("another page", u"Page — Browser"_s, u"Other"_s) << Family::Other << false;
        row("no title", u"127.0.0.1/a — Browser"_s, QString()) << Family::Other << true;
        row("other spaces", u"A  page — Browser"_s, u" A page"_s) << Family::Other << true;
        row("cut", QString(64, u'x') + u"… — Browser"_s, QString(300, u'x'))
            << Family::Other << true;
        row("Chromium", u"Page - Chromium"_s, u"Page"_s) << Family::Chromium << true;
        row("brackets of the page's own", u"Page (1) - Chromium"_s, u"Page (1)"_s)
            << Family::Chromium << true;
        row("private", u"Page - Chromium (Incognito)"_s, u"Page"_s) << Family::Chromium << false;
        row("private, Chinese", u"Page - Chromium（无痕）"_s, u"Page"_s)
            << Family::Chromium << false;
        row("private, Lithuanian", u"„Page - Chromium“ (Inkognito)"_s, u"Page"_s)
            << Family::Chromium << false;
        row("private, in the middle", u"Page - [InPrivate] - Browser"_s, u"Page"_s)
            << Family::Chromium << false;
        row("private, no title", u"Chromium (Incognito)"_s, QString()) << Family::Chromium << false;
    }

    void aWindowsTitleBeginsWithItsPages()
    {
        QFETCH(QString, window);
        QFETCH(QString, page);
        QFETCH(Family, family);
        QFETCH(bool, may);
        QCOMPARE(mayShow(window, page, family), may);
    }

    void anAddressIsTakenUnderEitherName()
    {
        QCOMPARE(addressAmong({{u"DocURL"_s, u"http://a/"_s}}), std::optional(u"http://a/"_s));
        QCOMPARE(addressAmong({{u"URI"_s, u"http://b/"_s}}), std::optional(u"http://b/"_s));
        QCOMPARE(addressAmong({{u"Title"_s, u"A"_s}}), std::nullopt);
        QCOMPARE(addressAmong({{u"URI"_s, QString(20'000, u'a')}}), std::nullopt);
    }

    void onlyKnownOptionsOfGnomeWebKeepAHistory_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<bool>("keeps");
        const auto row = [](const char* name, const char* line, bool keeps) {
            QTest::newRow(name) << QByteArray(line).replace(' ', '\0') << keeps;
        };
        row("alone", "epiphany ", true);
        row("with a page", "epiphany http://a/ ", true);
        row("window", "epiphany --new-window http://a/ ", true);
        row("service", "/usr/bin/epiphany --gapplication-service ", true);
        row("incognito", "epiphany --incognito-mode ", false);
        row("short", "epiphany -i ", false);
        row("several in short", "epiphany -ip ", false);
        row("private", "epiphany --private-instance ", false);
        row("unknown", "epiphany --whatever ", false);
        row("unreadable", "", false);
    }

    void onlyKnownOptionsOfGnomeWebKeepAHistory()
    {
        QFETCH(QByteArray, line);
        QFETCH(bool, keeps);
        QCOMPARE(keepsHistory(line), keeps);
    }

    void aFirefoxMayBePrivateThroughout()
    {
        QVERIFY(isPrivateThroughout(QByteArray("firefox\0-private\0", 17)));
        QVERIFY(isPrivateThroughout(QByteArray("firefox\0--Private\0", 18)));
        QVERIFY(!isPrivateThroughout(QByteArray("firefox\0--private-window\0", 25)));
        QVERIFY(!isPrivateThroughout("firefox"));
    }

    void aTextIsCutBetweenCharacters()
    {
        QCOMPARE(cutToBytes(u"abc"_s, 3), u"abc"_s);
        QCOMPARE(cutToBytes(u"abcd"_s, 3), u"abc"_s);
        QCOMPARE(cutToBytes(u"aé"_s, 2), u"a"_s);
        QCOMPARE(cutToBytes(u"aé"_s, 3), u"aé"_s);
        QCOMPARE(cutToBytes(u"🙂🙂"_s, 7), u"🙂"_s);
    }

    void whatIsRememberedOfBrowsersIsBounded()
    {
        BrowserMemory memory;
        const AccessibleObject window{.service = u":1.1"_s, .path = u"/w"_s};
        QCOMPARE(memory.isPrivate(window), std::nullopt);
        memory.setPrivate(window, true);
        QCOMPARE(memory.isPrivate(window), std::optional(true));
        for (int i = 0; i < 1000; ++i)
            memory.setProgram(i, window);
        QVERIFY(memory.program(999));
        QVERIFY(!memory.program(0));
        memory.forgetProgram(999);
        QVERIFY(!memory.program(999));
        memory.clear();
        QCOMPARE(memory.isPrivate(window), std::nullopt);
    }
};

QTEST_GUILESS_MAIN(TestPageRules)
#include "tst_page_rules.moc"
