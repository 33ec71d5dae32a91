// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// The menu as a panel gets it, over com.canonical.dbusmenu.
#include "tests/support/required_programs.h"
#include "tests/support/status_item_client.h"
#include "tests/support/status_notifier_watcher.h"
#include "tests/support/test_program.h"
#include "tests/system/tray_client_process.h"
#include "tests/system/tray_desktop.h"

#include <QTest>

#include <optional>

using support::StatusItemClient;
using support::StatusNotifierWatcher;
using support::TrayClient;
using support::TrayDesktop;

namespace {

const QStringList kHead{
    QStringLiteral("- Velomira"), QStringLiteral("- Usage Monitor"), QStringLiteral("---")};
const QStringList kFoot{QStringLiteral("---"),
                        QStringLiteral("+ Settings (Control+,)"),
                        QStringLiteral("---"),
                        QStringLiteral("+ Quit Velomira (Control+Q)")};

QJsonObject signedIn(const QJsonValue& user = {})
{
    QJsonObject state{{QStringLiteral("signedIn"), true}, {QStringLiteral("tracking"), true}};
    if (user.isObject())
        state[QStringLiteral("user")] = user;
    return state;
}

QJsonObject named(const QString& name)
{
    return signedIn(QJsonObject{{QStringLiteral("name"), name}});
}

QStringList signedInRows(const QString& user, bool isTracking = true, bool isSyncing = false)
{
    QStringList rows = kHead;
    if (!user.isNull())
        rows += QStringLiteral("- ") + user;
    rows += isTracking ? QStringLiteral(u"- \u2713 Tracking Active")
                       : QStringLiteral(u"- \u23F8 Tracking Paused");
    rows += QStringLiteral("---");
    rows += QStringLiteral("+ Open Dashboard (Control+D)");
    rows += isTracking ? QStringLiteral("+ Pause Tracking") : QStringLiteral("+ Resume Tracking");
    rows += isSyncing ? QStringLiteral("- Sync Now") : QStringLiteral("+ Sync Now");
    return rows + kFoot;
}

/// The line of the user as a host shows it.
const QString kPrefix = QStringLiteral(u"\U0001F464 ");

} // namespace

class TestTrayMenu : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        REQUIRE_PROGRAMS(TrayDesktop::programs());
        const auto started = m_desktop.start();
        QVERIFY2(started, started ? "" : qPrintable(started.error().text));
        m_watcher.emplace(m_desktop.bus.address(), true);
        QVERIFY(m_watcher->isThere());
        QVERIFY(m_client.start(m_desktop.environment()));
        const QString owner = m_watcher->waitForItem();
        QVERIFY(!owner.isEmpty());
        m_panel.emplace(m_desktop.bus.address(), owner);
    }

    void cleanupTestCase()
    {
        if (m_client.process().isRunning())
            QCOMPARE(m_client.finish(), 0);
    }

    void hasItsRowsInEveryState_data()
    {
        const auto user = [](const char* name, const char* value) {
            return signedIn(QJsonObject{{QLatin1StringView(name), QLatin1StringView(value)}});
        };
        QTest::addColumn<QJsonObject>("state");
        QTest::addColumn<QStringList>("rows");
        const QStringList signedOut = kHead +
                                      QStringList{QStringLiteral(u"- \u26A0\uFE0F Not Logged In"),
                                                  QStringLiteral("+ Log In")} +
                                      kFoot;
        QTest::newRow("signed out") << QJsonObject() << signedOut;
        QTest::newRow("signed out, tracking")
            << QJsonObject{{QStringLiteral("tracking"), true}} << signedOut;
        QTest::newRow("without a user record") << signedIn() << signedInRows(QString());
        QTest::newRow("name") << user("name", "Ada")
                              << signedInRows(kPrefix + QStringLiteral("Ada"));
        QTest::newRow("e-mail") << user("email", "a.da@example.test")
                                << signedInRows(kPrefix + QStringLiteral("a.da@example.test"));
        QTest::newRow("name and e-mail")
            << signedIn(QJsonObject{{QStringLiteral("name"), QStringLiteral("Ada")},
                                    {QStringLiteral("email"), QStringLiteral("a@example.test")}})
            << signedInRows(kPrefix + QStringLiteral("Ada"));
        QTest::newRow("neither") << signedIn(QJsonObject())
                                 << signedInRows(kPrefix + QStringLiteral("User"));
        QTest::newRow("empty name") << user("name", "") << signedInRows(kPrefix);
        QJsonObject state = user("name", "Ada");
        state[QStringLiteral("tracking")] = false;
        QTest::newRow("paused") << state << signedInRows(kPrefix + QStringLiteral("Ada"), false);
        state[QStringLiteral("syncing")] = true;
        QTest::newRow("paused, syncing")
            << state << signedInRows(kPrefix + QStringLiteral("Ada"), false, true);
        state[QStringLiteral("tracking")] = true;
        QTest::newRow("syncing") << state
                                 << signedInRows(kPrefix + QStringLiteral("Ada"), true, true);
    }

    void hasItsRowsInEveryState()
    {
        QFETCH(QJsonObject, state);
        QFETCH(QStringList, rows);
        QVERIFY(m_client.setState(state));
        QCOMPARE(m_panel->described(), rows);
    }

    void aNameIsShownExactly_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("label");
        const auto row = [](const char* tag, const QString& name, const QString& label) {
            QTest::newRow(tag) << name << label;
        };
        const auto same = [&row](const char* tag, const QString& name) {
            row(tag, name, kPrefix + name);
        };
        row("underscore",
            QStringLiteral("ada_l@example.test"),
            kPrefix + QStringLiteral("ada__l@example.test"));
        row("underscores", QStringLiteral("__a_"), kPrefix + QStringLiteral("____a__"));
        // The first letter is the access key, else the ampersand: it is underlined, and there.
        row("ampersand", QStringLiteral("A & B"), kPrefix + QStringLiteral("_A & B"));
        row("ampersands", QStringLiteral("A & B && C&"), kPrefix + QStringLiteral("_A & B && C&"));
        row("two at the end", QStringLiteral("A&&"), kPrefix + QStringLiteral("_A&&"));
        row("ampersand first", QStringLiteral("&A"), kPrefix + QStringLiteral("_&A"));
        row("both", QStringLiteral("_&_&"), kPrefix + QStringLiteral("___&__&"));
        row("behind an underscore", QStringLiteral("_a&b"), kPrefix + QStringLiteral("___a&b"));
        row("behind an emoji",
            QStringLiteral(u"\U0001F469 & \U0001F469"),
            kPrefix + QStringLiteral(u"\U0001F469 _& \U0001F469"));
        row("markup", QStringLiteral("<b>A</b> &lt;"), kPrefix + QStringLiteral("<_b>A</b> &lt;"));
        same("ampersand at the end", QStringLiteral("A&"));
        same("emoji", QStringLiteral(u"Ada \U0001F469\u200D\U0001F4BB \u2708\uFE0F"));
        same("right to left",
             QStringLiteral(u"\u05E2\u05D3\u05D4 \u0644\u0627\u0641\u0644\u064A\u0633"));
        same("marks of direction", QStringLiteral(u"\u202Eabc\u202C"));
        same("tab", QStringLiteral("A\tB"));
        same("spaces", QStringLiteral("  A  "));
        same("long", QString(2000, u'x'));
    }

    void aNameIsShownExactly()
    {
        QFETCH(QString, name);
        QFETCH(QString, label);
        QVERIFY(m_client.setState(named(name)));
        QCOMPARE(m_panel->described(), signedInRows(label));
        QCOMPARE(StatusItemClient::shownText(label), kPrefix + name);
    }

    void rowsThatAreAsBeforeStayUntouched()
    {
        QVERIFY(m_client.setState(named(QStringLiteral("Ada"))));
        const auto before = m_panel->rows();
        StatusItemClient panel(m_desktop.bus.address(), m_watcher->items().first());
        QVERIFY(m_client.setState(named(QStringLiteral("Ada"))));
        QCOMPARE(panel.described(), signedInRows(kPrefix + QStringLiteral("Ada")));
        QCOMPARE(panel.layoutChanges() + panel.rowChanges(), 0);

        // Three texts and nothing else.
        QJsonObject state = named(QStringLiteral("Eve"));
        state[QStringLiteral("tracking")] = false;
        QVERIFY(m_client.setState(state));
        QCOMPARE(panel.described(), signedInRows(kPrefix + QStringLiteral("Eve"), false));
        QTRY_COMPARE(panel.rowChanges(), 3);
        QCOMPARE(panel.layoutChanges(), 0);
        const auto after = m_panel->rows();
        QVERIFY(before && after && before->size() == after->size());
        for (qsizetype i = 0; i < before->size(); ++i)
            QCOMPARE((*after)[i].id, (*before)[i].id);
    }

    void whatIsCommonToBothLayoutsStays()
    {
        QVERIFY(m_client.setState({}));
        const auto before = m_panel->rows();
        QVERIFY(m_client.setState(named(QStringLiteral("Ada"))));
        const auto after = m_panel->rows();
        QVERIFY(before && after);
        QCOMPARE(after->first().id, before->first().id);
        QCOMPARE(after->last().id, before->last().id);
    }

    void whatIsSetWhenItIsAboutToOpenIsInThatOpening()
    {
        QVERIFY(m_client.setState(named(QStringLiteral("Ada"))));
        QVERIFY(m_panel->open());
        QVERIFY(m_client.waitFor(QStringLiteral("opening")));
        QCOMPARE(m_panel->described(), signedInRows(kPrefix + QStringLiteral("Ada")));
        m_client.say("greet");
        QVERIFY(m_client.waitFor(QStringLiteral("greet")));
        for (const auto& name : {QStringLiteral("Opened 1"), QStringLiteral("Opened 2")}) {
            QVERIFY(m_panel->open());
            QCOMPARE(m_panel->described(), signedInRows(kPrefix + name));
            QVERIFY(m_client.waitFor(QStringLiteral("opening")));
        }
    }

    void aClickChooses_data()
    {
        QTest::addColumn<bool>("isSignedIn");
        QTest::addColumn<QString>("label");
        QTest::addColumn<int>("command");
        QTest::newRow("Log In") << false << QStringLiteral("Log In") << 0;
        QTest::newRow("Open Dashboard") << true << QStringLiteral("Open Dashboard") << 1;
        QTest::newRow("Pause") << true << QStringLiteral("Pause Tracking") << 2;
        QTest::newRow("Sync Now") << true << QStringLiteral("Sync Now") << 3;
        QTest::newRow("Settings") << true << QStringLiteral("Settings") << 4;
        QTest::newRow("Quit") << false << QStringLiteral("Quit Velomira") << 5;
    }

    void aClickChooses()
    {
        QFETCH(bool, isSignedIn);
        QFETCH(QString, label);
        QFETCH(int, command);
        QVERIFY(m_client.setState(isSignedIn ? signedIn() : QJsonObject()));
        QVERIFY(m_panel->click(label));
        QVERIFY(m_client.waitFor(QStringLiteral("chosen %1").arg(command)));
    }

    void labelsAndDisabledRowsCannotBeChosen()
    {
        QJsonObject state = signedIn();
        state[QStringLiteral("syncing")] = true;
        QVERIFY(m_client.setState(state));
        for (const auto& label : {QStringLiteral("Velomira"),
                                  QStringLiteral(u"\u2713 Tracking Active"),
                                  QStringLiteral("Sync Now")})
            QVERIFY(m_panel->click(label));
        // What comes of a later click comes later.
        QVERIFY(m_panel->click(QStringLiteral("Settings")));
        QVERIFY(m_client.waitFor(QStringLiteral("chosen 4")));
        QCOMPARE(m_client.otherLines().filter(QStringLiteral("chosen")), QStringList());
    }

    void theItemSaysWhatItIs()
    {
        QCOMPARE(m_panel->property(QStringLiteral("Id")).toString(), QStringLiteral("tray_client"));
        QCOMPARE(m_panel->property(QStringLiteral("Status")).toString(), QStringLiteral("Active"));
        QCOMPARE(m_panel->property(QStringLiteral("Category")).toString(),
                 QStringLiteral("ApplicationStatus"));
    }

private:
    TrayDesktop m_desktop;
    std::optional<StatusNotifierWatcher> m_watcher;
    TrayClient m_client;
    std::optional<StatusItemClient> m_panel;
};

QUILLSTEP_TEST(TestTrayMenu)
#include "tst_tray_menu.moc"
