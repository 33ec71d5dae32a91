// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "sync/upload_body.h"
#include "tests/support/test_program.h"
#include "tests/sync/generated_samples.h"

#include <QTest>

#include <limits>
#include <simdjson.h>

using activity::SharedText;
using syncing::ActivityLogPayload;
using syncing::ActivityPayload;

namespace {

/// A body and its rows.
struct Payload : ActivityPayload
{
    std::vector<ActivityLogPayload> activities;

    bool operator==(const Payload&) const = default;
};

ActivityLogPayload fullRow()
{
    return {
        .app_name = SharedText("Editor"),
        .window_title = SharedText("a title"),
        .url = SharedText("https://example.com/a"),
        .duration_seconds = 600,
        .start_time = "2026-11-21T09:30:00Z",
    };
}

ActivityLogPayload bareRow()
{
    ActivityLogPayload row = fullRow();
    row.window_title.reset();
    row.url.reset();
    return row;
}

Payload payload(std::vector<ActivityLogPayload> rows)
{
    return {
        {
            .device_id = "0123ABCD-4567-89EF-0123-456789ABCDEF",
            .sync_timestamp = "2026-11-21T09:45:00Z",
            .interval_minutes = 15,
        },
        std::move(rows),
    };
}

platform::Result<QByteArray> encoded(const Payload& payload)
{
    const platform::Result<std::string> beginning = syncing::beginningOf(payload);
    if (!beginning)
        return beginning.error();
    std::string body = beginning.value();
    for (const ActivityLogPayload& row : payload.activities) {
        if (&row != &payload.activities.front())
            body += syncing::kBetweenRows;
        syncing::appendRow(body, row);
    }
    body += syncing::kEndOfBody;
    return QByteArray::fromStdString(body);
}

QByteArray written(const Payload& payload)
{
    return encoded(payload).value();
}

/// The required text under `key`; a parser's error ends the test by an exception.
std::string text(simdjson::dom::object object, std::string_view key)
{
    return std::string(std::string_view(object[key]));
}

std::optional<SharedText> optionalText(simdjson::dom::object object, std::string_view key)
{
    const auto found = object[key];
    if (found.error() == simdjson::NO_SUCH_FIELD)
        return std::nullopt;
    return SharedText(std::string_view(found));
}

/// What a reader makes of `json`. Fails on keys that nobody knows or that stand twice.
std::optional<Payload> read(const QByteArray& json)
{
    simdjson::dom::parser parser;
    const simdjson::dom::object body =
        parser.parse(json.constData(), static_cast<std::size_t>(json.size()));
    Payload back{
        {
            .device_id = text(body, "device_id"),
            .sync_timestamp = text(body, "sync_timestamp"),
            .interval_minutes = body["interval_minutes"].get_int64(),
        },
        {},
    };
    for (const simdjson::dom::object object : body["activities"].get_array()) {
        const auto& row = back.activities.emplace_back(ActivityLogPayload{
            .app_name = SharedText(std::string_view(object["app_name"])),
            .window_title = optionalText(object, "window_title"),
            .url = optionalText(object, "url"),
            .duration_seconds = object["duration_seconds"].get_int64(),
            .start_time = text(object, "start_time"),
        });
        if (object.size() != 3UL + (row.window_title ? 1 : 0) + (row.url ? 1 : 0))
            return std::nullopt;
    }
    return body.size() == 4 ? std::optional(back) : std::nullopt;
}

SharedText anyText(Generator& random)
{
    static const std::vector<std::string> kPieces = {"a",
                                                     "/",
                                                     "\\",
                                                     "\"",
                                                     "\b\f\n\r\t",
                                                     std::string(1, '\0'),
                                                     "\x1f\x7f",
                                                     "\u00fc",
                                                     "\u2028\u2029",
                                                     "\U0001F600",
                                                     "\\u0041",
                                                     "},{",
                                                     " "};
    std::string made;
    for (std::size_t left = random.below(8); left > 0; --left)
        made += kPieces[random.below(kPieces.size())];
    return SharedText(made);
}

std::int64_t anyInteger(Generator& random)
{
    static constexpr std::int64_t kEnds[] = {
        std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max(), 0, -1};
    if (random.oneIn(3))
        return kEnds[random.below(std::size(kEnds))];
    return static_cast<std::int64_t>(random.below(100'000));
}

} // namespace

class TestUploadPayloadJson final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void bodyIsOneCompactObject()
    {
        QCOMPARE(written(payload({fullRow(), bareRow()})),
                 QByteArray(R"({"device_id":"0123ABCD-4567-89EF-0123-456789ABCDEF",)"
                            R"("sync_timestamp":"2026-11-21T09:45:00Z","interval_minutes":15,)"
                            R"("activities":[{"app_name":"Editor","window_title":"a title",)"
                            R"("url":"https:\/\/example.com\/a","duration_seconds":600,)"
                            R"("start_time":"2026-11-21T09:30:00Z"},)"
                            R"({"app_name":"Editor","duration_seconds":600,)"
                            R"("start_time":"2026-11-21T09:30:00Z"}]})"));
    }

    void bodyWithoutRowsHasAnEmptyArray()
    {
        QVERIFY(written(payload({})).endsWith(R"("activities":[]})"));
        QVERIFY(read(written(payload({}))) == payload({}));
    }

    void emptyTextsAreWrittenAndAbsentOnesAreNot()
    {
        ActivityLogPayload row = bareRow();
        QVERIFY(!written(payload({row})).contains("window_title"));
        QVERIFY(!written(payload({row})).contains("url"));
        QVERIFY(!written(payload({row})).contains("null"));
        row.window_title = SharedText("");
        row.url = SharedText("");
        QVERIFY(written(payload({row})).contains(R"("window_title":"","url":"")"));
    }

    void wholeRangeOfIntegersIsWrittenExactly()
    {
        ActivityLogPayload row = bareRow();
        row.duration_seconds = std::numeric_limits<std::int64_t>::min();
        QVERIFY(written(payload({row})).contains(R"("duration_seconds":-9223372036854775808,)"));
        row.duration_seconds = 9007199254740993; // no double has this value
        QVERIFY(written(payload({row})).contains(R"("duration_seconds":9007199254740993,)"));
    }

    void manyRowsStayInOrder()
    {
        std::vector<ActivityLogPayload> rows(20'000, fullRow());
        for (std::size_t i = 0; i < rows.size(); ++i)
            rows[i].duration_seconds = static_cast<std::int64_t>(i);
        const Payload made = payload(std::move(rows));
        QVERIFY(read(written(made)) == made);
    }

    void textThatIsNotUtf8FailsWithAReason()
    {
        Payload made = payload({fullRow()});
        made.device_id = "\xff";
        QVERIFY(!encoded(made));
        QCOMPARE(encoded(made).error().text,
                 QStringLiteral("the identity of the device is not valid UTF-8"));
        made = payload({fullRow()});
        made.sync_timestamp = "\xed\xa0\x80"; // half of a surrogate pair
        QVERIFY(!encoded(made));
    }

    void anotherParserReadsBackWhatWasWritten()
    {
        constexpr unsigned kSeed = 2001;
        qInfo("seed %u", kSeed);
        Generator random(kSeed);
        for (int i = 0; i < 10'000; ++i) {
            Payload made = payload({});
            made.device_id = std::string(anyText(random).view());
            made.interval_minutes = anyInteger(random);
            made.activities.resize(random.below(6));
            for (ActivityLogPayload& row : made.activities) {
                row.app_name = anyText(random);
                row.window_title = random.oneIn(3) ? std::nullopt : std::optional(anyText(random));
                row.url = random.oneIn(3) ? std::nullopt : std::optional(anyText(random));
                row.duration_seconds = anyInteger(random);
                row.start_time = std::string(anyText(random).view());
            }
            QVERIFY2(read(written(made)) == made, qPrintable(QStringLiteral("input %1").arg(i)));
        }
    }
};

QUILLSTEP_TEST(TestUploadPayloadJson)
#include "tst_upload_payload_json.moc"
