// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/test_program.h"
#include "tests/views/view_bench.h"
#include "views/models/settings_model.h"

#include <QSignalSpy>
#include <QTest>

using support::ViewBench;
using views::SettingsModel;

namespace {

SettingsModel settings(ViewBench& bench)
{
    return {bench.account,
            {.userDefaults = bench.fake.userDefaults,
             .loginItem = bench.loginItem,
             .diagnostics = bench.fake.diagnostics,
             .urlOpener = bench.urlOpener,
             .serviceUrl = bench.serviceUrl}};
}

class TestSettingsModel final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theIntervalIsFiveUntilTheUserHasChosen();
    void theSliderStoresItsPositionAtOnce_data();
    void theSliderStoresItsPositionAtOnce();
    void theRunningTimerKeepsItsInterval();
    void countersAreReadWhenSomethingChanges();
    void theLastSyncIsNeverAtFirst();
    void anUploadWithNothingToSendIsShownAtOnce();
    void accountsWithoutARecordAreLoggedIn();
    void anAddressStandsForTheNameAndBelowIt();
    void theSwitchShowsWhatIsRegistered();
    void aRefusedRegistrationTurnsTheSwitchBack();
    void aRefusalBothWaysIsSaidTwice();
    void theWebSiteIsThatOfTheService_data();
    void theWebSiteIsThatOfTheService();
};

void TestSettingsModel::theIntervalIsFiveUntilTheUserHasChosen()
{
    ViewBench bench;
    const SettingsModel model = settings(bench);
    QCOMPARE(model.syncInterval(), 5);
    QCOMPARE(model.interval(), QStringLiteral("5"));
    QVERIFY(!bench.fake.userDefaults.string(QStringLiteral("syncInterval")));
}

void TestSettingsModel::theSliderStoresItsPositionAtOnce_data()
{
    QTest::addColumn<double>("position");
    QTest::addColumn<qint64>("stored");
    QTest::newRow("first") << 1.0 << qint64(1);
    QTest::newRow("last") << 60.0 << qint64(60);
    QTest::newRow("between") << 7.99 << qint64(7);
}

void TestSettingsModel::theSliderStoresItsPositionAtOnce()
{
    QFETCH(const double, position);
    QFETCH(const qint64, stored);
    ViewBench bench;
    SettingsModel model = settings(bench);
    const QSignalSpy changed(&model, &SettingsModel::changed);
    model.moveIntervalSlider(position);
    QCOMPARE(bench.fake.userDefaults.integer(QStringLiteral("syncInterval")), stored);
    QCOMPARE(model.interval(), QString::number(stored));
    QCOMPARE(changed.count(), 1);
}

void TestSettingsModel::theRunningTimerKeepsItsInterval()
{
    ViewBench bench;
    bench.sync.setupTimer();
    SettingsModel model = settings(bench);
    model.moveIntervalSlider(30);
    QCOMPARE(bench.fake.repeatingTimers.scheduled, 1);
    QCOMPARE(bench.fake.repeatingTimers.interval(), std::chrono::minutes(1));
}

void TestSettingsModel::countersAreReadWhenSomethingChanges()
{
    ViewBench bench;
    SettingsModel model = settings(bench);
    QCOMPARE(model.lastRecordCount(), QStringLiteral("0"));
    const QSignalSpy changed(&model, &SettingsModel::changed);
    bench.fake.userDefaults.setInteger(QStringLiteral("lastSyncRecordCount"), 12);
    bench.fake.userDefaults.setInteger(QStringLiteral("totalRecordsSynced"), 345);
    QCOMPARE(changed.count(), 0);
    bench.signIn();
    QVERIFY(changed.count() > 0);
    QCOMPARE(model.lastRecordCount(), QStringLiteral("12"));
    QCOMPARE(model.totalSynced(), QStringLiteral("345"));
}

void TestSettingsModel::theLastSyncIsNeverAtFirst()
{
    ViewBench bench;
    const SettingsModel model = settings(bench);
    QCOMPARE(model.formatLastSync(), QStringLiteral("Never"));
    bench.sync.setLastSyncTime(bench.fake.clock.time - 301);
    QCOMPARE(model.formatLastSync(), QStringLiteral("5 min. ago"));
}

// What the window shows is what it read when it was told last.
void TestSettingsModel::anUploadWithNothingToSendIsShownAtOnce()
{
    ViewBench bench;
    bench.signIn();
    bench.fake.userDefaults.setInteger(QStringLiteral("lastSyncRecordCount"), 12);
    bench.sync.setLastSyncTime(bench.fake.clock.time - 301);
    SettingsModel model = settings(bench);
    QStringList shown;
    connect(&model, &SettingsModel::changed, this, [&] {
        shown.append(
            QStringLiteral("%1, %2, %3")
                .arg(model.isSyncing() ? QStringLiteral("syncing") : QStringLiteral("idle"),
                     model.formatLastSync(),
                     model.lastRecordCount()));
    });
    QCoro::waitFor(bench.sync.sync());
    QCOMPARE(shown,
             QStringList({QStringLiteral("syncing, 5 min. ago, 12"),
                          QStringLiteral("idle, in 0 sec., 0")}));
}

void TestSettingsModel::accountsWithoutARecordAreLoggedIn()
{
    ViewBench bench;
    bench.signIn({});
    const SettingsModel model = settings(bench);
    QCOMPARE(model.accountName(), QStringLiteral("Logged In"));
    QCOMPARE(model.accountEmail(), QString());
    QCOMPARE(model.initials(), QStringLiteral("U"));
}

void TestSettingsModel::anAddressStandsForTheNameAndBelowIt()
{
    ViewBench bench;
    bench.signIn(R"({"id":1,"email":"x@example.com"})");
    const SettingsModel model = settings(bench);
    QCOMPARE(model.accountName(), QStringLiteral("x@example.com"));
    QCOMPARE(model.accountEmail(), QStringLiteral("x@example.com"));
    QCOMPARE(model.initials(), QStringLiteral("X"));
}

void TestSettingsModel::theSwitchShowsWhatIsRegistered()
{
    ViewBench bench;
    bench.loginItem.enabled = true;
    SettingsModel model = settings(bench);
    QVERIFY(model.launchAtLogin());
    QCOMPARE(bench.loginItem.requests, 0);
    model.changeLaunchAtLogin(false);
    QVERIFY(!model.launchAtLogin());
    QVERIFY(!bench.loginItem.enabled);
    QCOMPARE(bench.fake.diagnostics.lines(), QStringList());
}

void TestSettingsModel::aRefusedRegistrationTurnsTheSwitchBack()
{
    ViewBench bench;
    SettingsModel model = settings(bench);
    // Refused once; turning back is a change like any other and succeeds.
    bench.loginItem.fault = QStringLiteral("disk full");
    connect(&model, &SettingsModel::launchAtLoginChanged, this, [&] {
        if (!model.launchAtLogin())
            bench.loginItem.fault.clear();
    });
    model.changeLaunchAtLogin(true);
    QVERIFY(!model.launchAtLogin());
    QCOMPARE(bench.loginItem.requests, 2);
    QCOMPARE(bench.fake.diagnostics.lines(),
             QStringList{QStringLiteral("Failed to enable launch at login: disk full")});
}

void TestSettingsModel::aRefusalBothWaysIsSaidTwice()
{
    ViewBench bench;
    SettingsModel model = settings(bench);
    bench.loginItem.fault = QStringLiteral("disk full");
    model.changeLaunchAtLogin(true);
    QVERIFY(!model.launchAtLogin());
    QCOMPARE(bench.fake.diagnostics.lines(),
             QStringList({QStringLiteral("Failed to enable launch at login: disk full"),
                          QStringLiteral("Failed to disable launch at login: disk full")}));
}

void TestSettingsModel::theWebSiteIsThatOfTheService_data()
{
    QTest::addColumn<QString>("service");
    QTest::addColumn<QString>("shown");
    QTest::addColumn<QString>("opened");
    QTest::newRow("elsewhere") << "https://service.example:8443" << "service.example"
                               << "https://service.example";
    QTest::newRow("this machine") << "http://127.0.0.1:8787" << "127.0.0.1"
                                  << "http://127.0.0.1:8787";
}

void TestSettingsModel::theWebSiteIsThatOfTheService()
{
    QFETCH(const QString, service);
    ViewBench bench;
    bench.serviceUrl = service;
    SettingsModel model = settings(bench);
    QTEST(model.serviceHost(), "shown");
    model.openWebSite();
    QTEST(bench.urlOpener.opened.join(u' '), "opened");
}

} // namespace

QUILLSTEP_TEST(TestSettingsModel)
#include "tst_settings_model.moc"
