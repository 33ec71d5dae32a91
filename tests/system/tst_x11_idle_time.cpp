// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/headless_x11.h"
#include "tests/support/required_programs.h"
#include "tests/support/x11_test_window.h"
#include "tests/system/x11_observer.h"
#include "tests/system/xdotool.h"

#include <QRegularExpression>
#include <QTest>

#include <cmath>

using namespace Qt::StringLiterals;
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
        QVERIFY(observer->idleTime.isAvailable());

        QTRY_VERIFY(observer->idleTime.secondsSinceLastInput() > 1.5);
        QVERIFY(observer->idleTime.secondsSinceLastInput() < 60);
        QVERIFY(xdotool(desktop, input));
        QVERIFY(observer->idleTime.secondsSinceLastInput() < 1);
        QTRY_VERIFY(observer->idleTime.secondsSinceLastInput() > 1.5);
    }

    void aServerWithoutTheExtensionDoesNotTell()
    {
        HeadlessX11 desktop;
        QVERIFY(desktop.start({u"-extension"_s, u"MIT-SCREEN-SAVER"_s}));
        const auto observer = X11Observer::on(desktop.display());
        QVERIFY(observer);
        QVERIFY(!observer->idleTime.isAvailable());
        QVERIFY(std::isnan(observer->idleTime.secondsSinceLastInput()));

        X11TestWindow window(desktop.display());
        window.setTitle(u"Title"_s);
        QVERIFY(window.showAndFocus());
        QCOMPARE(observer->tick(), std::optional(u"Title"_s));
    }
};

QTEST_GUILESS_MAIN(TestX11IdleTime)
#include "tst_x11_idle_time.moc"
