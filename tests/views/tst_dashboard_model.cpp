// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/test_program.h"
#include "tests/views/view_bench.h"
#include "views/models/dashboard_model.h"

#include <QScopeGuard>
#include <QSignalSpy>
#include <QTest>

using namespace std::chrono_literals;
using support::ViewBench;
using views::DashboardModel;

namespace {

QStringList names(const views::ActivityRows& rows)
{
    QStringList all;
    for (const views::AggregatedItem& item : rows.items())
        all.append(item.name);
    return all;
}

DashboardModel dashboard(ViewBench& bench, DashboardModel::Zone zone = &QTimeZone::systemTimeZone)
{
    return {bench.account, bench.store, bench.tracking, bench.desktopNotice, std::move(zone)};
}

class TestDashboardModel final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void totalsAreThereWhenTheWindowComesOnScreen();
    void nothingIsComputedWhileHidden();
    void activitiesCountAtMostOnceASecond();
    void theRangeTakesEffectAtOnce();
    void rowsStayInPlaceWhenTheirDurationsChange();
    void theHeaderFollowsTheAccount();
    void syncStatesAreToldApart();
    void theLastSyncIsToldOnlyWhenActive();
    void trackingIsToggled();
    void syncStartsFromTheMainQueue();
    void windowsComeToTheFront();
    void whatCannotBeSeenIsSaid();
    void todayIsAnotherDayAfterMidnightWithTheNextChange_data();
    void todayIsAnotherDayAfterMidnightWithTheNextChange();
    void todayIsThatOfTheZoneTheUserIsInNow();
    void theSystemsZoneIsFollowedWhenItChanges();
    void anHourLaterOnTheSameDayNothingIsAddedUp();
};

/// 800000000 is 2026-05-09T06:13:20Z; the last second of that day.
constexpr double kLastSecond = 800000000.0 + (17 * 3600) + (46 * 60) + 39;

/// What the dashboard observes besides the activities, and what changes it.
void causeChange(ViewBench& bench, const QString& what)
{
    if (what == QStringLiteral("sign-in"))
        bench.signIn();
    else if (what == QStringLiteral("tracking"))
        bench.tracking.start();
    else if (what == QStringLiteral("notice"))
        bench.desktopNotice.setNotice(QStringLiteral("Nothing is recorded."));
    else
        bench.sync.sync(); // signed out it fails at once
}

void TestDashboardModel::todayIsAnotherDayAfterMidnightWithTheNextChange_data()
{
    QTest::addColumn<QString>("what");
    for (const char* what : {"sign-in", "tracking", "notice", "synchronization"})
        QTest::newRow(what) << QString::fromLatin1(what);
}

void TestDashboardModel::todayIsAnotherDayAfterMidnightWithTheNextChange()
{
    QFETCH(const QString, what);
    ViewBench bench;
    bench.fake.clock.time = kLastSecond;
    bench.add("Before", 10);
    DashboardModel model = dashboard(bench, [] { return QTimeZone::utc(); });
    model.setVisible(true);
    QCOMPARE(names(*model.topApps()), QStringList{QStringLiteral("Before")});
    bench.fake.clock.time += 1;
    causeChange(bench, what);
    QCOMPARE(names(*model.topApps()), QStringList());
    bench.fake.clock.time -= 1; // the clock is set back
    bench.desktopNotice.setNotice(QStringLiteral("Another."));
    QCOMPARE(names(*model.topApps()), QStringList{QStringLiteral("Before")});
}

void TestDashboardModel::todayIsThatOfTheZoneTheUserIsInNow()
{
    ViewBench bench;
    bench.fake.clock.time = kLastSecond;
    bench.add("Late", 10);
    QTimeZone zone = QTimeZone::utc();
    DashboardModel model = dashboard(bench, [&zone] { return zone; });
    model.setVisible(true);
    bench.fake.clock.time += 1;
    zone = QTimeZone(3600); // one o'clock, the record is of 0:59:59
    bench.signIn();
    QCOMPARE(names(*model.topApps()), QStringList{QStringLiteral("Late")});
    zone = QTimeZone(-3600);
    bench.add("Later", 5);
    QCOMPARE(names(*model.topApps()),
             QStringList({QStringLiteral("Late"), QStringLiteral("Later")}));
    zone = QTimeZone::utc();
    bench.desktopNotice.setNotice(QStringLiteral("Nothing is recorded."));
    QCOMPARE(names(*model.topApps()), QStringList{QStringLiteral("Later")});
}

void TestDashboardModel::theSystemsZoneIsFollowedWhenItChanges()
{
    const QByteArray before = qgetenv("TZ");
    const bool isSet = qEnvironmentVariableIsSet("TZ");
    const auto restore = qScopeGuard([&] { isSet ? qputenv("TZ", before) : qunsetenv("TZ"); });
    qputenv("TZ", "Asia/Tokyo"); // UTC+9
    ViewBench bench;
    bench.fake.clock.time = kLastSecond;
    bench.add("Late", 10);
    bench.fake.clock.time += 1;
    DashboardModel model = dashboard(bench);
    model.setVisible(true);
    QCOMPARE(names(*model.topApps()), QStringList{QStringLiteral("Late")});
    qputenv("TZ", "UTC");
    bench.signIn();
    QCOMPARE(names(*model.topApps()), QStringList());
}

void TestDashboardModel::anHourLaterOnTheSameDayNothingIsAddedUp()
{
    ViewBench bench;
    bench.add("A", 10);
    DashboardModel model = dashboard(bench, [] { return QTimeZone::utc(); });
    model.setVisible(true);
    const QSignalSpy changed(model.topApps(), &QAbstractItemModel::dataChanged);
    bench.add("A", 10);
    QCOMPARE(changed.count(), 1);
    bench.add("A", 10); // within the second
    bench.fake.clock.time += 3600;
    bench.signIn();
    QCOMPARE(changed.count(), 1);
}

void TestDashboardModel::totalsAreThereWhenTheWindowComesOnScreen()
{
    ViewBench bench;
    bench.add("A", 10, "https://www.example.com/x");
    bench.add("B", 20);
    DashboardModel model = dashboard(bench);
    QVERIFY(model.topApps()->items().empty());
    model.setVisible(true);
    QCOMPARE(names(*model.topApps()), QStringList({QStringLiteral("B"), QStringLiteral("A")}));
    QCOMPARE(names(*model.topWebsites()), QStringList{QStringLiteral("www.example.com")});
    QCOMPARE(model.topApps()->maxDuration(), 20.0);
}

void TestDashboardModel::whatCannotBeSeenIsSaid()
{
    ViewBench bench;
    DashboardModel model = dashboard(bench);
    model.setVisible(true);
    QCOMPARE(model.notice(), QString());
    const QSignalSpy changed(&model, &DashboardModel::changed);
    bench.desktopNotice.setNotice(QStringLiteral("Nothing is recorded."));
    QCOMPARE(model.notice(), QStringLiteral("Nothing is recorded."));
    QCOMPARE(changed.count(), 1);
}

void TestDashboardModel::nothingIsComputedWhileHidden()
{
    ViewBench bench;
    DashboardModel model = dashboard(bench);
    model.setVisible(true);
    model.setVisible(false);
    const QSignalSpy changed(&model, &DashboardModel::changed);
    bench.add("A", 10);
    bench.signIn();
    bench.mainQueue.advance(1h);
    QVERIFY(model.topApps()->items().empty());
    QCOMPARE(changed.count(), 0);
    model.setVisible(true);
    QCOMPARE(names(*model.topApps()), QStringList{QStringLiteral("A")});
    QCOMPARE(changed.count(), 1);
}

void TestDashboardModel::activitiesCountAtMostOnceASecond()
{
    ViewBench bench;
    DashboardModel model = dashboard(bench);
    model.setVisible(true);
    bench.add("A", 1);
    QCOMPARE(model.topApps()->maxDuration(), 1.0);
    bench.add("A", 1);
    bench.add("A", 1);
    bench.mainQueue.advance(999ms);
    QCOMPARE(model.topApps()->maxDuration(), 1.0);
    bench.mainQueue.advance(1ms);
    QCOMPARE(model.topApps()->maxDuration(), 3.0);
    bench.add("A", 1);
    QCOMPARE(model.topApps()->maxDuration(), 3.0);
    bench.mainQueue.advance(1s);
    QCOMPARE(model.topApps()->maxDuration(), 4.0);
    bench.mainQueue.advance(1s);
    QCOMPARE(bench.mainQueue.waiting(), 0U);
}

void TestDashboardModel::theRangeTakesEffectAtOnce()
{
    ViewBench bench;
    bench.add("Yesterday", 10);
    bench.fake.clock.time += 86400;
    bench.add("Today", 5);
    DashboardModel model = dashboard(bench, [] { return QTimeZone::utc(); });
    model.setVisible(true);
    QCOMPARE(model.timeRanges(),
             QStringList({QStringLiteral("Today"), QStringLiteral("All Time")}));
    QCOMPARE(model.timeRange(), 0);
    QCOMPARE(names(*model.topApps()), QStringList{QStringLiteral("Today")});
    model.setTimeRange(1);
    QCOMPARE(names(*model.topApps()),
             QStringList({QStringLiteral("Yesterday"), QStringLiteral("Today")}));
    model.setTimeRange(2);
    QCOMPARE(model.timeRange(), 1);
}

void TestDashboardModel::rowsStayInPlaceWhenTheirDurationsChange()
{
    ViewBench bench;
    bench.add("A", 10);
    bench.add("B", 5);
    DashboardModel model = dashboard(bench);
    model.setVisible(true);
    const QSignalSpy reset(model.topApps(), &QAbstractItemModel::modelReset);
    const QSignalSpy inserted(model.topApps(), &QAbstractItemModel::rowsInserted);
    const QSignalSpy changed(model.topApps(), &QAbstractItemModel::dataChanged);
    bench.add("A", 1);
    QCOMPARE(reset.count() + inserted.count(), 0);
    QCOMPARE(changed.count(), 1);
    const QModelIndex first = model.topApps()->index(0);
    QCOMPARE(first.data(views::ActivityRows::NameRole).toString(), QStringLiteral("A"));
    QCOMPARE(first.data(views::ActivityRows::DurationTextRole).toString(), QStringLiteral("11s"));
    bench.store.removeLogs(activity::ActivityIds(bench.store.activities()));
    bench.mainQueue.advance(1s);
    QCOMPARE(model.topApps()->count(), 0);
    QCOMPARE(model.topApps()->maxDuration(), 1.0);
}

void TestDashboardModel::theHeaderFollowsTheAccount()
{
    ViewBench bench;
    DashboardModel model = dashboard(bench);
    QVERIFY(!model.isAuthenticated());
    bench.signIn({});
    QVERIFY(model.isAuthenticated());
    QCOMPARE(model.displayName(), QStringLiteral("User"));
    QCOMPARE(model.initials(), QStringLiteral("U"));
    bench.signIn();
    QCOMPARE(model.displayName(), QStringLiteral("Ada Lovelace"));
    QCOMPARE(model.initials(), QStringLiteral("AL"));
    model.logout();
    QVERIFY(!bench.auth.isAuthenticated());
}

void TestDashboardModel::syncStatesAreToldApart()
{
    ViewBench bench;
    bench.signIn();
    bench.add("A", 1);
    DashboardModel model = dashboard(bench);
    QVERIFY(!model.isSyncing() && !model.hasSyncError());
    QCOMPARE(model.syncText(), QStringLiteral("Active"));
    bench.sync.sync();
    QVERIFY(model.isSyncing() && !model.hasSyncError());
    QCOMPARE(model.syncText(), QStringLiteral("Syncing..."));
    QCOMPARE(model.syncDetail(), QString());
    bench.fake.httpClient.answer(
        platform::TransferFailure{.text = QStringLiteral("no way"), .description = {}});
    QTRY_VERIFY(!bench.sync.isSyncing());
    QVERIFY(model.hasSyncError());
    QCOMPARE(model.syncText(), QStringLiteral("Sync Error"));
    QCOMPARE(model.syncError(), bench.sync.lastSyncError().value_or(QString()));
}

void TestDashboardModel::theLastSyncIsToldOnlyWhenActive()
{
    ViewBench bench;
    DashboardModel model = dashboard(bench);
    QCOMPARE(model.syncDetail(), QString());
    bench.sync.setLastSyncTime(bench.fake.clock.time - 301);
    QCOMPARE(model.syncDetail(), QStringLiteral("Last: 5 min. ago"));
    QCoro::waitFor(bench.sync.sync());
    QVERIFY(model.hasSyncError() && !model.syncError().isEmpty());
    QCOMPARE(model.syncDetail(), model.syncError());
}

void TestDashboardModel::trackingIsToggled()
{
    ViewBench bench;
    DashboardModel model = dashboard(bench);
    model.toggleTracking();
    QVERIFY(bench.tracking.isTracking() && model.isTracking());
    model.toggleTracking();
    QVERIFY(!bench.tracking.isTracking() && !model.isTracking());
}

void TestDashboardModel::syncStartsFromTheMainQueue()
{
    ViewBench bench;
    bench.signIn();
    bench.add("A", 1);
    DashboardModel model = dashboard(bench);
    model.sync();
    QVERIFY(!bench.sync.isSyncing());
    bench.mainQueue.advance();
    QVERIFY(bench.sync.isSyncing());
}

void TestDashboardModel::windowsComeToTheFront()
{
    ViewBench bench;
    DashboardModel model = dashboard(bench);
    model.openLogin();
    model.openSettings();
    QCOMPARE(bench.activation.calls,
             QStringList({QStringLiteral("activate"), QStringLiteral("activate")}));
}

} // namespace

QUILLSTEP_TEST(TestDashboardModel)
#include "tst_dashboard_model.moc"
