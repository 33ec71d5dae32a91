// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// What holds for every input, tried on many made by chance from a fixed seed.
#include "base/url_components.h"
#include "sync/aggregation.h"
#include "tests/support/activity_samples.h"
#include "tests/support/test_program.h"
#include "tests/support/url_text.h"
#include "tests/sync/generated_samples.h"
#include "tests/sync/runs_of.h"

#include <QTest>

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>

using activity::ActivityLog;
using syncing::AggregatedLog;

namespace {

constexpr int kInputs = 10'000;
constexpr std::size_t kMostSamples = 30;

/// The rules word for word, as slow as they come.
std::vector<AggregatedLog> foldedByTheBook(std::vector<ActivityLog> logs)
{
    for (std::size_t i = 1; i < logs.size(); ++i) {
        for (std::size_t j = i; j > 0; --j) {
            const double before = logs[j - 1].timestamp;
            const double here = logs[j].timestamp;
            const bool isBehind = std::isnan(before) ? !std::isnan(here) : here < before;
            if (!isBehind)
                break;
            std::swap(logs[j - 1], logs[j]);
        }
    }
    std::vector<AggregatedLog> runs;
    for (const ActivityLog& log : logs) {
        bool merges = !runs.empty();
        if (merges) {
            const AggregatedLog& open = runs.back();
            merges = open.log.appName.toString() == log.appName.toString() &&
                     open.log.windowTitle.has_value() == log.windowTitle.has_value() &&
                     (!log.windowTitle ||
                      open.log.windowTitle->toString() == log.windowTitle->toString()) &&
                     open.log.url.has_value() == log.url.has_value() &&
                     (!log.url || open.log.url->toString() == log.url->toString()) &&
                     log.timestamp - (open.log.timestamp + open.duration) <= 2.0;
        }
        if (merges)
            runs.back().duration += log.duration;
        else
            runs.push_back({.log = log, .duration = log.duration});
    }
    return runs;
}

/// Equal to the last bit, not-a-number included.
bool areSame(const std::vector<AggregatedLog>& a, const std::vector<AggregatedLog>& b)
{
    const auto same = [](double x, double y) {
        return x == y || (std::isnan(x) && std::isnan(y));
    };
    return std::ranges::equal(a, b, [&same](const AggregatedLog& x, const AggregatedLog& y) {
        return x.log.id == y.log.id && x.log.appName == y.log.appName &&
               x.log.windowTitle == y.log.windowTitle && x.log.url == y.log.url &&
               same(x.log.timestamp, y.log.timestamp) && same(x.duration, y.duration);
    });
}

/// Something like an address, often broken.
std::string address(Generator& random)
{
    static const std::vector<std::string> kPieces = {
        "http",    "https:", "file:",  "://",    "//",     "/",      "?",      "#",
        ":",       "@",      "[",      "]",      "[::1]",  "%",      "%25",    "%4",
        "%41",     "a",      "h.de",   "80",     ".",      "..",     " ",      "|",
        "\xff",    "\n",     "\u00fc", "\u4e2d", "\uff1f", "\uff03", "\uff05", "&=",
        "user:pw", "x y",    "100%",   "~-_.",   "xn--",   "\u200d", "\u05d0", "http://h/",
    };
    static const std::vector<std::string> kBeginnings = {"", "http://", "http://h.de/"};
    std::string text = kBeginnings[random.below(kBeginnings.size())];
    for (std::size_t left = random.below(12); left > 0; --left)
        text += random.oneIn(6) ? "?" : kPieces[random.below(kPieces.size())];
    return text;
}

} // namespace

class TestAggregationProperties final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void runsAddUpToWhatTheSamplesAddUpTo()
    {
        Generator random = seeded(1001);
        for (int i = 0; i < kInputs; ++i) {
            auto logs = random.samples(kMostSamples, false);
            random.shuffle(logs);
            double expected = 0;
            for (const ActivityLog& log : logs)
                expected += log.duration;
            double sum = 0;
            for (const AggregatedLog& run : runsOf(logs))
                sum += run.duration;
            QCOMPARE(sum, expected);
        }
    }

    void orderOfTheListDoesNotMatterWhileInstantsDiffer()
    {
        Generator random = seeded(1002);
        std::size_t merged = 0;
        for (int i = 0; i < kInputs; ++i) {
            auto logs = random.samples(kMostSamples, true);
            const auto inOrder = runsOf(logs);
            merged += logs.size() - inOrder.size();
            random.shuffle(logs);
            QVERIFY(runsOf(logs) == inOrder);
        }
        QVERIFY(merged > kInputs); // or there would have been nothing to see
    }

    void everyRunBeginsWithASampleOfItsOwnAndRunsAreInOrder()
    {
        Generator random = seeded(1003);
        for (int i = 0; i < kInputs; ++i) {
            auto logs = random.samples(kMostSamples, false);
            random.shuffle(logs);
            const auto runs = runsOf(logs);
            QVERIFY(runs.size() <= logs.size());
            QCOMPARE(runs.empty(), logs.empty());
            std::set<platform::Uuid> seen;
            for (const AggregatedLog& run : runs) {
                QVERIFY(std::ranges::find(logs, run.log) != logs.end());
                QVERIFY(seen.insert(run.log.id).second);
            }
            QVERIFY(std::ranges::is_sorted(
                runs, {}, [](const AggregatedLog& run) { return run.log.timestamp; }));
        }
    }

    void foldIsTheOneOfTheBookWhateverTheNumbers()
    {
        static constexpr double kOdd[] = {std::numeric_limits<double>::quiet_NaN(),
                                          std::numeric_limits<double>::infinity(),
                                          -std::numeric_limits<double>::infinity(),
                                          -0.0,
                                          0.0,
                                          1e300,
                                          -1e300,
                                          785000003};
        Generator random = seeded(1004);
        for (int i = 0; i < kInputs; ++i) {
            auto logs = random.samples(kMostSamples, false);
            if (random.oneIn(2))
                random.shuffle(logs);
            for (ActivityLog& log : logs) {
                if (i % 2 == 0 && random.oneIn(8))
                    log.timestamp = kOdd[random.below(std::size(kOdd))];
                if (i % 2 == 0 && random.oneIn(16))
                    log.duration = kOdd[random.below(std::size(kOdd))];
            }
            QVERIFY2(areSame(runsOf(logs), foldedByTheBook(logs)),
                     qPrintable(QStringLiteral("input %1").arg(i)));
        }
    }

    void removingAQueryOnceIsEnoughAndLeavesNone()
    {
        Generator random = seeded(1005);
        int parsed = 0;
        int changed = 0;
        for (int i = 0; i < kInputs; ++i) {
            const std::string text = address(random);
            const std::string bare = platform::withoutUrlQuery(text);
            const auto parts = platform::splitUrl(text);
            QCOMPARE(platform::withoutUrlQuery(bare), bare);
            if (parts) {
                QVERIFY(bare.find('?') >= bare.find('#'));
                QCOMPARE(support::joined(*parts), text);
                QCOMPARE(platform::splitUrl(bare).has_value(), true);
            } else {
                QCOMPARE(bare, text);
            }
            parsed += parts ? 1 : 0;
            changed += bare != text ? 1 : 0;
        }
        QVERIFY(parsed > kInputs / 10 && parsed < kInputs * 9 / 10);
        QVERIFY(changed > kInputs / 20);
    }

private:
    static Generator seeded(unsigned seed)
    {
        qInfo("seed %u", seed);
        return Generator(seed);
    }
};

QUILLSTEP_TEST(TestAggregationProperties)
#include "tst_aggregation_properties.moc"
