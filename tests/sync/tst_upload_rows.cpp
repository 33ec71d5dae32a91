// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "sync/upload_rows.h"
#include "tests/support/activity_samples.h"
#include "tests/support/dies_with.h"

#include <QTest>

#include <limits>

using activity::SharedText;
using syncing::ActivityLogPayload;
using syncing::AggregatedLog;
using syncing::uploadRows;

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

ActivityLogPayload rowOf(const AggregatedLog& run)
{
    const auto rows = uploadRows({&run, 1});
    return rows.size() == 1 ? rows[0] : ActivityLogPayload();
}

} // namespace

class TestUploadRows final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void noRunsGiveNoRows() { QVERIFY(uploadRows({}).empty()); }

    void rowSaysWhatTheRunSays()
    {
        AggregatedLog made = runAt("https://user@example.com:8443/p?secret#f");
        made.log.duration = 3; // of the first sample alone
        const ActivityLogPayload row = rowOf(made);
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
        QVERIFY(!rowOf(made).window_title);
        QVERIFY(!rowOf(made).url);
        made.log.windowTitle = SharedText("");
        made.log.url = SharedText("");
        QVERIFY(rowOf(made).window_title.has_value() && rowOf(made).window_title->view().empty());
        QVERIFY(rowOf(made).url.has_value() && rowOf(made).url->view().empty());
    }

    void addressThatIsOnlyAQueryBecomesEmptyNotAbsent()
    {
        const ActivityLogPayload row = rowOf(runAt("?q"));
        QVERIFY(row.url.has_value() && row.url->view().empty());
    }

    void addressIsSentWithoutItsQueryIfItIsOne()
    {
        const auto sent = [](std::string_view address) {
            return std::string(rowOf(runAt(address)).url->view());
        };
        QCOMPARE(sent("https://example.com/a?q=1#top"), std::string("https://example.com/a#top"));
        QCOMPARE(sent("https://example.com/a?q=[1]|2"), std::string("https://example.com/a"));
        QCOMPARE(sent("https://example.com/a"), std::string("https://example.com/a"));
        QCOMPARE(sent("what is this? a title"), std::string("what is this? a title"));
        QCOMPARE(sent("http://a b/?q"), std::string("http://a b/?q"));
    }

    void durationIsCutToWholeSecondsAndShortRunsAreKept()
    {
        const auto seconds = [](double duration) {
            return rowOf(run(duration)).duration_seconds;
        };
        QCOMPARE(seconds(2.7), 2);
        QCOMPARE(seconds(59.9), 59);
        QCOMPARE(seconds(0.5), 0);
        QCOMPARE(seconds(0), 0);
        QCOMPARE(seconds(-0.9), 0);
        QCOMPARE(seconds(-2.7), -2);
        QCOMPARE(seconds(0x1p53), 9007199254740992);
        QCOMPARE(seconds(-0x1p63), std::numeric_limits<std::int64_t>::min());
        const AggregatedLog runs[] = {run(0.4), run(0), run(1)};
        QCOMPARE(uploadRows(runs).size(), 3UL);
    }

    void durationThatNoIntegerHoldsIsFatal()
    {
        for (const double bad : {0x1p63, -0x1.1p63, kInfinity, -kInfinity, kNotANumber})
            QVERIFY(support::diesWith("is not a number of seconds", [bad] {
                const AggregatedLog made = run(bad);
                (void)uploadRows({&made, 1});
            }));
    }

    void startThatIsNotFiniteIsFatal()
    {
        for (const double bad : {kInfinity, -kInfinity, kNotANumber})
            QVERIFY(support::diesWith("is not an instant", [bad] {
                const AggregatedLog made = run(1, bad);
                (void)uploadRows({&made, 1});
            }));
    }

    void startsInStrangeYearsAreSentAsTheyAre()
    {
        QCOMPARE(rowOf(run(1, 1e12)).start_time, std::string("33689-09-27T01:46:40Z"));
        QCOMPARE(rowOf(run(1, -1e11)).start_time, std::string("-1168-02-16T14:13:20Z"));
        QVERIFY(rowOf(run(1, 1e300)).start_time.ends_with('Z'));
    }

    void rowsKeepTheOrderOfTheRuns()
    {
        const AggregatedLog runs[] = {run(3), run(1), run(2)};
        const auto rows = uploadRows(runs);
        QCOMPARE(rows[0].duration_seconds, 3);
        QCOMPARE(rows[1].duration_seconds, 1);
        QCOMPARE(rows[2].duration_seconds, 2);
    }

    void textsAreSharedNotCopied()
    {
        const AggregatedLog made = runAt("https://example.com/a");
        const ActivityLogPayload row = rowOf(made);
        QVERIFY(row.app_name.sharesBufferWith(made.log.appName));
        QVERIFY(row.window_title->sharesBufferWith(*made.log.windowTitle));
        QVERIFY(row.url->sharesBufferWith(*made.log.url));
    }

    void equalAddressesShareWhatIsLeftOfThem()
    {
        const AggregatedLog runs[] = {runAt("https://example.com/a?b"),
                                      runAt("https://example.com/a?c"),
                                      runAt("https://example.com/a?b"),
                                      runAt("https://example.com/other?b")};
        const auto rows = uploadRows(runs);
        QVERIFY(rows[0].url->sharesBufferWith(*rows[2].url));
        QCOMPARE(rows[1].url->view(), rows[0].url->view());
        QCOMPARE(rows[3].url->view(), std::string_view("https://example.com/other"));
    }
};

QTEST_GUILESS_MAIN(TestUploadRows)
#include "tst_upload_rows.moc"
