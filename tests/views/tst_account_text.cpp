// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "account/display_name.h"
#include "views/models/account_text.h"

#include <QTest>

using account::UserResponse;

namespace {

UserResponse user(const std::optional<QString>& name, const std::optional<QString>& email = {})
{
    return {.id = 1, .name = name, .email = email, .phoneNumber = {}, .boards = {}};
}

} // namespace

class TestAccountText final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initialsAreThoseOfTheFirstTwoWords_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("initials");
        QTest::newRow("two words") << u"ada lovelace"_qs << u"AL"_qs;
        QTest::newRow("three words") << u"Jean Paul Sartre"_qs << u"JP"_qs;
        QTest::newRow("one word") << u"ada"_qs << u"A"_qs;
        QTest::newRow("runs of spaces") << u"  ada   lovelace "_qs << u"AL"_qs;
        QTest::newRow("spaces only") << u"  "_qs << u""_qs;
        QTest::newRow("empty") << u""_qs << u""_qs;
        QTest::newRow("a tab is no space") << u"ada\tlovelace king"_qs << u"AK"_qs;
        QTest::newRow("nor is another space") << u"ada\u00a0lovelace\u3000x"_qs << u"A"_qs;
        QTest::newRow("composed character") << u"e\u0301mile zola"_qs << u"E\u0301Z"_qs;
        QTest::newRow("capitals of two letters") << u"\u00dfa \u0149b"_qs << u"SS\u02bcN"_qs;
        QTest::newRow("not as Turkish has it") << u"irem i"_qs << u"II"_qs;
        QTest::newRow("outside the first plane") << u"\U00010428x y"_qs << u"\U00010400Y"_qs;
        QTest::newRow("family") << u"\U0001F468\u200d\U0001F469\u200d\U0001F467a b"_qs
                                << u"\U0001F468\u200d\U0001F469\u200d\U0001F467"
                                   u"B"_qs;
        QTest::newRow("flag") << u"\U0001F1E9\U0001F1EA\U0001F1EB b"_qs
                              << u"\U0001F1E9\U0001F1EA"
                                 u"B"_qs;
    }

    void initialsAreThoseOfTheFirstTwoWords()
    {
        QFETCH(const QString, name);
        QTEST(views::getInitials(user(name, u"x@example.org"_qs)), "initials");
    }

    void withoutANameTheAddressGivesTheInitial()
    {
        QCOMPARE(views::getInitials(user({}, u"xaver@example.org"_qs)), u"X"_qs);
        QCOMPARE(views::getInitials(user({}, u" x"_qs)), u" "_qs);
        QCOMPARE(views::getInitials(user({}, u""_qs)), u""_qs);
    }

    void withoutAnythingTheInitialIsU()
    {
        QCOMPARE(views::getInitials(user({})), u"U"_qs);
        QCOMPARE(views::getInitials(std::nullopt), u"U"_qs);
    }

    void theDisplayNameIsTheNameOrElseTheAddress()
    {
        QCOMPARE(account::displayName(user(u"ada"_qs, u"x@example.org"_qs)), u"ada"_qs);
        QCOMPARE(account::displayName(user({}, u"x@example.org"_qs)), u"x@example.org"_qs);
        QCOMPARE(account::displayName(user({})), u"User"_qs);
        QCOMPARE(account::displayName(std::nullopt), u"User"_qs);
    }

    void anEmptyNameIsShownEmpty()
    {
        QCOMPARE(account::displayName(user(u""_qs, u"x@example.org"_qs)), u""_qs);
        QCOMPARE(account::displayName(user({}, u""_qs)), u""_qs);
    }
};

QTEST_GUILESS_MAIN(TestAccountText)
#include "tst_account_text.moc"
