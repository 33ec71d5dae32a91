// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "base/strict_json.h"
#include "tests/support/test_program.h"

#include <QTest>

#include <iterator>
#include <simdjson.h>

using platform::StrictJson;

class TestStrictJson final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void wholeNumbersOfAnyLengthAreNumbers_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<double>("first");
        const auto row = [](const char* json, double first) {
            QTest::newRow(json) << QByteArray(json) << first;
        };
        row("[0,-1,9223372036854775807,-9223372036854775808,18446744073709551615]", 0);
        row("[1.5,123456789012345678901234567890.0]", 1.5);
        row("[18446744073709551616]", 0x1p64);
        row("[-9223372036854775809,1]", -0x1p63);
        row("[1,{\"a\":99999999999999999999}]", 1);
        row("[99999999999999999999,{\"a\":[-99999999999999999999]}]", 1e20);
    }

    void wholeNumbersOfAnyLengthAreNumbers()
    {
        QFETCH(const QByteArray, json);
        QFETCH(const double, first);
        StrictJson parser;
        const auto* const root = parser.parse(json.toStdString());
        QVERIFY(root != nullptr);
        double read = 0;
        QVERIFY(root->at(0).get(read) == simdjson::SUCCESS);
        QCOMPARE(read, first);
    }

    void digitsInTextsStayAsTheyAre_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QByteArray>("text");
        const QByteArray digits(30, '7');
        // The long number behind it is what has the text looked through.
        QTest::newRow("plain") << "[\"" + digits + "\"," + digits + ']' << digits;
        QTest::newRow("behind a quote")
            << "[\"\\\"" + digits + "\"," + digits + ']' << '"' + digits;
        QTest::newRow("before a backslash")
            << "[\"" + digits + "\\\\\"," + digits + ']' << digits + '\\';
    }

    void digitsInTextsStayAsTheyAre()
    {
        QFETCH(const QByteArray, json);
        QFETCH(const QByteArray, text);
        StrictJson parser;
        const auto* const root = parser.parse(json.toStdString());
        QVERIFY(root != nullptr);
        std::string_view read;
        QVERIFY(root->at(0).get(read) == simdjson::SUCCESS);
        QCOMPARE(QByteArray(read.data(), std::ssize(read)), text);
    }

    void whatIsNotStrictlyJsonIsRefused_data()
    {
        QTest::addColumn<QByteArray>("json");
        for (const char* const json :
             {"",        " ",     "{}x",       "{} {}",         "[1,]",     "{\"a\":1,}",
              "[01]",    "[+1]",  "[.5]",      "[1.]",          "[NaN]",    "[Infinity]",
              "[1e999]", "['a']", "[\"\\x\"]", "[\"\\ud800\"]", "[\"\t\"]", "[\"\xFF\"]",
              "[\"",     "{a:1}", "// c\n{}"})
            QTest::newRow(json) << QByteArray(json);
        QTest::newRow("NUL behind") << QByteArray("{}\0", 3);
    }

    void whatIsNotStrictlyJsonIsRefused()
    {
        QFETCH(const QByteArray, json);
        StrictJson parser;
        QVERIFY(parser.parse({json.data(), static_cast<std::size_t>(json.size())}) == nullptr);
    }

    void aParserIsUsedAgain()
    {
        StrictJson parser;
        QVERIFY(parser.parse("[1,") == nullptr);
        QCOMPARE(platform::wholeNumber(*parser.parse("12")), 12);
        QCOMPARE(platform::wholeNumber(*parser.parse("\xEF\xBB\xBF 1e2 ")), 100);
        QVERIFY(!platform::wholeNumber(*parser.parse("18446744073709551616")));
    }
};

QUILLSTEP_TEST(TestStrictJson)
#include "tst_strict_json.moc"
