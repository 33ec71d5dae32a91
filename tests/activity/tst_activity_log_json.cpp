// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "activity/activity_log_json.h"
#include "tests/support/activity_samples.h"
#include "tests/support/test_program.h"

#include <QTest>

#include <limits>

using activity::ActivityLog;
using activity::SharedText;

namespace {

ActivityLog known()
{
    return {
        .id = *platform::Uuid::fromText("0123ABCD-4567-89EF-0123-456789ABCDEF"),
        .appName = SharedText("Terminal"),
        .windowTitle = SharedText("home"),
        .url = SharedText("https://example.com/a"),
        .timestamp = 785000000.125,
        .duration = 1.0,
    };
}

QByteArray encoded(const ActivityLog& log)
{
    std::string text;
    return appendActivityLog(text, log) ? QByteArray::fromStdString(text) : QByteArray();
}

std::optional<ActivityLog> decoded(const QByteArray& object)
{
    const auto list = samples::read('[' + object + ']');
    return list && list->size() == 1 ? std::optional((*list)[0]) : std::nullopt;
}

} // namespace

class TestActivityLogJson final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void recordIsWrittenCompactlyInDeclaredOrder()
    {
        QCOMPARE(encoded(known()),
                 QByteArray(R"({"id":"0123ABCD-4567-89EF-0123-456789ABCDEF","appName":"Terminal",)"
                            R"("windowTitle":"home","url":"https:\/\/example.com\/a",)"
                            R"("timestamp":785000000.125,"duration":1})"));
    }

    void recordWithoutIdGetsARandomVersion4Id()
    {
        const ActivityLog first = samples::log("a");
        const ActivityLog second = samples::log("a");
        QVERIFY(first.id != second.id);
        QCOMPARE(first.id.bytes[6] >> 4U, 4);
        QCOMPARE(first.id.bytes[8] >> 6U, 2);
    }

    void emptyTitleIsWrittenAndReadsBackAsEmptyNotAbsent()
    {
        ActivityLog log = known();
        log.windowTitle = SharedText("");
        QVERIFY(encoded(log).contains(R"("windowTitle":"")"));
        const auto back = decoded(encoded(log));
        QVERIFY(back && back->windowTitle.has_value());
        QCOMPARE(back->windowTitle->view(), std::string_view(""));
    }

    void absentTitleAndAddressAreLeftOutNotWrittenAsNull()
    {
        ActivityLog log = known();
        log.windowTitle.reset();
        log.url.reset();
        QVERIFY(!encoded(log).contains("windowTitle"));
        QVERIFY(!encoded(log).contains("url"));
        QVERIFY(!encoded(log).contains("null"));
        QVERIFY(decoded(encoded(log)) == log);
    }

    void nullTitleAndAddressReadAsAbsent()
    {
        const auto back = decoded(R"({"id":"0123ABCD-4567-89EF-0123-456789ABCDEF","appName":"a",)"
                                  R"("windowTitle":null,"url":null,"timestamp":1,"duration":1})");
        QVERIFY(back);
        QVERIFY(!back->windowTitle);
        QVERIFY(!back->url);
    }

    void fractionalTimestampAndWholeDurationSurviveExactly()
    {
        ActivityLog log = known();
        for (const double timestamp : {785000000.123456789, 0.1 + 0.2, -0.3, 1e-7, 1e300}) {
            log.timestamp = timestamp;
            const auto back = decoded(encoded(log));
            QVERIFY(back);
            QVERIFY(back->timestamp == timestamp);
            QVERIFY(back->duration == 1.0);
        }
    }

    void integerAndFractionalNumbersAreReadAlike()
    {
        const auto back = decoded(R"({"id":"0123ABCD-4567-89EF-0123-456789ABCDEF","appName":"a",)"
                                  R"("timestamp":-7,"duration":1.0e0})");
        QVERIFY(back);
        QCOMPARE(back->timestamp, -7.0);
        QCOMPARE(back->duration, 1.0);
    }

    void numbersTooLongForAnIntegerAreReadAsTheyStand()
    {
        const auto back = decoded(R"({"id":"0123ABCD-4567-89EF-0123-456789ABCDEF","appName":"a",)"
                                  R"("timestamp":123456789012345678901234,)"
                                  R"("extra":[-99999999999999999999,"12345678901234567890123"],)"
                                  R"("duration":18446744073709551616})");
        QVERIFY(back);
        QCOMPARE(back->timestamp, 123456789012345678901234.0);
        QCOMPARE(back->duration, 18446744073709551616.0);
    }

    void unknownKeysAreIgnored()
    {
        QByteArray object = encoded(known());
        object.replace(R"("duration")", R"("extra":5,"more":{"id":[null,{}]},"duration")");
        QVERIFY(decoded(object) == known());
    }

    void orderOfKeysDoesNotMatter()
    {
        const auto back = decoded(R"({"duration":1,"timestamp":2,"appName":"a",)"
                                  R"("id":"0123ABCD-4567-89EF-0123-456789ABCDEF"})");
        QVERIFY(back);
        QCOMPARE(back->timestamp, 2.0);
    }

    void lowerCaseIdIsAcceptedAndWrittenBackInUpperCase()
    {
        QByteArray object = encoded(known());
        object.replace("0123ABCD-4567-89EF-0123-456789ABCDEF",
                       "0123abcd-4567-89ef-0123-456789abcdef");
        const auto back = decoded(object);
        QVERIFY(back);
        QCOMPARE(encoded(*back), encoded(known()));
    }

    void invalidRecordFailsAndWithItTheWholeArray_data()
    {
        QTest::addColumn<QByteArray>("from");
        QTest::addColumn<QByteArray>("to");
        const auto change = [](const char* name, const char* from, const char* to) {
            QTest::newRow(name) << QByteArray(from) << QByteArray(to);
        };
        change("without duration", R"(,"duration":1)", "");
        change("without timestamp", R"("timestamp":785000000.125,)", "");
        change("without application", R"("appName":"Terminal",)", "");
        change("without id", R"("id":"0123ABCD-4567-89EF-0123-456789ABCDEF",)", "");
        change("id null", R"("0123ABCD-4567-89EF-0123-456789ABCDEF")", "null");
        change("id with a missing digit", "456789ABCDEF\"", "456789ABCDE\"");
        change("id with a digit too many", "456789ABCDEF\"", "456789ABCDEF0\"");
        change("id with a wrong digit", "456789ABCDEF\"", "456789ABCDEG\"");
        change("id in braces",
               R"("0123ABCD-4567-89EF-0123-456789ABCDEF")",
               R"("{0123ABCD-4567-89EF-0123-456789ABCDEF}")");
        change("id with misplaced hyphens", "0123ABCD-4567", "0123ABC-D4567");
        change("id a number", R"("0123ABCD-4567-89EF-0123-456789ABCDEF")", "5");
        change("application null", R"("Terminal")", "null");
        change("application a number", R"("Terminal")", "5");
        change("title a number", R"("home")", "5");
        change("title an array", R"("home")", R"(["home"])");
        change("address false", R"("https:\/\/example.com\/a")", "false");
        change("timestamp a string", "785000000.125", R"("785000000.125")");
        change("timestamp null", "785000000.125", "null");
        change("timestamp true", "785000000.125", "true");
        change("timestamp out of range", "785000000.125", "1e999");
        change("duration a string", R"("duration":1)", R"("duration":"1")");
        change("duration NaN", R"("duration":1)", R"("duration":NaN)");
        change("number with a leading zero", R"("duration":1)", R"("duration":01)");
        change("number with a plus", R"("duration":1)", R"("duration":+1)");
        change("number without digits after the point", R"("duration":1)", R"("duration":1.)");
        change("number without digits before the point", R"("duration":1)", R"("duration":.5)");
        change("long number with a leading zero",
               R"("duration":1)",
               R"("duration":012345678901234567890)");
        change("raw control character", "home", "ho\nme");
        change("bad escape", "home", R"(ho\xme)");
        change("lone surrogate", "home", R"(\ud800)");
        change("invalid UTF-8", "home", "ho\xffme");
        change("trailing comma", R"("duration":1})", R"("duration":1,})");
    }

    void invalidRecordFailsAndWithItTheWholeArray()
    {
        QFETCH(QByteArray, from);
        QFETCH(QByteArray, to);
        const QByteArray good = encoded(known());
        QVERIFY(good.contains(from));
        QByteArray bad = good;
        bad.replace(from, to);
        QVERIFY(samples::read('[' + good + ',' + good + ']'));
        QVERIFY(!samples::read('[' + good + ',' + bad + ']'));
        QVERIFY(!samples::read('[' + bad + ',' + good + ']'));
    }

    void ofADuplicateKeyTheFirstCounts()
    {
        const auto back = decoded(R"({"id":"0123ABCD-4567-89EF-0123-456789ABCDEF","appName":"a",)"
                                  R"("appName":"b","url":null,"url":"x","timestamp":1,)"
                                  R"("timestamp":"no number","duration":1})");
        QVERIFY(back);
        QCOMPARE(back->appName.view(), std::string_view("a"));
        QVERIFY(!back->url);
        QCOMPARE(back->timestamp, 1.0);
    }

    void escapedAndPlainSlashesReadAlike()
    {
        QByteArray plain = encoded(known());
        plain.replace("\\/", "/");
        QVERIFY(decoded(plain) == known());
    }

    void everyTextSurvives()
    {
        ActivityLog log = known();
        using namespace std::string_view_literals;
        for (const auto text : {"a/\"\\\b\f\n\r\t\x01\x1f\x7f"sv,
                                "nul \0 inside"sv,
                                "\u00fcber \U0001F600 \u2028"sv,
                                "},{"sv,
                                "]"sv,
                                ""sv}) {
            log.windowTitle = SharedText(text);
            const auto back = decoded(encoded(log));
            QVERIFY(back);
            QVERIFY(back->windowTitle->view() == text);
        }
    }

    void nonFiniteNumbersAreNotEncodedAndLeaveTheTextAsItWas()
    {
        constexpr double kInfinity = std::numeric_limits<double>::infinity();
        for (const double bad : {kInfinity, -kInfinity, std::numeric_limits<double>::quiet_NaN()}) {
            ActivityLog log = known();
            std::string text = "before";
            log.timestamp = bad;
            QVERIFY(!appendActivityLog(text, log));
            log = known();
            log.duration = bad;
            QVERIFY(!appendActivityLog(text, log));
            QCOMPARE(text, std::string("before"));
        }
    }
};

QUILLSTEP_TEST(TestActivityLogJson)
#include "tst_activity_log_json.moc"
