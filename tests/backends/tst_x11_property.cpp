// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/desktops/x11/x11_property.h"
#include "tests/support/test_program.h"

#include <QTest>

#include <array>
#include <string>

using namespace Qt::StringLiterals;
using namespace std::string_literals;
using namespace platform::x11;

namespace {
/// Numbers as a server might have given them.
X11Atoms someAtoms()
{
    X11Atoms atoms;
    atoms.utf8String = 300;
    atoms.compoundText = 301;
    return atoms;
}

std::optional<QString> decoded(xcb_atom_t type, const std::string& bytes, bool truncated = false)
{
    return textOf({.type = type, .format = 8, .bytes = bytes, .truncated = truncated}, someAtoms());
}

std::optional<QString> utf8(const std::string& bytes, bool truncated = false)
{
    return decoded(someAtoms().utf8String, bytes, truncated);
}
} // namespace

class TestX11Property final : public QObject
{
    Q_OBJECT
private Q_SLOTS:

    void textFollowsThePropertyType_data()
    {
        QTest::addColumn<xcb_atom_t>("type");
        QTest::addColumn<std::string>("bytes");
        QTest::addColumn<QString>("text");
        const xcb_atom_t compound = someAtoms().compoundText;
        const xcb_atom_t other = 999;

        QTest::newRow("UTF8_STRING") << someAtoms().utf8String
                                     << "Gr\xc3\xbc\xc3\x9f"
                                        "e \xf0\x9f\x98\x80"s
                                     << u"Grüße 😀"_s;
        QTest::newRow("STRING") << xcb_atom_t{XCB_ATOM_STRING}
                                << "Gr\xfc\xdf"
                                   "e"s
                                << u"Grüße"_s;
        QTest::newRow("COMPOUND_TEXT, Latin-1") << compound
                                                << "Gr\xfc\xdf"
                                                   "e"s
                                                << u"Grüße"_s;
        QTest::newRow("COMPOUND_TEXT, UTF-8 part")
            << compound << "a \x1b%G\xe2\x82\xac\x1b%@ b"s << u"a € b"_s;
        QTest::newRow("COMPOUND_TEXT, Japanese")
            << compound << "\x1b$(B\x46\x7c\x4b\x5c"s << u"日本"_s;
        QTest::newRow("another type") << other
                                      << "Stra\xc3\x9f"
                                         "e"s
                                      << u"Straße"_s;
        QTest::newRow("empty") << someAtoms().utf8String << ""s << u""_s;
        QTest::newRow("up to the first NUL") << someAtoms().utf8String << "one\0two\0"s << u"one"_s;
    }

    void textFollowsThePropertyType()
    {
        QFETCH(const xcb_atom_t, type);
        QFETCH(const std::string, bytes);
        QFETCH(const QString, text);
        QCOMPARE(decoded(type, bytes), std::optional(text));
    }

    void invalidUtf8BecomesReplacementCharacters()
    {
        QCOMPARE(utf8("a\xff"
                      "b"s),
                 std::optional(u"a\uFFFDb"_s));
        QCOMPARE(utf8("a\xe2\x82"s).value_or(QString()).left(2), u"a\uFFFD"_s);
        QVERIFY(!utf8("\xed\xa0\x80"s)->contains(QChar(0xD800)));
    }

    void aTruncatedTextLosesOnlyItsHalfCharacter_data()
    {
        QTest::addColumn<std::string>("bytes");
        QTest::addColumn<QString>("text");
        QTest::newRow("whole") << "ab"s << u"ab"_s;
        QTest::newRow("whole of two bytes") << "a\xc3\xbc"s << u"aü"_s;
        QTest::newRow("one of two bytes") << "a\xc3"s << u"a"_s;
        QTest::newRow("two of three bytes") << "a\xe2\x82"s << u"a"_s;
        QTest::newRow("three of four bytes") << "a\xf0\x9f\x98"s << u"a"_s;
        QTest::newRow("whole of four bytes") << "\xf0\x9f\x98\x80"s << u"😀"_s;
        QTest::newRow("nothing else") << "\xf0\x9f"s << u""_s;
    }

    void aTruncatedTextLosesOnlyItsHalfCharacter()
    {
        QFETCH(const std::string, bytes);
        QFETCH(const QString, text);
        QCOMPARE(utf8(bytes, true), std::optional(text));
    }

    void aTextThatEndsBeforeTheCutIsNotShortened()
    {
        QCOMPARE(utf8("a\xc3\0rest"s, true), std::optional(u"a\uFFFD"_s));
    }

    void aTruncatedCompoundTextKeepsItsBeginning()
    {
        const auto text = decoded(someAtoms().compoundText, "abc \x1b$(B\x46\x7c\x4b"s, true);
        QCOMPARE(text, std::optional(u"abc 日"_s));
    }

    void anAbsentOrNumericPropertyIsNoText()
    {
        QCOMPARE(textOf({}, someAtoms()), std::nullopt);
        QCOMPARE(textOf({.type = XCB_ATOM_CARDINAL, .format = 32, .bytes = "abcd"}, someAtoms()),
                 std::nullopt);
        QCOMPARE(textOf(X11Property::of(nullptr), someAtoms()), std::nullopt);
    }

    void windowClassComesBeforeTheInstance_data()
    {
        QTest::addColumn<std::string>("bytes");
        QTest::addColumn<QStringList>("names");
        QTest::newRow("both") << "xterm\0XTerm\0"s << QStringList{u"XTerm"_s, u"xterm"_s};
        QTest::newRow("without the last NUL")
            << "xterm\0XTerm"s << QStringList{u"XTerm"_s, u"xterm"_s};
        QTest::newRow("the same twice") << "foot\0foot\0"s << QStringList{u"foot"_s};
        QTest::newRow("instance only") << "xterm"s << QStringList{u"xterm"_s};
        QTest::newRow("empty instance") << "\0XTerm\0"s << QStringList{u"XTerm"_s};
        QTest::newRow("nothing") << ""s << QStringList{};
    }

    void windowClassComesBeforeTheInstance()
    {
        QFETCH(const std::string, bytes);
        QFETCH(const QStringList, names);
        const X11Property property{.type = XCB_ATOM_STRING, .format = 8, .bytes = bytes};
        QCOMPARE(windowClassNames(property, someAtoms()), names);
    }

    void numbersNeedTheirTypeAndWidth()
    {
        const std::array<std::uint32_t, 2> values{7, 0xFFFFFFFFU};
        const std::string_view bytes(reinterpret_cast<const char*>(values.data()), sizeof values);
        const X11Property property{.type = XCB_ATOM_CARDINAL, .format = 32, .bytes = bytes};
        QCOMPARE(numbersOf(property, XCB_ATOM_CARDINAL), (std::vector{7U, 0xFFFFFFFFU}));
        QCOMPARE(numberOf(property, XCB_ATOM_CARDINAL), 7U);
        QCOMPARE(numberOf(property, XCB_ATOM_WINDOW), 0U);

        X11Property narrow = property;
        narrow.format = 8;
        QCOMPARE(numberOf(narrow, XCB_ATOM_CARDINAL), 0U);
        X11Property cut = property;
        cut.bytes = bytes.substr(0, 3);
        QCOMPARE(numberOf(cut, XCB_ATOM_CARDINAL), 0U);
    }

    void aProcessNumberCountsOnItsOwnMachineOnly_data()
    {
        QTest::addColumn<QString>("clientMachine");
        QTest::addColumn<QString>("hostName");
        QTest::addColumn<bool>("isLocal");
        QTest::newRow("same") << u"desk"_s << u"desk"_s << true;
        QTest::newRow("case") << u"Desk"_s << u"desk"_s << true;
        QTest::newRow("domain on the window") << u"desk.example.org"_s << u"desk"_s << true;
        QTest::newRow("domain on the host") << u"desk"_s << u"desk.example.org"_s << true;
        QTest::newRow("not told") << u""_s << u"desk"_s << true;
        QTest::newRow("localhost") << u"localhost"_s << u"desk"_s << true;
        QTest::newRow("another") << u"server"_s << u"desk"_s << false;
        QTest::newRow("another with a domain") << u"server.example.org"_s << u"desk"_s << false;
        QTest::newRow("another domain") << u"desk.example.com"_s << u"desk.example.org"_s << false;
        QTest::newRow("longer name") << u"desktop"_s << u"desk"_s << false;
    }

    void aProcessNumberCountsOnItsOwnMachineOnly()
    {
        QFETCH(const QString, clientMachine);
        QFETCH(const QString, hostName);
        QTEST(isLocalMachine(clientMachine, hostName), "isLocal");
    }
};

QUILLSTEP_TEST(TestX11Property)
#include "tst_x11_property.moc"
