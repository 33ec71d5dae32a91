// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "sync/upload_body.h"
#include "tests/support/activity_samples.h"
#include "tests/support/test_program.h"

#include <QTest>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <malloc.h>
#include <new>

namespace {

std::atomic<std::int64_t> g_allocated = 0;
std::atomic<std::int64_t> g_most = 0;

} // namespace

// Counts what lives.
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

class TestUploadBody final : public QObject
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

    static syncing::FoldedRows folded(const activity::ActivityList& list)
    {
        syncing::FoldedRows rows;
        rows.extend(list);
        return rows;
    }

    static std::string whole(const platform::StreamedBody& body)
    {
        const auto parts = body.begin();
        std::string all;
        while (parts(all)) {
        }
        return all;
    }

private Q_SLOTS:

    void theBodyHasARowForEachRun()
    {
        activity::ActivityList list;
        list.append(::samples::log("Editor", "a", 785000000));
        list.append(::samples::log("Editor", "a", 785000001));
        list.append(::samples::log("Editor", "b/", 785000002));
        const auto body = syncing::uploadBody("{[", folded(list));
        const std::string expected =
            R"({[{"app_name":"Editor","window_title":"a",)"
            R"("duration_seconds":2,"start_time":"2025-11-16T15:33:20Z"},)"
            R"({"app_name":"Editor","window_title":"b\/",)"
            R"("duration_seconds":1,"start_time":"2025-11-16T15:33:22Z"}]})";
        QCOMPARE(whole(body), expected);
        QCOMPARE(body.size, qint64(expected.size()));
    }

    void eachTimeItBeginsAnewAndStaysAsItWas()
    {
        activity::ActivityList list = samples(100);
        syncing::FoldedRows rows = folded(list);
        const auto body = syncing::uploadBody("{[", rows);
        const std::string before = whole(body);
        const auto given = body.begin();
        std::string half;
        while (half.size() < before.size() / 2)
            QVERIFY(given(half));
        list.append(::samples::log("Editor", "earlier", 1));
        rows.extend(list);
        QCOMPARE(whole(body), before);
        while (given(half)) {
        }
        QCOMPARE(half, before);
    }

    void ofALongBacklogOnlyAPieceIsMade_data()
    {
        QTest::addColumn<bool>("isInOrder");
        QTest::newRow("in order") << true;
        QTest::newRow("in reverse") << false;
    }

    void ofALongBacklogOnlyAPieceIsMade()
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
        const std::int64_t before = g_allocated;
        g_most = before;
        const syncing::FoldedRows rows = folded(list);
        const auto body = syncing::uploadBody("{[", rows);
        QCOMPARE(rows.rowCount(), kRows);
        const auto parts = body.begin();
        std::int64_t sent = 0;
        for (std::string piece; parts(piece); piece.clear())
            sent += qint64(piece.size());
        QCOMPARE(sent, body.size);
        // Nothing for a sample; where they are to be sorted, a place and meanwhile an instant, too.
        const auto perRow = double(g_most - before) / kRows;
        QVERIFY2(perRow < (isInOrder ? 1 : 21), qPrintable(QString::number(perRow)));
    }
};

QUILLSTEP_TEST(TestUploadBody)
#include "tst_upload_body.moc"
