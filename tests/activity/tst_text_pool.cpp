// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "activity/shared_text.h"
#include "tests/support/test_program.h"

#include <QTest>

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>
#include <utility>
#include <vector>

using activity::SharedText;
using activity::TextPool;

class TestTextPool final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void emptyTextsAreEqualHoweverTheyWereMade()
    {
        QVERIFY(SharedText() == SharedText(""));
        QVERIFY(SharedText(QString()) == SharedText(std::string_view()));
        QCOMPARE(SharedText().toString(), QString());
    }

    void copiesShareAndMovedFromTextsAreSafe()
    {
        SharedText first("text");
        SharedText second = first;
        QVERIFY(first.sharesBufferWith(second));
        QVERIFY(!first.isSoleOwner());
        const SharedText third = std::move(second);
        second = first;
        first = SharedText("other");
        QCOMPARE(third.view(), std::string_view("text"));
        QCOMPARE(second.view(), std::string_view("text"));
        QVERIFY(first.isSoleOwner());
        auto& same = first;
        first = same;
        QCOMPARE(first.view(), std::string_view("other"));
    }

    void invalidUtf8BecomesReplacementCharacters()
    {
        QCOMPARE(SharedText("a\xFF"
                            "b")
                     .toString(),
                 QStringLiteral("a\uFFFDb"));
        QVERIFY(SharedText("cut \xE2\x82").toString().startsWith(QStringLiteral("cut \uFFFD")));
    }

    void equalTextsShareOneBuffer()
    {
        TextPool pool;
        const SharedText first = pool.intern(std::string_view("same"));
        const SharedText second = pool.intern(SharedText("same"));
        QVERIFY(first.sharesBufferWith(second));
        QVERIFY(!first.sharesBufferWith(pool.intern(std::string_view("different"))));
        QCOMPARE(pool.size(), 2UL);
    }

    void textsThatNobodyHoldsAreDroppedInTime()
    {
        TextPool pool;
        const SharedText held = pool.intern(std::string_view("held"));
        for (int i = 0; i < 500'000; ++i)
            static_cast<void>(pool.intern(std::string_view("title " + std::to_string(i))));
        QVERIFY2(pool.size() < 20'000, qPrintable(QString::number(pool.size())));
        QVERIFY(held.sharesBufferWith(pool.intern(std::string_view("held"))));
    }

    void afterABacklogTheClockSweepsThem()
    {
        TextPool pool;
        const SharedText held = pool.intern(std::string_view("held"));
        {
            std::vector<SharedText> backlog;
            for (int i = 0; i < 20'000; ++i)
                backlog.push_back(pool.intern(std::string_view("title " + std::to_string(i))));
        }
        QVERIFY(pool.size() > 20'000);
        for (int tick = 0; tick < 2'000; ++tick)
            pool.sweepSome(); // no new text comes
        QCOMPARE(pool.size(), 1UL);
        QVERIFY(held.sharesBufferWith(pool.intern(std::string_view("held"))));
    }

    void allPartsAreTheWholePool()
    {
        TextPool pool;
        {
            std::vector<SharedText> backlog;
            for (int i = 0; i < 20'000; ++i)
                backlog.push_back(pool.intern(std::string_view("title " + std::to_string(i))));
        }
        for (std::size_t part = 0; part < TextPool::kParts; ++part)
            pool.sweepPart();
        QCOMPARE(pool.size(), 0UL);
    }

    void longTextsAreSweptTheSooner()
    {
        TextPool pool;
        std::vector<SharedText> held; // as many as on a usual day
        for (int i = 0; i < 8'000; ++i)
            held.push_back(pool.intern(std::string_view("title " + std::to_string(i))));
        std::size_t most = 0;
        for (int i = 0; i < 2'000; ++i) {
            const std::string text(16'384, 'x');
            static_cast<void>(pool.intern(std::string_view(text + std::to_string(i))));
            most = std::max(most, pool.size() - held.size());
        }
        QVERIFY2(most < 100, qPrintable(QString::number(most))); // 1.6 MB
    }

    void textsThatAreHeldStay()
    {
        TextPool pool;
        std::vector<SharedText> held;
        for (int i = 0; i < 50'000; ++i)
            held.push_back(pool.intern(std::string_view("title " + std::to_string(i))));
        QCOMPARE(pool.size(), held.size());
        for (int i = 0; i < 50'000; ++i)
            QVERIFY(held[static_cast<std::size_t>(i)].sharesBufferWith(
                pool.intern(std::string_view("title " + std::to_string(i)))));
    }

    void textsMayBeReleasedOnOtherThreadsWhileThePoolSweeps()
    {
        TextPool pool;
        std::atomic<std::size_t> read = 0;
        for (int round = 0; round < 50; ++round) {
            std::vector<SharedText> batch;
            for (int i = 0; i < 1000; ++i)
                batch.push_back(
                    pool.intern(std::string_view(std::to_string(round) + '/' + std::to_string(i))));
            const std::jthread reader([&read, moved = std::move(batch)]() mutable {
                for (const SharedText& text : moved)
                    read += text.view().size();
                moved.clear();
            });
            for (int i = 0; i < 1000; ++i)
                static_cast<void>(pool.intern(std::string_view("x" + std::to_string(i))));
        }
        QCOMPARE(read.load(), 50UL * (10 * 1 + 90 * 2 + 900 * 3) + 1000UL * (10 * 2 + 40 * 3));
    }
};

QUILLSTEP_TEST(TestTextPool)
#include "tst_text_pool.moc"
