// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/failure_limiter.h"
#include "tests/support/test_program.h"

#include <QTest>

#include <thread>
#include <vector>

using namespace std::chrono_literals;
using service::FailureLimiter;

class TestFailureLimiter : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void init() { m_now = {}; }

    void theLastBorneFailureMakesTheKeyWait()
    {
        FailureLimiter limiter = make({.failures = 3, .window = 60s});
        for (int i = 0; i < 3; ++i) {
            QVERIFY(!limiter.wait("a"));
            limiter.addFailure("a");
        }
        QCOMPARE(limiter.wait("a"), std::optional(60s));
        QVERIFY(!limiter.wait("b"));
    }

    void theWindowSlides()
    {
        FailureLimiter limiter = make({.failures = 2, .window = 60s});
        limiter.addFailure("a");
        m_now += 40s;
        limiter.addFailure("a");
        QCOMPARE(limiter.wait("a"), std::optional(20s));
        m_now += 19500ms;
        QCOMPARE(limiter.wait("a"), std::optional(1s));
        m_now += 500ms;
        QVERIFY(!limiter.wait("a"));
        limiter.addFailure("a");
        QCOMPARE(limiter.wait("a"), std::optional(40s));
    }

    void failuresBeyondTheLimitProlongTheWait()
    {
        FailureLimiter limiter = make({.failures = 2, .window = 60s});
        limiter.addFailure("a");
        limiter.addFailure("a");
        m_now += 30s;
        limiter.addFailure("a");
        QCOMPARE(limiter.wait("a"), std::optional(30s));
        m_now += 30s;
        QVERIFY(!limiter.wait("a"));
    }

    void whatIsOverIsForgotten()
    {
        FailureLimiter limiter = make({.failures = 2, .window = 60s});
        limiter.addFailure("a");
        m_now += 30s;
        limiter.addFailure("b");
        QCOMPARE(limiter.size(), 2u);
        m_now += 30s;
        QVERIFY(!limiter.wait("c"));
        QCOMPARE(limiter.size(), 1u);
        m_now += 30s;
        QVERIFY(!limiter.wait("c"));
        QCOMPARE(limiter.size(), 0u);
    }

    void ofTooManyKeysThoseThatFailedLongestAgoAreForgotten()
    {
        FailureLimiter limiter = make({.failures = 1, .window = 60s, .keys = 3});
        for (const char* key : {"a", "b", "c", "a", "d"}) {
            limiter.addFailure(key);
            m_now += 1s;
        }
        QCOMPARE(limiter.size(), 3u);
        QVERIFY(!limiter.wait("b"));
        for (const char* key : {"a", "c", "d"})
            QVERIFY2(limiter.wait(key), key);
    }

    void manyThreadsCountTogether()
    {
        FailureLimiter limiter({.failures = 400, .window = std::chrono::hours(1)});
        {
            std::vector<std::jthread> threads;
            for (int i = 0; i < 4; ++i)
                threads.emplace_back([&] {
                    for (int n = 0; n < 100; ++n) {
                        static_cast<void>(limiter.wait("a"));
                        limiter.addFailure("a");
                    }
                });
        }
        QVERIFY(limiter.wait("a"));
    }

private:
    FailureLimiter make(const FailureLimiter::Settings& settings)
    {
        return FailureLimiter(settings, [this] { return m_now; });
    }

    FailureLimiter::Clock::time_point m_now;
};

QUILLSTEP_TEST(TestFailureLimiter)
#include "tst_failure_limiter.moc"
