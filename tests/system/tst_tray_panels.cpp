// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// The status icon and its menu in real panels, with a real pointer. Pictures stay in the build
// tree.
#include "backends/qt/system_tray_item.h"
#include "tests/support/passing_time.h"
#include "tests/support/required_programs.h"
#include "tests/support/test_program.h"
#include "tests/system/screen_reader.h"
#include "tests/system/tray_client_process.h"
#include "tests/system/tray_desktop.h"
#include "tests/system/tray_panel.h"
#include "tests/system/xdotool.h"

#include <QDir>
#include <QElapsedTimer>
#include <QSet>
#include <QTest>

#include <algorithm>
#include <chrono>
#include <optional>

using support::ScreenReader;
using support::TrayClient;
using support::TrayDesktop;
using support::TrayPanel;

namespace {

constexpr int kPatienceMs = 20000;
constexpr int kGraceMs = 300;
const QString kLeft = QStringLiteral("1");
const QString kRight = QStringLiteral("3");

} // namespace

class TestTrayPanels : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        REQUIRE_PROGRAMS(TrayDesktop::programs() + TrayPanel::programs() +
                         QStringList{QStringLiteral("xdotool")});
        QVERIFY(QDir().mkpath(QStringLiteral(SCREENSHOTS)));
    }

    void init()
    {
        m_desktop.emplace();
        const auto started = m_desktop->start();
        QVERIFY2(started, started ? "" : qPrintable(started.error().text));
        m_screen.emplace(m_desktop->x11.display());
        m_client.emplace();
        m_lastClick.invalidate();
    }

    void cleanup()
    {
        if (m_client && m_client->process().isRunning())
            QCOMPARE(m_client->finish(), 0);
        m_client.reset();
        m_panel.reset();
        m_screen.reset();
        m_desktop.reset();
    }

    void bothButtonsOpenTheMenu_data()
    {
        QTest::addColumn<TrayPanel::Kind>("kind");
        QTest::addColumn<bool>("isDark");
        QTest::addColumn<QString>("name");
        QTest::newRow("LXQt") << TrayPanel::Kind::Lxqt << false << QStringLiteral("lxqt");
        QTest::newRow("Xfce, light")
            << TrayPanel::Kind::Xfce << false << QStringLiteral("xfce-light");
        QTest::newRow("Xfce, dark") << TrayPanel::Kind::Xfce << true << QStringLiteral("xfce-dark");
        QTest::newRow("tint2, light")
            << TrayPanel::Kind::Tint2 << false << QStringLiteral("tint2-light");
        QTest::newRow("tint2, dark")
            << TrayPanel::Kind::Tint2 << true << QStringLiteral("tint2-dark");
    }

    void bothButtonsOpenTheMenu()
    {
        QFETCH(TrayPanel::Kind, kind);
        QFETCH(bool, isDark);
        QFETCH(QString, name);
        startPanel(kind, isDark);
        startClient();
        std::optional<QPoint> icon;
        QTRY_VERIFY_WITH_TIMEOUT(icon = whereIsTheIcon(), kPatienceMs);
        keep(name + QStringLiteral("-icon"));
        for (const QString& button : {kRight, kLeft}) {
            // Closed by a click elsewhere, by Escape and by a choice.
            QVERIFY(open(*icon, button));
            QTRY_VERIFY_WITH_TIMEOUT(isMenuDrawn(), kPatienceMs);
            keep(name + (button == kRight ? QStringLiteral("-right") : QStringLiteral("-left")));
            QVERIFY(xdotool(m_desktop->x11, clickAt({200, 200}, kLeft)));
            QTRY_VERIFY_WITH_TIMEOUT(!m_screen->menu(), kPatienceMs);
            QVERIFY(open(*icon, button));
            QVERIFY(xdotool(m_desktop->x11, {QStringLiteral("key"), QStringLiteral("Escape")}));
            QTRY_VERIFY_WITH_TIMEOUT(!m_screen->menu(), kPatienceMs);
            QVERIFY(open(*icon, button));
            chooseTheLastRow();
        }
    }

    void aPanelThatComesLaterShowsTheIcon_data() { everyPanel(); }

    void aPanelThatComesLaterShowsTheIcon()
    {
        QFETCH(TrayPanel::Kind, kind);
        startClient();
        startPanel(kind, false);
        std::optional<QPoint> icon;
        QTRY_VERIFY_WITH_TIMEOUT(icon = whereIsTheIcon(), kPatienceMs);
        QVERIFY(open(*icon, kLeft));
        chooseTheLastRow();
    }

    void aPanelThatIsStartedAnewShowsTheIconAgain_data() { everyPanel(); }

    void aPanelThatIsStartedAnewShowsTheIconAgain()
    {
        QFETCH(TrayPanel::Kind, kind);
        startPanel(kind, true);
        startClient();
        std::optional<QPoint> icon;
        QTRY_VERIFY_WITH_TIMEOUT(icon = whereIsTheIcon(), kPatienceMs);
        m_panel->kill();
        QTRY_VERIFY_WITH_TIMEOUT(!whereIsTheIcon(), kPatienceMs);
        QVERIFY(m_panel->start());
        QTRY_VERIFY_WITH_TIMEOUT(icon = whereIsTheIcon(), kPatienceMs);
        for (const QString& button : {kRight, kLeft}) {
            QVERIFY(open(*icon, button));
            chooseTheLastRow();
        }
    }

private:
    static void everyPanel()
    {
        QTest::addColumn<TrayPanel::Kind>("kind");
        QTest::newRow("LXQt") << TrayPanel::Kind::Lxqt;
        QTest::newRow("Xfce") << TrayPanel::Kind::Xfce;
        QTest::newRow("tint2") << TrayPanel::Kind::Tint2;
    }

    void startPanel(TrayPanel::Kind kind, bool isDark)
    {
        m_panel.emplace(*m_desktop, kind, isDark);
        const auto started = m_panel->start();
        QVERIFY2(started, started ? "" : qPrintable(started.error().text));
    }

    void startClient()
    {
        QVERIFY(m_client->start(m_desktop->environment(), kGraceMs));
        const QJsonObject user{{QStringLiteral("name"), QStringLiteral("ada_l & Co.")}};
        QVERIFY(m_client->setState({{QStringLiteral("signedIn"), true},
                                    {QStringLiteral("tracking"), true},
                                    {QStringLiteral("syncing"), true},
                                    {QStringLiteral("user"), user}}));
    }

    std::optional<QPoint> whereIsTheIcon()
    {
        return m_screen->find(platform::gui::kPanelColor.rgb(), TrayPanel::kHeight);
    }

    static QStringList clickAt(QPoint place, const QString& button)
    {
        return {QStringLiteral("mousemove"),
                QString::number(place.x()),
                QString::number(place.y()),
                QStringLiteral("click"),
                button};
    }

    bool open(QPoint icon, const QString& button)
    {
        // Two clicks in quick succession are a double click, which is no click to open with.
        constexpr std::chrono::milliseconds kDoubleClick(500);
        if (m_lastClick.isValid())
            support::letPass(
                std::max(kDoubleClick - std::chrono::milliseconds(m_lastClick.elapsed()),
                         std::chrono::milliseconds(0)));
        m_lastClick.start();
        return xdotool(m_desktop->x11, clickAt(icon, button)) &&
               QTest::qWaitFor([this] { return m_screen->menu().has_value(); }, kPatienceMs) &&
               m_client->waitFor(QStringLiteral("opening"));
    }

    void chooseTheLastRow()
    {
        constexpr int kHalfARow = 13;
        QTRY_VERIFY_WITH_TIMEOUT(isMenuDrawn(), kPatienceMs);
        const std::optional<QRect> menu = m_screen->menu();
        QVERIFY(menu);
        const QPoint row(menu->center().x(), menu->bottom() - kHalfARow);
        QVERIFY(xdotool(m_desktop->x11, clickAt(row, kLeft)));
        QVERIFY(m_client->waitFor(QStringLiteral("chosen 5")));
        QTRY_VERIFY_WITH_TIMEOUT(!m_screen->menu(), kPatienceMs);
    }

    /// Whether the open menu shows its rows: a text is many shades of grey.
    bool isMenuDrawn()
    {
        constexpr int kShadesOfText = 10;
        const QImage menu = m_screen->picture().copy(m_screen->menu().value_or(QRect()));
        QSet<QRgb> colors;
        for (int y = 0; y < menu.height(); ++y) {
            for (int x = 0; x < menu.width(); ++x)
                colors.insert(menu.pixel(x, y));
        }
        return colors.size() >= kShadesOfText;
    }

    void keep(const QString& name)
    {
        const QString file =
            QStringLiteral(SCREENSHOTS) + QStringLiteral("/tray-") + name + QStringLiteral(".png");
        QVERIFY(m_screen->picture().save(file));
    }

    QElapsedTimer m_lastClick;
    std::optional<TrayDesktop> m_desktop;
    std::optional<ScreenReader> m_screen;
    std::optional<TrayPanel> m_panel;
    std::optional<TrayClient> m_client;
};

QUILLSTEP_TEST(TestTrayPanels)
#include "tst_tray_panels.moc"
