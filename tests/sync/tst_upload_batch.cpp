// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "sync/upload_batch.h"
#include "tests/support/activity_samples.h"

#include <QTest>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <malloc.h>
#include <new>

using syncing::UploadBatch;

namespace {

std::atomic<std::int64_t> g_allocated = 0;
std::atomic<std::int64_t> g_most = 0;

} // namespace

// Counts what lives; the body itself is the toolkit's and comes from malloc.
void* operator new(std::size_t size)
{
    void* const memory = std::malloc(size);
    if (memory == nullptr)
        throw std::bad_alloc();
    const auto now = g_allocated += static_cast<std::int64_t>(::malloc_usable_size(memory));
    if (now > g_most)
        g_most = now;
    return memory;
}

void operator delete(void* memory) noexcept
{
    g_allocated -= static_cast<std::int64_t>(::malloc_usable_size(memory));
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    operator delete(memory);
}

class TestUploadBatch final : public QObject
{
    Q_OBJECT

    /// `count` samples of another window and address each, a second apart.
    static activity::ActivityList samples(int count)
    {
        activity::ActivityList list;
        for (int i = 0; i < count; ++i) {
            activity::ActivityLog log = ::samples::log(
                "Editor", "title number " + std::to_string(i) + " of many", 785000000.0 + i);
            log.url = activity::SharedText("https://example.com/" + std::to_string(i) + "?query");
            list.append(std::move(log));
        }
        return list;
    }

    static UploadBatch batchOf(activity::ActivityList list)
    {
        UploadBatch batch;
        batch.snapshot = std::move(list);
        batch.payload = {.device_id = "D", .sync_timestamp = "T", .interval_minutes = 5};
        return batch;
    }

private Q_SLOTS:

    void theBodyHasARowForEachRunAndAllSamplesAreNamed()
    {
        activity::ActivityList list;
        const auto add = [&list](const char* title, double time) {
            list.append(::samples::log("Editor", title, time));
            return list[list.size() - 1].id;
        };
        const auto first = add("a", 785000000);
        const auto second = add("a", 785000001);
        const auto third = add("b", 785000002);
        UploadBatch batch = batchOf(list);
        batch.encode();
        QVERIFY(!batch.encodingError);
        QCOMPARE(batch.rowCount, 2);
        QCOMPARE(batch.body,
                 QByteArray(R"({"device_id":"D","sync_timestamp":"T","interval_minutes":5,)"
                            R"("activities":[{"app_name":"Editor","window_title":"a",)"
                            R"("duration_seconds":2,"start_time":"2025-11-16T15:33:20Z"},)"
                            R"({"app_name":"Editor","window_title":"b","duration_seconds":1,)"
                            R"("start_time":"2025-11-16T15:33:22Z"}]})"));
        for (const auto& id : {first, second, third})
            QVERIFY(batch.ids.contains(id));
    }

    void aTextThatIsNotUtf8IsToldInsteadOfABody()
    {
        UploadBatch batch = batchOf(samples(3));
        batch.payload.device_id = "\xff";
        batch.encode();
        QCOMPARE(batch.encodingError,
                 QStringLiteral("the identity of the device is not valid UTF-8"));
        QVERIFY(batch.body.isEmpty());
    }

    void ofALongBacklogNothingButTheBodyIsMade_data()
    {
        QTest::addColumn<bool>("isInOrder");
        QTest::newRow("in order") << true;
        QTest::newRow("in reverse") << false;
    }

    void ofALongBacklogNothingButTheBodyIsMade()
    {
        QFETCH(const bool, isInOrder);
        constexpr int kRows = 50'000;
        activity::ActivityList list = samples(kRows);
        if (!isInOrder) {
            activity::ActivityList reverse;
            for (std::size_t i = list.size(); i > 0; --i)
                reverse.append(list[i - 1]);
            list = std::move(reverse);
        }
        UploadBatch batch = batchOf(std::move(list));
        const std::int64_t before = g_allocated;
        g_most = before;
        batch.encode();
        QCOMPARE(batch.rowCount, kRows);
        // An identity for each sample; where they are to be sorted, also a place and an instant.
        const auto perRow = double(g_most - before) / kRows;
        QVERIFY2(perRow < (isInOrder ? 17 : 33), qPrintable(QString::number(perRow)));
        // Made in one piece, not moved from place to place.
        QVERIFY(batch.body.capacity() < batch.body.size() * 3 / 2);
    }
};

QTEST_GUILESS_MAIN(TestUploadBatch)
#include "tst_upload_batch.moc"
