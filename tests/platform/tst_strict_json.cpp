// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/strict_json.h"

#include <QTest>

using platform::StrictJson;
using platform::withLongIntegersAsDoubles;

class TestStrictJson final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void onlyIntegersBeyond64BitsAreRewritten_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QByteArray>("rewritten");
        const auto same = [](const char* json) {
            QTest::newRow(json) << QByteArray(json) << QByteArray(json);
        };
        const auto longer = [](const char* json, const char* rewritten) {
            QTest::newRow(json) << QByteArray(json) << QByteArray(rewritten);
        };
        same("[0,-1,9223372036854775807,-9223372036854775808,18446744073709551615]");
        same("[1.5,1e999,123456789012345678901234567890.0]");
        same("[\"123456789012345678901234567890\"]");
        same("[\"\\\"123456789012345678901234567890\"]");
        longer("18446744073709551616", "18446744073709551616e0");
        longer("[-9223372036854775809,1]", "[-9223372036854775809e0,1]");
        longer("{\"a\":99999999999999999999}", "{\"a\":99999999999999999999e0}");
    }

    void onlyIntegersBeyond64BitsAreRewritten()
    {
        QFETCH(const QByteArray, json);
        QFETCH(const QByteArray, rewritten);
        QCOMPARE(QByteArray::fromStdString(withLongIntegersAsDoubles(json.toStdString())),
                 rewritten);
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
        QVERIFY(parser.parse({json.data(), static_cast<std::size_t>(json.size())}).error() !=
                simdjson::SUCCESS);
    }

    void aParserIsUsedAgain()
    {
        StrictJson parser;
        QVERIFY(parser.parse("[1,").error() != simdjson::SUCCESS);
        QCOMPARE(platform::wholeNumber(parser.parse("12").value()), 12);
        QCOMPARE(platform::wholeNumber(parser.parse("\xEF\xBB\xBF 1e2 ").value()), 100);
        QVERIFY(!platform::wholeNumber(parser.parse("18446744073709551616").value()));
    }
};

QTEST_GUILESS_MAIN(TestStrictJson)
#include "tst_strict_json.moc"
