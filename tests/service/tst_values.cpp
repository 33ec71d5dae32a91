// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/answer.h"
#include "service/database/run_key.h"
#include "service/database/token.h"
#include "service/http/byte_budget.h"
#include "service/http/client_address.h"
#include "service/http/framing.h"
#include "service/password_hasher.h"
#include "service/request_log.h"
#include "tests/support/test_program.h"

#include <QRegularExpression>
#include <QScopeGuard>
#include <QTest>

#include <cerrno>
#include <limits>
#include <set>
#include <stdexcept>
#include <system_error>

using namespace service;

class TestValues : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void refusalsAreJson()
    {
        QCOMPARE(refusal(404, "a \"b\"\n").body, std::string("{\"message\":\"a \\\"b\\\"\\n\"}"));
        const Answer answer = refusal(Fault{
            .status = 422, .message = "m", .members = {{"a.0", "is wrong"}, {"b", "is missing"}}});
        QCOMPARE(answer.status, 422);
        QCOMPARE(
            answer.body,
            std::string(R"({"message":"m","errors":{"a.0":["is wrong"],"b":["is missing"]}})"));
    }

    void tokensAreLongAndNeverTheSame()
    {
        const PasswordHasher initialised;
        std::set<std::string> tokens;
        for (int i = 0; i < 1000; ++i)
            tokens.insert(newToken());
        QCOMPARE(tokens.size(), 1000u);
        const QRegularExpression form(QStringLiteral("^[A-Za-z0-9_-]{43}$"));
        QVERIFY(form.match(QString::fromStdString(*tokens.begin())).hasMatch());
    }

    void digestsTellTheListsApart()
    {
        const std::set<std::string> digests = {digestOf({}),
                                               digestOf({""}),
                                               digestOf({std::nullopt}),
                                               digestOf({"", ""}),
                                               digestOf({"ab"}),
                                               digestOf({"a", "b"}),
                                               digestOf({"", "ab"}),
                                               digestOf({"ab", std::nullopt})};
        QCOMPARE(digests.size(), 8u);
        QCOMPARE(digestOf({"a", "b"}), digestOf({"a", "b"}));
        // Stored for good: a digest of today must be found tomorrow.
        QCOMPARE(digestOf({"token"}), std::string("scNPXOtgytC-PoUTc8rZ8ux5yRbxJSS5"));
    }

    void aStartIsStoredAsItsDayAndSecond_data()
    {
        QTest::addColumn<std::int64_t>("start");
        QTest::addColumn<int>("day");
        QTest::addColumn<int>("second");
        QTest::newRow("1970") << std::int64_t(0) << 0 << 0;
        QTest::newRow("the last second of a day") << std::int64_t(86'399) << 0 << 86'399;
        QTest::newRow("midnight") << std::int64_t(86'400) << 1 << 0;
        QTest::newRow("2026") << std::int64_t(1'795'253'400) << 20'778 << 34'200;
        QTest::newRow("before 1970") << std::int64_t(-1) << -1 << 86'399;
        QTest::newRow("midnight before 1970") << std::int64_t(-86'400) << -1 << 0;
        QTest::newRow("two days before") << std::int64_t(-86'401) << -2 << 86'399;
    }

    void aStartIsStoredAsItsDayAndSecond()
    {
        QFETCH(std::int64_t, start);
        QFETCH(int, day);
        QFETCH(int, second);
        const RunKey key = runKey(start, -7);
        QCOMPARE(key, (RunKey{.day = day, .second = second, .digest = -7}));
        QCOMPARE(key.start(), start);
    }

    void aStartForWhichDaysHaveNoRoomIsTheLastThatTheyHave()
    {
        constexpr auto kLastDay = std::numeric_limits<std::int32_t>::max();
        constexpr std::int64_t kLast = kLastDay * std::int64_t(86'400) + 86'399;
        constexpr std::int64_t kFirst = (-kLastDay - std::int64_t(1)) * 86'400;
        constexpr auto kMost = std::numeric_limits<std::int64_t>::max();
        for (const std::int64_t start : {kLast, kLast + 1, kMost})
            QCOMPARE(runKey(start, 0).start(), kLast);
        QCOMPARE(runKey(kLast - 1, 0).start(), kLast - 1);
        for (const std::int64_t start : {kFirst, kFirst - 1, -kMost - 1})
            QCOMPARE(runKey(start, 0).start(), kFirst);
        QCOMPARE(runKey(kFirst + 1, 0).start(), kFirst + 1);
    }

    void aPasswordIsVerifiedAgainstItsHashOnly()
    {
        PasswordHasher hasher;
        const auto hash = hasher.hash("secret");
        QVERIFY(hash && hash->starts_with("$argon2id$"));
        QVERIFY(hash->find("secret") == std::string::npos);
        const auto turn = hasher.turn(std::chrono::seconds(1));
        QVERIFY(turn);
        QVERIFY(turn->verify("secret", hash));
        QVERIFY(!turn->verify("Secret", hash));
        QVERIFY(!turn->verify("", hash));
        QVERIFY(!turn->verify("secret", std::nullopt));
        QVERIFY(!turn->verify("secret", "not a hash"));
    }

    void onlyTwoPasswordsAreHashedAtTheSameTime()
    {
        PasswordHasher hasher;
        auto first = hasher.turn(std::chrono::seconds(0));
        {
            const auto second = hasher.turn(std::chrono::seconds(0));
            QVERIFY(first && second);
            QVERIFY(!hasher.turn(std::chrono::milliseconds(1)));
        }
        QVERIFY(hasher.turn(std::chrono::seconds(0)));
    }

    void bodiesShareTheirMemory()
    {
        ByteBudget budget(100);
        ByteBudget::Share first(budget);
        QVERIFY(first.grow(60));
        {
            ByteBudget::Share second(budget);
            QVERIFY(!second.grow(41));
            QVERIFY(second.grow(40));
            QVERIFY(!first.grow(1));
        }
        QVERIFY(first.grow(40));
        QVERIFY(!first.grow(1));
    }

    void anIpv6PeerCountsByItsNetwork()
    {
        QCOMPARE(peerKey("192.0.2.7"), std::string("192.0.2.7"));
        QCOMPARE(peerKey("2001:db8::1"), peerKey("2001:db8::ffff:0:1"));
        QVERIFY(peerKey("2001:db8::1") != peerKey("2001:db8:0:1::1"));
        QCOMPARE(peerKey("fe80::1%eth0"), peerKey("fe80::ffff:0:1%eth0"));
        QVERIFY(peerKey("::ffff:192.0.2.7") != peerKey("::ffff:192.0.2.8"));
    }

    void theLastForwardedAddressCounts()
    {
        QCOMPARE(forwardedClient("192.0.2.1"), std::optional<std::string>("192.0.2.1"));
        QCOMPARE(forwardedClient("evil, 192.0.2.1 ,\t2001:db8::7 "),
                 std::optional<std::string>("2001:db8::7"));
        for (const char* value : {"", ",", "192.0.2.1,", "unknown", "192.0.2.1:80", "[::1]"})
            QVERIFY2(!forwardedClient(value), value);
    }

    void bodiesMustBeFramedWithoutDoubt_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("length");
        QTest::addColumn<QByteArray>("transfer");
        QTest::newRow("length") << 0 << QByteArray("10") << QByteArray();
        QTest::newRow("chunked") << 0 << QByteArray() << QByteArray("Chunked");
        QTest::newRow("neither") << 411 << QByteArray() << QByteArray();
        QTest::newRow("both") << 400 << QByteArray("10") << QByteArray("chunked");
        QTest::newRow("two lengths") << 400 << QByteArray("10|10") << QByteArray();
        QTest::newRow("two codings") << 400 << QByteArray() << QByteArray("gzip|chunked");
        QTest::newRow("list of codings") << 400 << QByteArray() << QByteArray("gzip, chunked");
        QTest::newRow("sign") << 400 << QByteArray("+10") << QByteArray();
        QTest::newRow("hexadecimal") << 400 << QByteArray("0x10") << QByteArray();
        QTest::newRow("empty") << 400 << QByteArray("") << QByteArray("");
        QTest::newRow("beyond 64 bits")
            << 400 << QByteArray("99999999999999999999") << QByteArray();
        QTest::newRow("too long") << 413 << QByteArray("101") << QByteArray();
    }

    void bodiesMustBeFramedWithoutDoubt()
    {
        QFETCH(int, status);
        QFETCH(QByteArray, length);
        QFETCH(QByteArray, transfer);
        BodyFields fields;
        const auto fill = [](std::vector<std::string>& values, const QByteArray& text) {
            for (const QByteArray& value : text.isNull() ? QList<QByteArray>() : text.split('|'))
                values.push_back(value.toStdString());
        };
        fill(fields.contentLength, length);
        fill(fields.transferEncoding, transfer);
        const auto fault = faultOf(fields, 100);
        QCOMPARE(fault ? fault->status : 0, status);
        QCOMPARE(announcesBody(fields), status != 411);
    }

    void compressedAndMultipartBodiesAreRefused()
    {
        BodyFields fields{.contentLength = {"1"},
                          .transferEncoding = {},
                          .contentEncoding = "gzip",
                          .contentType = {}};
        QCOMPARE(faultOf(fields, 9)->status, 415);
        fields.contentEncoding = "identity";
        QVERIFY(!faultOf(fields, 9));
        fields.contentType = "Multipart/form-data; boundary=x";
        QCOMPARE(faultOf(fields, 9)->status, 415);
        fields.contentType = "application/json; charset=utf-8";
        QVERIFY(!faultOf(fields, 9));
    }

    void aLogLineIsOneLineWithoutTheQuery()
    {
        LoggedRequest request{
            .time = std::chrono::system_clock::time_point(std::chrono::seconds(1'795'253'400)),
            .peer = "192.0.2.1",
            .method = "POST",
            .target = "/a\r\nb \x1b[31m\xC3\xA4\\?token=secret",
            .status = 200,
            .bytesIn = 12,
            .duration = std::chrono::milliseconds(3),
            .user = 7,
            .id = "5f-2a"};
        QCOMPARE(
            logLine(request),
            std::string(
                "2026-11-21T09:30:00Z 192.0.2.1 POST "
                "/a\\x0d\\x0ab\\x20\\x1b[31m\\xc3\\xa4\\x5c 200 in=12 ms=3 user=7 id=5f-2a\n"));
        request.target = '/' + std::string(100'000, 'x');
        QVERIFY(logLine(request).size() < 400);
        QCOMPARE(logLine({.time = request.time,
                          .peer = {},
                          .method = {},
                          .target = {},
                          .user = {},
                          .id = {}}),
                 std::string("2026-11-21T09:30:00Z - - - 0 in=0 ms=0 user=- id=-\n"));
    }

    void aLogLineMayBeJson()
    {
        const auto text = qScopeGuard([] { setLogFormat(LogFormat::Text); });
        setLogFormat(LogFormat::Json);
        LoggedRequest request{
            .time = std::chrono::system_clock::time_point(std::chrono::seconds(1'795'253'400)),
            .peer = "192.0.2.1",
            .method = "POST",
            .target = "/a\"\n?token=secret",
            .status = 200,
            .bytesIn = 12,
            .duration = std::chrono::milliseconds(3),
            .user = 7,
            .id = "5f-2a"};
        const std::string line =
            "{\"time\":\"2026-11-21T09:30:00Z\",\"level\":\"info\",\"client\":\"192.0.2.1\","
            "\"method\":\"POST\",\"path\":\"\\/a\\\"\\\\x0a\",\"status\":200,"
            "\"bytes_in\":12,\"milliseconds\":3,\"user\":7,\"request\":\"5f-2a\"}\n";
        QCOMPARE(logLine(request), line);
        request.user = std::nullopt;
        QVERIFY(logLine(request).find("\"user\"") == std::string::npos);
    }

    void ofAnExceptionItsKindIsSaidAndNotItsWords()
    {
        QCOMPARE(kindOf(std::runtime_error("a title")), std::string("std::runtime_error"));
        QCOMPARE(kindOf(std::system_error(ENOSPC, std::generic_category(), "a title")),
                 std::string("std::system_error: No space left on device"));
    }

    void troubleIsALineInBothForms()
    {
        QCOMPARE(troubleLine("the \"disk\""), std::string("velomira-service: the \"disk\"\n"));
        QCOMPARE(troubleLine("no connection:\n\tis it there?\x1b[0m\n"),
                 std::string("velomira-service: no connection:  is it there? [0m\n"));
        QCOMPARE(troubleLine("it broke", "5f-2a"),
                 std::string("velomira-service: request 5f-2a failed: it broke\n"));
        const auto text = qScopeGuard([] { setLogFormat(LogFormat::Text); });
        setLogFormat(LogFormat::Json);
        const std::string line = troubleLine("the \"disk\"", "5f-2a");
        QVERIFY2(line.ends_with(",\"level\":\"error\",\"message\":\"the \\\"disk\\\"\","
                                "\"request\":\"5f-2a\"}\n"),
                 line.c_str());
        QVERIFY(troubleLine("x").find("request") == std::string::npos);
    }
};

QUILLSTEP_TEST(TestValues)
#include "tst_values.moc"
