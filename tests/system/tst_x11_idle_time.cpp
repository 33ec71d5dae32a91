// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/headless_x11.h"
#include "tests/support/passing_time.h"
#include "tests/support/required_programs.h"
#include "tests/support/test_program.h"
#include "tests/support/x11_test_window.h"
#include "tests/system/x11_observer.h"
#include "tests/system/xdotool.h"

#include <QRegularExpression>
#include <QTest>

#include <chrono>
#include <cmath>
#include <xcb/screensaver.h>

using namespace Qt::StringLiterals;
using platform::desktop::Presence;
using std::chrono::milliseconds;
using support::HeadlessX11;
using support::X11TestWindow;

class TestX11IdleTime final : public QObject
{
    Q_OBJECT
private Q_SLOTS:

    void initTestCase() { REQUIRE_PROGRAMS(HeadlessX11::programs() << u"xdotool"_s); }

    void init() { QTest::failOnWarning(QRegularExpression(u".*"_s)); }

    void keysAndPointerMovesResetTheIdleTime_data()
    {
        QTest::addColumn<QStringList>("input");
        QTest::newRow("key") << QStringList{u"key"_s, u"shift"_s};
        QTest::newRow("pointer") << QStringList{u"mousemove_relative"_s, u"1"_s, u"1"_s};
    }

    void keysAndPointerMovesResetTheIdleTime()
    {
        QFETCH(const QStringList, input);
        HeadlessX11 desktop;
        QVERIFY(desktop.start());
        const auto observer = X11Observer::on(desktop.display());
        QVERIFY(observer);
        QCOMPARE(observer->idleTime.presence(), Presence::Here);

        QTRY_VERIFY(observer->idleTime.secondsSinceLastInput() > 1.5);
        QVERIFY(observer->idleTime.secondsSinceLastInput() < 60);
        QVERIFY(xdotool(desktop, input));
        QVERIFY(observer->idleTime.secondsSinceLastInput() < 1);
        QTRY_VERIFY(observer->idleTime.secondsSinceLastInput() > 1.5);
    }

    // It is asked once and counted on from there, until there is input.
    void itIsWhatTheServerSaysToATenthOfASecond()
    {
        HeadlessX11 desktop;
        QVERIFY(desktop.start());
        const auto observer = X11Observer::on(desktop.display());
        QVERIFY(observer);
        const support::X11Client client(desktop.display());
        for (int inputs = 0; inputs < 3; ++inputs) {
            QVERIFY(xdotool(desktop, {u"key"_s, u"shift"_s}));
            double server = 0;
            while (server < 3.5) {
                support::letPass(milliseconds(100)); // some questions a second
                const double seconds = observer->idleTime.secondsSinceLastInput();
                server = idleSecondsOf(client);
                // Below a second it may be less.
                QVERIFY2(seconds < server + 0.1 && (server < 1.2 || seconds > server - 0.1),
                         qPrintable(u"%1 instead of %2"_s.arg(seconds).arg(server)));
            }
        }
    }

    void aServerWithoutTheExtensionDoesNotTell()
    {
        HeadlessX11 desktop;
        QVERIFY(desktop.start({u"-extension"_s, u"MIT-SCREEN-SAVER"_s}));
        const auto observer = X11Observer::on(desktop.display());
        QVERIFY(observer);
        QCOMPARE(observer->idleTime.presence(), Presence::Absent);
        QVERIFY(std::isnan(observer->idleTime.secondsSinceLastInput()));

        X11TestWindow window(desktop.display());
        window.setTitle(u"Title"_s);
        QVERIFY(window.showAndFocus());
        QCOMPARE(observer->tick(), std::optional(u"Title"_s));
    }

private:
    /// By a question of its own.
    static double idleSecondsOf(const support::X11Client& client)
    {
        const auto cookie = xcb_screensaver_query_info(client.get(), client.root());
        const platform::x11::X11Reply<xcb_screensaver_query_info_reply_t> reply(
            xcb_screensaver_query_info_reply(client.get(), cookie, nullptr));
        return reply ? reply->ms_since_user_input / 1000.0 : std::nan("");
    }
};

QUILLSTEP_TEST(TestX11IdleTime)
#include "tst_x11_idle_time.moc"
