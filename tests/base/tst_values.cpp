// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// The value formats: identifiers, JSON strings and numbers, texts cut off.
#include "base/exact_utf8.h"
#include "base/json_writer.h"
#include "base/uuid.h"
#include "tests/support/test_program.h"

#include <QTest>

#include <charconv>
#include <cmath>
#include <limits>
#include <random>
#include <set>

using namespace std::string_view_literals;
using platform::Uuid;

namespace {

std::string written(std::string_view text)
{
    std::string out;
    platform::appendJsonString(out, text);
    return out;
}

std::string written(double value)
{
    std::string out;
    return platform::appendJsonNumber(out, value) ? out : "refused";
}

} // namespace

class TestValues final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void uuidTextIsUpperCaseAndEitherCaseIsRead()
    {
        const auto id = Uuid::fromText("0123abcd-4567-89EF-0123-456789abcdef");
        QVERIFY(id);
        const auto text = id->toText();
        QCOMPARE(std::string(text.begin(), text.end()),
                 std::string("0123ABCD-4567-89EF-0123-456789ABCDEF"));
        QVERIFY(Uuid::fromText("00000000-0000-0000-0000-000000000000"));
    }

    void anythingButTheCanonicalUuidTextIsRefused()
    {
        for (const auto text : {""sv,
                                "0123ABCD-4567-89EF-0123-456789ABCDE"sv,
                                "0123ABCD-4567-89EF-0123-456789ABCDEF0"sv,
                                "{123ABCD-4567-89EF-0123-456789ABCDEF}"sv,
                                "0123ABCD-4567-89EF-0123-456789ABCDEG"sv,
                                "0123ABCD+4567-89EF-0123-456789ABCDEF"sv,
                                "0123ABC-D4567-89EF-0123-456789ABCDEF"sv,
                                " 123ABCD-4567-89EF-0123-456789ABCDEF"sv,
                                "0123ABCD-4567-89EF-0123-456789ABCDE\0"sv,
                                "0123ABCD456789EF0123456789ABCDEF"sv})
            QVERIFY2(!Uuid::fromText(text), std::string(text).c_str());
    }

    void randomUuidsAreVersion4AndDiffer()
    {
        std::set<Uuid> seen;
        for (int i = 0; i < 1000; ++i) {
            const Uuid id = Uuid::random();
            QCOMPARE(id.bytes[6] >> 4U, 4);
            QCOMPARE(id.bytes[8] >> 6U, 2);
            seen.insert(id);
            const auto text = id.toText();
            QVERIFY(Uuid::fromText({text.data(), text.size()}) == id);
        }
        QCOMPARE(seen.size(), 1000UL);
    }

    void stringsAreEscapedAsReadersOfTheFileExpect()
    {
        QCOMPARE(written(""sv), std::string("\"\""));
        QCOMPARE(written("a/b\"c\\d"sv), std::string("\"a\\/b\\\"c\\\\d\""));
        QCOMPARE(written("\b\f\n\r\t"sv), std::string("\"\\b\\f\\n\\r\\t\""));
        QCOMPARE(written("\0\x01\x1f\x7f"sv), std::string("\"\\u0000\\u0001\\u001f\x7f\""));
        QCOMPARE(written("ü 中 \u2028 😀"sv), std::string("\"ü 中 \u2028 😀\""));
    }

    void numbersAreShortAndLegible()
    {
        QCOMPARE(written(1.0), std::string("1"));
        QCOMPARE(written(0.0), std::string("0"));
        QCOMPARE(written(-0.0), std::string("-0"));
        QCOMPARE(written(785000000.123456), std::string("785000000.123456"));
        QCOMPARE(written(700000000.0), std::string("700000000"));
        QCOMPARE(written(1e15), std::string("1000000000000000"));
        QCOMPARE(written(0x1p54), std::string("18014398509481984"));
        QCOMPARE(written(1e17), std::string("1e+17"));
        QCOMPARE(written(1e-4), std::string("0.0001"));
        QCOMPARE(written(1e-5), std::string("1e-05"));
        QCOMPARE(written(0.1 + 0.2), std::string("0.30000000000000004"));
    }

    void numbersThatJsonCannotHoldAreRefused()
    {
        QCOMPARE(written(std::numeric_limits<double>::infinity()), std::string("refused"));
        QCOMPARE(written(-std::numeric_limits<double>::infinity()), std::string("refused"));
        QCOMPARE(written(std::numeric_limits<double>::quiet_NaN()), std::string("refused"));
    }

    void everyNumberReadsBackTheSame()
    {
        std::mt19937_64 random(1);
        for (int i = 0; i < 200'000; ++i) {
            const auto value = std::bit_cast<double>(random());
            if (!std::isfinite(value))
                continue;
            const std::string text = written(value);
            double back = 0;
            const auto end = std::from_chars(text.data(), text.data() + text.size(), back);
            QVERIFY(end.ec == std::errc() && end.ptr == text.data() + text.size());
            QVERIFY(back == value);
        }
    }

    void textIsCutBetweenCharacters()
    {
        const std::string text = "a\u00e4\u20ac\U0001F600z"; // of 1, 2, 3, 4 and 1 bytes
        const std::size_t ends[] = {0, 1, 1, 3, 3, 3, 6, 6, 6, 6, 10, 11, 11};
        for (std::size_t limit = 0; limit < std::size(ends); ++limit) {
            QCOMPARE(std::string(platform::cutUtf8(std::string_view(text), limit)),
                     text.substr(0, ends[limit]));
            QCOMPARE(platform::cutUtf8(QString::fromStdString(text), limit).toStdString(),
                     text.substr(0, ends[limit]));
        }
    }

    void whatIsNoUtf8IsCutToo()
    {
        const std::string continuations(10, '\x80');
        QCOMPARE(platform::cutUtf8(std::string_view(continuations), 5).size(), 5UL);
        QCOMPARE(platform::cutUtf8("a\xFFz"sv, 2), "a"sv);
        const QString half = QStringLiteral("ab") + QChar(0xD83D); // of a surrogate pair
        QCOMPARE(platform::cutUtf8(half, 100), half);
    }

    void aPartOfACharacterAtTheEndIsLeftOut()
    {
        QCOMPARE(platform::withoutPartialCharacter(""sv), ""sv);
        QCOMPARE(platform::withoutPartialCharacter("ab"sv), "ab"sv);
        QCOMPARE(platform::withoutPartialCharacter("a\xC3"sv), "a"sv);
        QCOMPARE(platform::withoutPartialCharacter("a\xC3\xA4"sv), "a\xC3\xA4"sv);
        QCOMPARE(platform::withoutPartialCharacter("a\xE2\x82"sv), "a"sv);
        QCOMPARE(platform::withoutPartialCharacter("a\xF0\x9F\x98"sv), "a"sv);
        QCOMPARE(platform::withoutPartialCharacter("\xF0\x9F\x98\x80"sv), "\xF0\x9F\x98\x80"sv);
    }
};

QUILLSTEP_TEST(TestValues)
#include "tst_values.moc"
