// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/database/activity_rows.h"
#include "service/sign_in_request.h"
#include "tests/service/whole_upload.h"
#include "tests/support/test_program.h"

#include <QTest>

#include <algorithm>
#include <limits>
#include <string>

using namespace service;

namespace {

/// `text` with quotation marks in place of apostrophes.
std::string json(std::string text)
{
    std::replace(text.begin(), text.end(), '\'', '"');
    return text;
}

std::string signIn(const std::string& members)
{
    return json(R"({'email':'a@b','password':'p','device_name':'n','device_id':'i')") + members +
           '}';
}

std::string row(const std::string& appName, const std::string& more = {})
{
    return json(R"({'app_name':)") + appName +
           json(R"(,'duration_seconds':1,'start_time':'2026-11-21T09:30:00Z')") + more + '}';
}

std::string upload(const std::string& rows)
{
    return json(
               R"({'device_id':'i','sync_timestamp':'2026-11-21T09:30:00Z','interval_minutes':5,'activities':[)") +
           rows + "]}";
}

std::string nested(int levels)
{
    return signIn(json(R"(,'more':)") + std::string(static_cast<std::size_t>(levels), '[') +
                  std::string(static_cast<std::size_t>(levels), ']'));
}

} // namespace

class TestRequests : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void aSignInIsReadWithItsUnknownMembersIgnored()
    {
        const auto read = decodeSignInRequest(
            "\xEF\xBB\xBF" + signIn(json(R"(,'email':'second','unknown':[1,{'a':null}])")));
        QVERIFY(read);
        const SignInRequest expected{
            .email = "a@b", .password = "p", .deviceName = "n", .deviceId = "i"};
        QVERIFY(read.value() == expected);
    }

    void everyMissingMemberOfASignInIsNamed()
    {
        const auto read =
            decodeSignInRequest(json(R"({'email':1,'device_id':null,'password':''})"));
        QVERIFY(!read);
        QCOMPARE(read.error().status, 422);
        QCOMPARE(read.error().members.size(), 3u);
        QCOMPARE(read.error().members[0].member, std::string("email"));
        QCOMPARE(read.error().members[1].member, std::string("device_name"));
        QCOMPARE(read.error().members[2].member, std::string("device_id"));
    }

    void whatIsNotAJsonObjectIsRefused_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<int>("status");
        QTest::newRow("nothing") << QByteArray() << 400;
        QTest::newRow("only a byte order mark") << QByteArray("\xEF\xBB\xBF") << 400;
        QTest::newRow("cut") << QByteArray::fromStdString(json(R"({'email':'a)")) << 400;
        QTest::newRow("something behind") << QByteArray("{} {}") << 400;
        QTest::newRow("array") << QByteArray("[]") << 422;
        QTest::newRow("string") << QByteArray("\"{}\"") << 422;
        QTest::newRow("invalid UTF-8") << QByteArray("{\"email\":\"\xC3\x28\"}") << 400;
        QTest::newRow("lone surrogate")
            << QByteArray::fromStdString(json(R"({'email':'\ud800'})")) << 400;
        QTest::newRow("raw control") << QByteArray("{\"email\":\"a\nb\"}") << 400;
        QTest::newRow("too long a number") << QByteArray("{\"x\":1e999}") << 400;
        QTest::newRow("not JSON") << QByteArray("email=a&password=b") << 400;
    }

    void whatIsNotAJsonObjectIsRefused()
    {
        QFETCH(QByteArray, body);
        QFETCH(int, status);
        const auto asSignIn = decodeSignInRequest(body.toStdString());
        const auto asUpload = decodeUpload(body.toStdString());
        QVERIFY(!asSignIn && !asUpload);
        QCOMPARE(asSignIn.error().status, status);
        QCOMPARE(asUpload.error().status, status);
    }

    void fiveHundredLevelsAreReadAndAThousandAreNot()
    {
        QVERIFY(decodeSignInRequest(nested(500)));
        QVERIFY(!decodeSignInRequest(nested(1000)));
        QVERIFY(!decodeSignInRequest(nested(1'000'000)));
    }

    void anUploadIsReadWithAbsentAndEmptyTitlesApart()
    {
        const auto read =
            decodeUpload(upload(row(json(R"('a')")) + ',' +
                                row(json(R"('\u0000ä\ud83d\ude00')"),
                                    json(R"(,'window_title':'','url':'u','duration_seconds':9)")) +
                                ',' + row(json(R"('')"), json(R"(,'window_title':null)"))));
        QVERIFY(read);
        const Upload& got = read.value();
        QCOMPARE(got.deviceId, std::string("i"));
        QCOMPARE(got.intervalMinutes, 5);
        QCOMPARE(got.activities.size(), 3u);
        QVERIFY(!got.activities[0].windowTitle && !got.activities[0].url);
        QVERIFY(got.activities[1].windowTitle == std::string());
        QVERIFY(got.activities[1].url == std::string("u"));
        QVERIFY(got.activities[1].appName == std::string("\0ä😀", 7));
        QCOMPARE(got.activities[1].durationSeconds, 1); // the first of two counts
        QCOMPARE(got.activities[0].startTime, 1'795'253'400);
        QVERIFY(!got.activities[2].windowTitle);
    }

    void aWrongRowIsNamedWithItsMember_data()
    {
        QTest::addColumn<QByteArray>("rows");
        QTest::addColumn<QByteArray>("member");
        const std::string good = row(json(R"('a')")) + ',';
        const auto add = [&](const char* name, const std::string& rows, const char* member) {
            QTest::newRow(name) << QByteArray::fromStdString(rows) << QByteArray(member);
        };
        const std::string time = json(R"(,'start_time':'2026-11-21T09:30:00Z'})");
        add("name missing",
            good + json(R"({'duration_seconds':1)") + time,
            "activities.1.app_name");
        add("name a number", row("1"), "activities.0.app_name");
        add("title a number",
            good + good + row("\"a\"", json(R"(,'window_title':1)")),
            "activities.2.window_title");
        add("address false", row("\"a\"", json(R"(,'url':false)")), "activities.0.url");
        add("no duration", json(R"({'app_name':'a')") + time, "activities.0.duration_seconds");
        const std::string named = json(R"({'app_name':'a','duration_seconds':)");
        add("a fraction", named + "1.5" + time, "activities.0.duration_seconds");
        add("a text", named + "\"1\"" + time, "activities.0.duration_seconds");
        add("beyond 64 bits",
            named + "9223372036854775808" + time,
            "activities.0.duration_seconds");
        add("no start", named + "1}", "activities.0.start_time");
        add("not a time",
            named + json(R"(1,'start_time':'2026-02-30T00:00:00Z'})"),
            "activities.0.start_time");
        add("not an object", good + "7", "activities.1");
    }

    void aWrongRowIsNamedWithItsMember()
    {
        QFETCH(QByteArray, rows);
        QFETCH(QByteArray, member);
        const auto read = decodeUpload(upload(rows.toStdString()));
        QVERIFY(!read);
        QCOMPARE(read.error().status, 422);
        QCOMPARE(read.error().members.size(), 1u);
        QCOMPARE(QByteArray::fromStdString(read.error().members[0].member), member);
        QVERIFY(read.error().message.starts_with(member.toStdString()));
    }

    void longTextsAreCutBetweenCharactersAndNotRefused()
    {
        std::string text;
        while (text.size() < 20'000)
            text += "äx€😀";
        const auto read = decodeUpload(upload(
            row('"' + text + '"',
                json(R"(,'window_title':')") + text + json(R"(','url':'\u0041)") + text + '"')));
        QVERIFY(read);
        const UploadedActivity& got = read.value().activities.at(0);
        const std::pair<std::string, std::size_t> cut[] = {
            {got.appName, 1024}, {*got.windowTitle, 16384}, {got.url->substr(1), 16383}};
        for (const auto& [kept, most] : cut) {
            QVERIFY(kept.size() <= most && kept.size() > most - 4);
            QVERIFY(text.starts_with(kept));
            const QString whole = QString::fromStdString(kept);
            QVERIFY(!whole.contains(QChar(QChar::ReplacementCharacter)));
        }
    }

    void aDeviceIsNamedInAtMost128Characters()
    {
        std::string name;
        for (int i = 0; i < 128; ++i)
            name += "😀";
        const auto named = [](const std::string& device) {
            std::string body = upload({});
            return decodeUpload(body.replace(body.find("\"i\""), 3, '"' + device + '"'));
        };
        QCOMPARE(named(name).value().deviceId, name);
        const auto refused = named(name + 'x');
        QVERIFY(!refused);
        QCOMPARE(refused.error().status, 422);
        QCOMPARE(refused.error().members.at(0).member, std::string("device_id"));
        QCOMPARE(refused.error().message, std::string("device_id is longer than 128 characters"));
    }

    void membersMayStandInAnyOrderAndTheBodyInAnyPieces()
    {
        const std::string body =
            json(R"({'x':[1,{'activities':[2]}],'activities':[)") + row(json(R"('é\u20ac😀')")) +
            ',' + row("\"b\"", json(R"(,'unknown':{'a':[[],{}]},'url':'u')")) +
            json(
                R"(],'activities':7,'interval_minutes':5,'sync_timestamp':'2026-11-21T09:30:00Z','device_id':'i'})");
        const auto whole = decodeUpload(body);
        QVERIFY(whole);
        QCOMPARE(whole.value().activities.size(), 2u);
        QCOMPARE(whole.value().activities[0].appName, std::string("é€😀"));
        for (std::size_t piece = 1; piece < 20; ++piece) {
            UploadReader reader(
                [&](std::uint64_t offset) { return std::string_view(body).substr(offset, piece); });
            const auto head = reader.check();
            QVERIFY(head);
            QCOMPARE(head.value().deviceId, std::string("i"));
            QVERIFY(reader.next() == whole.value().activities);
            QVERIFY(reader.next().empty());
        }
    }

    void manyRowsComeInPortions()
    {
        std::string all = row("\"0\"");
        for (int i = 1; i < 5000; ++i)
            all += ',' + row('"' + std::to_string(i) + '"');
        const std::string body = upload(all);
        UploadReader reader(
            [&body](std::uint64_t offset) { return std::string_view(body).substr(offset); });
        QVERIFY(reader.check());
        std::size_t count = 0;
        std::size_t portions = 0;
        for (auto rows = reader.next(); !rows.empty(); rows = reader.next(), ++portions) {
            for (const UploadedActivity& row : rows)
                QCOMPARE(row.appName, std::to_string(count++));
        }
        QCOMPARE(count, 5000u);
        QVERIFY(portions > 1);
    }

    void durationsMayBeAnyWholeNumber()
    {
        const auto read = decodeUpload(upload(json(
            R"({'duration_seconds':-9223372036854775808,'app_name':'a','start_time':'2026-11-21T09:30:00Z'},{'duration_seconds':9223372036854775807,'app_name':'b','start_time':'12026-11-21T09:30:00Z'})")));
        QVERIFY(read);
        QCOMPARE(read.value().activities[0].durationSeconds,
                 std::numeric_limits<std::int64_t>::min());
        QCOMPARE(read.value().activities[1].durationSeconds,
                 std::numeric_limits<std::int64_t>::max());
    }

    void rowsThatAreTheSameAddUpAndOthersStayApart()
    {
        const auto read = decodeUpload(
            upload(row(json(R"('a')")) + ',' + row(json(R"('a')"), json(R"(,'window_title':'')")) +
                   ',' + row(json(R"('a')")) + ',' + row(json(R"('a')"), json(R"(,'url':'')")) +
                   ',' + row(json(R"('a\u0000')")) + ',' + row(json(R"('a␀')"))));
        QVERIFY(read);
        const auto rows = rowsToStore(read.value().deviceId, read.value().activities);
        QCOMPARE(rows.size(), 5u);
        std::int64_t total = 0;
        for (std::size_t i = 0; i < rows.size(); ++i) {
            total += rows[i].durationSeconds;
            QVERIFY(i == 0 || rows[i - 1].key < rows[i].key);
            // Rows of the schema before have only the text.
            const UploadedActivity& activity = *rows[i].activity;
            QCOMPARE(rows[i].key,
                     keyOfDigest(activity.startTime, digestOfRow(read.value().deviceId, activity)));
        }
        QCOMPARE(total, 6);
        Upload other = read.value();
        other.deviceId = "another";
        QVERIFY(rowsToStore(other.deviceId, other.activities).front().key != rows.front().key);
    }

    void durationsThatAddUpStopAtTheEndOfTheirRange()
    {
        constexpr auto kMost = std::numeric_limits<std::int64_t>::max();
        constexpr auto kLeast = std::numeric_limits<std::int64_t>::min();
        Upload upload;
        upload.activities = {
            {.appName = "a", .windowTitle = {}, .url = {}, .durationSeconds = kMost},
            {.appName = "a", .windowTitle = {}, .url = {}, .durationSeconds = 5}};
        QCOMPARE(rowsToStore(upload.deviceId, upload.activities).front().durationSeconds, kMost);
        upload.activities[0].durationSeconds = kLeast;
        upload.activities[1].durationSeconds = -5;
        QCOMPARE(rowsToStore(upload.deviceId, upload.activities).front().durationSeconds, kLeast);
    }
};

QUILLSTEP_TEST(TestRequests)
#include "tst_requests.moc"
