// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/desktops/wayland/wayland_idle_time.h"
#include "tests/support/test_program.h"

#include <QTest>

#include <cmath>

using namespace std::chrono_literals;
using platform::wayland::IdleSpan;

class TestIdleSpan final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void unknownBeforeAnybodyIsAsked()
    {
        IdleSpan span;
        QVERIFY(std::isnan(span.secondsAt(kStart)));
        span.idled(kStart);
        QVERIFY(std::isnan(span.secondsAt(kStart + 5s)));
        span.resumed();
        QVERIFY(std::isnan(span.secondsAt(kStart + 5s)));
    }

    void unknownUntilANoticeIsDue()
    {
        const IdleSpan span = asked();
        QVERIFY(std::isnan(span.secondsAt(kStart)));
        QVERIFY(std::isnan(span.secondsAt(kStart + 999ms)));
        QCOMPARE(span.secondsAt(kStart + 1000ms), 0.0);
        QCOMPARE(span.secondsAt(kStart + 1h), 0.0);
    }

    void countsFromASecondBeforeTheNotice()
    {
        IdleSpan span = asked();
        span.idled(kStart + 3s);
        QCOMPARE(span.secondsAt(kStart + 3s), 1.0);
        QCOMPARE(span.secondsAt(kStart + 3s + 250ms), 1.25);
        QCOMPARE(span.secondsAt(kStart + 3s + 1h), 3601.0);
    }

    void inputMakesItZero()
    {
        IdleSpan span = asked();
        span.idled(kStart + 1s);
        span.resumed();
        QCOMPARE(span.secondsAt(kStart + 10s), 0.0);
        span.idled(kStart + 20s);
        QCOMPARE(span.secondsAt(kStart + 20s), 1.0);
    }

    void inputBeforeAnyNoticeIsKnown()
    {
        IdleSpan span = asked();
        span.resumed();
        QCOMPARE(span.secondsAt(kStart + 1ms), 0.0);
    }

    void aNoticeThatComesTwiceCountsOnce()
    {
        IdleSpan span = asked();
        span.idled(kStart + 1s);
        span.idled(kStart + 60s);
        QCOMPARE(span.secondsAt(kStart + 60s), 60.0);
    }

    void neverNegative()
    {
        IdleSpan span = asked();
        span.idled(kStart + 10s);
        QCOMPARE(span.secondsAt(kStart), 0.0);
    }

    void unknownAfterItIsForgotten()
    {
        IdleSpan span = asked();
        span.idled(kStart + 1s);
        span.forget();
        QVERIFY(std::isnan(span.secondsAt(kStart + 2s)));
        span.start(kStart + 10s);
        QVERIFY(std::isnan(span.secondsAt(kStart + 10s)));
        span.idled(kStart + 11s);
        QCOMPARE(span.secondsAt(kStart + 12s), 2.0);
    }

private:
    static constexpr IdleSpan::TimePoint kStart{1000h};

    static IdleSpan asked()
    {
        IdleSpan span;
        span.start(kStart);
        return span;
    }
};

QUILLSTEP_TEST(TestIdleSpan)
#include "tst_idle_span.moc"
