// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "account/auth_records.h"
#include "tests/support/test_program.h"
#include "views/models/account_model.h"

#include <QTest>

using namespace Qt::StringLiterals;
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
        QTest::newRow("two words") << u"ada lovelace"_s << u"AL"_s;
        QTest::newRow("three words") << u"Jean Paul Sartre"_s << u"JP"_s;
        QTest::newRow("one word") << u"ada"_s << u"A"_s;
        QTest::newRow("runs of spaces") << u"  ada   lovelace "_s << u"AL"_s;
        QTest::newRow("spaces only") << u"  "_s << u""_s;
        QTest::newRow("empty") << u""_s << u""_s;
        QTest::newRow("a tab is no space") << u"ada\tlovelace king"_s << u"AK"_s;
        QTest::newRow("nor is another space") << u"ada\u00a0lovelace\u3000x"_s << u"A"_s;
        QTest::newRow("composed character") << u"e\u0301mile zola"_s << u"E\u0301Z"_s;
        QTest::newRow("capitals of two letters") << u"\u00dfa \u0149b"_s << u"SS\u02bcN"_s;
        QTest::newRow("not as Turkish has it") << u"irem i"_s << u"II"_s;
        QTest::newRow("outside the first plane") << u"\U00010428x y"_s << u"\U00010400Y"_s;
        QTest::newRow("family") << u"\U0001F468\u200d\U0001F469\u200d\U0001F467a b"_s
                                << u"\U0001F468\u200d\U0001F469\u200d\U0001F467"
                                   u"B"_s;
        QTest::newRow("flag") << u"\U0001F1E9\U0001F1EA\U0001F1EB b"_s
                              << u"\U0001F1E9\U0001F1EA"
                                 u"B"_s;
    }

    void initialsAreThoseOfTheFirstTwoWords()
    {
        QFETCH(const QString, name);
        QTEST(views::getInitials(user(name, u"x@example.org"_s)), "initials");
    }

    void withoutANameTheAddressGivesTheInitial()
    {
        QCOMPARE(views::getInitials(user({}, u"xaver@example.org"_s)), u"X"_s);
        QCOMPARE(views::getInitials(user({}, u" x"_s)), u" "_s);
        QCOMPARE(views::getInitials(user({}, u""_s)), u""_s);
    }

    void withoutAnythingTheInitialIsU()
    {
        QCOMPARE(views::getInitials(user({})), u"U"_s);
        QCOMPARE(views::getInitials(std::nullopt), u"U"_s);
    }

    void theDisplayNameIsTheNameOrElseTheAddress()
    {
        QCOMPARE(account::displayName(user(u"ada"_s, u"x@example.org"_s)), u"ada"_s);
        QCOMPARE(account::displayName(user({}, u"x@example.org"_s)), u"x@example.org"_s);
        QCOMPARE(account::displayName(user({})), u"User"_s);
        QCOMPARE(account::displayName(std::nullopt), u"User"_s);
    }

    void anEmptyNameIsShownEmpty()
    {
        QCOMPARE(account::displayName(user(u""_s, u"x@example.org"_s)), u""_s);
        QCOMPARE(account::displayName(user({}, u""_s)), u""_s);
    }
};

QUILLSTEP_TEST(TestAccountText)
#include "tst_account_text.moc"
