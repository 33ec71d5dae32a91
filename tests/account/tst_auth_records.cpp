// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "account/auth_records.h"
#include "tests/support/test_program.h"

#include <QTest>

using account::decodeErrorResponse;
using account::decodeTokenResponse;
using account::ErrorResponse;
using account::TokenResponse;

namespace {

/// The complaint about `json`, without its beginning; empty when it is a TokenResponse.
QString complaint(const QByteArray& json)
{
    const auto decoded = decodeTokenResponse(json.toStdString());
    if (decoded)
        return {};
    QString text = decoded.error().text;
    return text.remove(QStringLiteral("The service gave an answer that makes no sense: "));
}

QByteArray withUserId(const QByteArray& number)
{
    return R"({"success":true,"user":{"id":)" + number + "}}";
}

} // namespace

class TestAuthRecords final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void aWholeAnswerIsRead()
    {
        const auto decoded = decodeTokenResponse(R"({
            "success": true, "token": "T\u00e4\/", "error": "e", "more": [1, {"x": null}],
            "user": {"id": 9007199254740993, "name": "Ada", "email": "a@example.org", "phone_number": "+1",
                     "boards": [{"id": -1, "name": "One", "user_id": 2}, {"id": 3}]}})");
        QVERIFY(bool(decoded));
        const TokenResponse expected{
            .success = true,
            .token = QStringLiteral("T\u00e4/"),
            .user =
                account::UserResponse{
                    .id = 9007199254740993,
                    .name = QStringLiteral("Ada"),
                    .email = QStringLiteral("a@example.org"),
                    .phoneNumber = QStringLiteral("+1"),
                    .boards = {{{.id = -1, .name = QStringLiteral("One"), .userId = 2},
                                {.id = 3, .name = {}, .userId = {}}}},
                },
            .error = QStringLiteral("e"),
        };
        QCOMPARE(decoded.value(), expected);
    }

    void whatIsNullOrMissingIsAbsent()
    {
        const auto missing = decodeTokenResponse(R"({"success":false})");
        const auto nulls =
            decodeTokenResponse(R"({"success":false,"token":null,"user":null,"error":null})");
        QVERIFY(bool(missing));
        QVERIFY(bool(nulls));
        QCOMPARE(missing.value(), TokenResponse());
        QCOMPARE(nulls.value(), TokenResponse());
    }

    void theFirstOfTwoEqualKeysCounts()
    {
        const auto decoded = decodeTokenResponse(R"({"success":true,"token":"a","token":5})");
        QVERIFY(bool(decoded));
        QCOMPARE(decoded.value().token, QStringLiteral("a"));
    }

    void aByteOrderMarkInATextStays()
    {
        const auto decoded =
            decodeTokenResponse("{\"success\":true,\"token\":\"\xEF\xBB\xBF\xEF\xBB\xBFT\"}");
        QVERIFY(bool(decoded));
        QCOMPARE(decoded.value().token, QStringLiteral("\uFEFF\uFEFFT"));
    }

    void aByteOrderMarkIsSkipped()
    {
        QVERIFY(bool(decodeTokenResponse("\xEF\xBB\xBF{\"success\":true}")));
    }

    void whatIsWrongIsNamed_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QString>("text");
        const auto row = [](const QByteArray& json, const char* text) {
            QTest::newRow(json.constData()) << json << QString::fromLatin1(text);
        };
        const char* const notJson = "The service gave an answer that is not JSON";
        row("{}", "\"success\" is missing");
        row(R"({"success":null})", "\"success\" is missing");
        row(R"({"success":1})", "\"success\" is not true or false");
        row(R"({"success":"true"})", "\"success\" is not true or false");
        row(R"({"success":true,"token":5})", "\"token\" is not a text");
        row(R"({"success":true,"error":{}})", "\"error\" is not a text");
        row(R"({"success":true,"user":[]})", "\"user\" is not an object");
        row(R"({"success":true,"user":{}})", "\"user.id\" is missing");
        row(R"({"success":true,"user":{"id":1,"boards":{}}})", "\"user.boards\" is not a list");
        row(R"({"success":true,"user":{"id":1,"boards":[{"id":1},{}]}})",
            "\"user.boards[1].id\" is missing");
        row(R"({"success":true,"user":{"id":1,"boards":[null]}})",
            "\"user.boards[0]\" is not an object");
        row("[]", "it is not an object");
        row("null", "it is not an object");
        row("true", "it is not an object");
        row("", notJson);
        row("{\"success\":true} x", notJson);
        row("{\"success\":true", notJson);
        row("{\"success\":true,\"more\":1e999}", notJson);
        row("{\"success\":true,\"token\":\"\xFF\"}", notJson);
        row(R"({"success":true,"token":"\ud800"})", notJson);
    }

    void whatIsWrongIsNamed()
    {
        QFETCH(const QByteArray, json);
        QFETCH(const QString, text);
        QCOMPARE(complaint(json), text);
    }

    void wholeNumbersOf64BitsAreRead_data()
    {
        QTest::addColumn<QByteArray>("number");
        QTest::addColumn<qint64>("value");
        QTest::newRow("0") << QByteArray("0") << qint64(0);
        QTest::newRow("-0") << QByteArray("-0") << qint64(0);
        QTest::newRow("1.0") << QByteArray("1.0") << qint64(1);
        QTest::newRow("1e3") << QByteArray("1e3") << qint64(1000);
        QTest::newRow("-25e-1 times ten") << QByteArray("-250e-1") << qint64(-25);
        QTest::newRow("largest") << QByteArray("9223372036854775807")
                                 << std::numeric_limits<qint64>::max();
        QTest::newRow("smallest") << QByteArray("-9223372036854775808")
                                  << std::numeric_limits<qint64>::min();
        QTest::newRow("as a double")
            << QByteArray("-4.503599627370497e15") << qint64(-4503599627370497);
    }

    void wholeNumbersOf64BitsAreRead()
    {
        QFETCH(const QByteArray, number);
        QFETCH(const qint64, value);
        const auto decoded = decodeTokenResponse(withUserId(number).toStdString());
        QVERIFY(bool(decoded));
        QCOMPARE(decoded.value().user->id, value);
    }

    void otherNumbersAreRefused_data()
    {
        QTest::addColumn<QByteArray>("number");
        for (const char* const number : {"1.5",
                                         "9223372036854775808",
                                         "-9223372036854775809",
                                         "-9223372036854775808.0",
                                         "18446744073709551616",
                                         "9223372036854775807.0",
                                         "1e19",
                                         "1e-1",
                                         "\"1\"",
                                         "true",
                                         "[]",
                                         "123456789012345678901234567890"})
            QTest::newRow(number) << QByteArray(number);
    }

    void otherNumbersAreRefused()
    {
        QFETCH(const QByteArray, number);
        QCOMPARE(complaint(withUserId(number)),
                 QStringLiteral("\"user.id\" is not a whole number"));
    }

    void longNumbersElsewhereDoNotMatter()
    {
        const auto decoded = decodeTokenResponse(
            R"({"success":true,"more":123456789012345678901234567890,"user":{"id":9223372036854775807}})");
        QVERIFY(bool(decoded));
        QCOMPARE(decoded.value().user->id, std::numeric_limits<qint64>::max());
    }

    void nestingBeyond512LevelsIsRefused()
    {
        const auto nested = [](int levels) {
            return R"({"success":true,"more":)" + QByteArray(levels - 1, '[') +
                   QByteArray(levels - 1, ']') + "}";
        };
        QCOMPARE(complaint(nested(512)), QString());
        QVERIFY(!complaint(nested(513)).isEmpty());
    }

    void errorsKeepTheOrderOfTheAnswer()
    {
        const auto decoded =
            decodeErrorResponse(R"({"errors":{"z":["1","2"],"a":[],"z":["3"]},"message":null})");
        QVERIFY(bool(decoded));
        const ErrorResponse expected{
            .message = std::nullopt,
            .errors = {{{QStringLiteral("z"), {QStringLiteral("1"), QStringLiteral("2")}},
                        {QStringLiteral("a"), {}}}},
        };
        QCOMPARE(decoded.value(), expected);
    }

    void escapesAndWhatIsNotAsciiAreRead()
    {
        const auto decoded =
            decodeErrorResponse("{\"message\":\"a\\\"b\\/\\u00e9\\n \\ud83d\\ude00 \u00e9\","
                                "\"errors\":{\"\\u00e9\":[\"\\\\\"]}}");
        QVERIFY(bool(decoded));
        QCOMPARE(decoded.value().message, QStringLiteral("a\"b/\u00e9\n \U0001F600 \u00e9"));
        const ErrorResponse::Errors errors = {{QStringLiteral("\u00e9"), {QStringLiteral("\\")}}};
        QCOMPARE(decoded.value().errors, errors);
    }

    void everyObjectIsAnErrorResponse()
    {
        QVERIFY(bool(decodeErrorResponse("{}")));
        QVERIFY(bool(decodeErrorResponse(R"({"success":true,"token":"T"})")));
        QVERIFY(!decodeErrorResponse("[]"));
        QVERIFY(!decodeErrorResponse(R"({"message":5})"));
        QVERIFY(!decodeErrorResponse(R"({"errors":{"a":"b"}})"));
        QVERIFY(!decodeErrorResponse(R"({"errors":{"a":[null]}})"));
    }
};

QUILLSTEP_TEST(TestAuthRecords)
#include "tst_auth_records.moc"
