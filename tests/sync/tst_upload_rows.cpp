// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "sync/upload_body.h"
#include "tests/support/activity_samples.h"
#include "tests/support/dies_with.h"
#include "tests/support/test_program.h"

#include <QTest>

#include <limits>

using activity::SharedText;
using syncing::ActivityLogPayload;
using syncing::AggregatedLog;
using syncing::uploadRow;

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNotANumber = std::numeric_limits<double>::quiet_NaN();

AggregatedLog run(double duration = 10, double timestamp = 785000000.25)
{
    return {.log = samples::log("Editor", "a title", timestamp), .duration = duration};
}

AggregatedLog runAt(std::string_view address)
{
    AggregatedLog made = run();
    made.log.url = SharedText(address);
    return made;
}

} // namespace

class TestUploadRows final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void rowSaysWhatTheRunSays()
    {
        AggregatedLog made = runAt("https://user@example.com:8443/p?secret#f");
        made.log.duration = 3; // of the first sample alone
        const ActivityLogPayload row = uploadRow(made);
        QCOMPARE(row.app_name.view(), std::string_view("Editor"));
        QCOMPARE(row.window_title->view(), std::string_view("a title"));
        QCOMPARE(row.url->view(), std::string_view("https://user@example.com:8443/p#f"));
        QCOMPARE(row.duration_seconds, 10);
        QCOMPARE(row.start_time, std::string("2025-11-16T15:33:20Z"));
    }

    void absentTextsStayAbsentAndEmptyOnesEmpty()
    {
        AggregatedLog made = run();
        made.log.windowTitle.reset();
        made.log.url.reset();
        QVERIFY(!uploadRow(made).window_title);
        QVERIFY(!uploadRow(made).url);
        made.log.windowTitle = SharedText("");
        made.log.url = SharedText("");
        QVERIFY(uploadRow(made).window_title.has_value() &&
                uploadRow(made).window_title->view().empty());
        QVERIFY(uploadRow(made).url.has_value() && uploadRow(made).url->view().empty());
    }

    void addressThatIsOnlyAQueryBecomesEmptyNotAbsent()
    {
        const ActivityLogPayload row = uploadRow(runAt("?q"));
        QVERIFY(row.url.has_value() && row.url->view().empty());
    }

    void addressIsSentWithoutItsQueryIfItIsOne()
    {
        const auto sent = [](std::string_view address) {
            return std::string(uploadRow(runAt(address)).url->view());
        };
        QCOMPARE(sent("https://example.com/a?q=1#top"), std::string("https://example.com/a#top"));
        QCOMPARE(sent("https://example.com/a?q=[1]|2"), std::string("https://example.com/a"));
        QCOMPARE(sent("https://example.com/a"), std::string("https://example.com/a"));
        QCOMPARE(sent("what is this? a title"), std::string("what is this? a title"));
        QCOMPARE(sent("http://a b/?q"), std::string("http://a b/?q"));
    }

    void durationIsCutToWholeSeconds()
    {
        const auto seconds = [](double duration) {
            return uploadRow(run(duration)).duration_seconds;
        };
        QCOMPARE(seconds(2.7), 2);
        QCOMPARE(seconds(59.9), 59);
        QCOMPARE(seconds(0.5), 0);
        QCOMPARE(seconds(0), 0);
        QCOMPARE(seconds(-0.9), 0);
        QCOMPARE(seconds(-2.7), -2);
        QCOMPARE(seconds(0x1p53), 9007199254740992);
        QCOMPARE(seconds(-0x1p63), std::numeric_limits<std::int64_t>::min());
    }

    void durationThatNoIntegerHoldsIsFatal()
    {
        for (const double bad : {0x1p63, -0x1.1p63, kInfinity, -kInfinity, kNotANumber})
            QVERIFY(support::diesWith("is not a number of seconds",
                                      [bad] { (void)uploadRow(run(bad)); }));
    }

    void startThatIsNotFiniteIsFatal()
    {
        for (const double bad : {kInfinity, -kInfinity, kNotANumber})
            QVERIFY(
                support::diesWith("is not an instant", [bad] { (void)uploadRow(run(1, bad)); }));
    }

    void startsInStrangeYearsAreSentAsTheyAre()
    {
        QCOMPARE(uploadRow(run(1, 1e12)).start_time, std::string("33689-09-27T01:46:40Z"));
        QCOMPARE(uploadRow(run(1, -1e11)).start_time, std::string("-1168-02-16T14:13:20Z"));
        QVERIFY(uploadRow(run(1, 1e300)).start_time.ends_with('Z'));
    }

    void textsAreSharedNotCopied()
    {
        const AggregatedLog made = runAt("https://example.com/a");
        const ActivityLogPayload row = uploadRow(made);
        QVERIFY(row.app_name.sharesBufferWith(made.log.appName));
        QVERIFY(row.window_title->sharesBufferWith(*made.log.windowTitle));
        QVERIFY(row.url->sharesBufferWith(*made.log.url));
    }
};

QUILLSTEP_TEST(TestUploadRows)
#include "tst_upload_rows.moc"
