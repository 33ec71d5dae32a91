// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/desktops/accessibility/accessibility_bus.h"
#include "backends/page_addresses/accessible_addresses.h"
#include "tests/support/test_program.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace platform::atspi;

class TestPageRules final : public QObject
{
    Q_OBJECT
private Q_SLOTS:

    void aWindowsTitleBeginsWithItsPages_data()
    {
        QTest::addColumn<QString>("window");
        QTest::addColumn<QString>("page");
        QTest::addColumn<bool>("may");
        const auto row =
            [](const char* name, const QString& window, const QString& page) -> QTestData& {
            return QTest::newRow(name) << window << page;
        };
        row("same", u"Page"_s, u"Page"_s) << true;
        row("with the browser", u"Page — Browser"_s, u"Page"_s) << true;
        row("another page", u"Page — Browser"_s, u"Other"_s) << false;
        row("no title", u"127.0.0.1/a — Browser"_s, QString()) << true;
        row("other spaces", u"A  page — Browser"_s, u" A page"_s) << true;
        row("cut", QString(64, u'x') + u"… — Browser"_s, QString(300, u'x')) << true;
        row("Chromium", u"Page - Chromium"_s, u"Page"_s) << true;
        row("brackets of the page's own", u"Page (1) - Chromium"_s, u"Page (1)"_s) << true;
        row("private", u"Page - Chromium (Incognito)"_s, u"Page"_s) << false;
        row("private, Chinese", u"Page - Chromium（无痕）"_s, u"Page"_s) << false;
        row("private, Lithuanian", u"„Page - Chromium“ (Inkognito)"_s, u"Page"_s) << false;
        row("private, in the middle", u"Page - [InPrivate] - Browser"_s, u"Page"_s) << false;
        row("private, no title", u"Chromium (Incognito)"_s, QString()) << false;
    }

    void aWindowsTitleBeginsWithItsPages()
    {
        QFETCH(QString, window);
        QFETCH(QString, page);
        QFETCH(bool, may);
        QCOMPARE(mayShow(window, page), may);
    }

    void anAddressIsTakenUnderItsName()
    {
        QCOMPARE(addressAmong({{u"URI"_s, u"http://b/"_s}}), std::optional(u"http://b/"_s));
        QCOMPARE(addressAmong({{u"Title"_s, u"A"_s}}), std::nullopt);
        QCOMPARE(addressAmong({{u"URI"_s, QString(20'000, u'a')}}), std::nullopt);
    }

    void onlyAGnomeWebWithKnownOptionsKeepsAHistory_data()
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
        row("Firefox", "/usr/lib/firefox-esr/firefox-esr http://a/ ", false);
        row("Firefox in a folder", "/opt/epiphany/firefox ", false);
    }

    void onlyAGnomeWebWithKnownOptionsKeepsAHistory()
    {
        QFETCH(QByteArray, line);
        QFETCH(bool, keeps);
        QCOMPARE(isGnomeWebWithHistory(line), keeps);
    }
};

QUILLSTEP_TEST(TestPageRules)
#include "tst_page_rules.moc"
