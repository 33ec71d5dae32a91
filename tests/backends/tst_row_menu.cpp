// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/qt/row_menu.h"
#include "tests/support/test_program.h"

#include <QAction>
#include <QApplication>
#include <QFont>
#include <QSignalSpy>
#include <QTest>

using platform::MenuRow;
using platform::gui::dbusMenuText;
using platform::gui::popupText;
using platform::gui::RowMenu;

namespace {

MenuRow row(MenuRow::Font font, const char* text)
{
    MenuRow made;
    made.kind = MenuRow::Kind::Label;
    made.font = font;
    made.text = QString::fromUtf8(text);
    return made;
}

std::vector<MenuRow> rowsOfEachFont()
{
    return {row(MenuRow::Font::Headline, "headline"),
            row(MenuRow::Font::Subheadline, "subheadline"),
            row(MenuRow::Font::Caption, "caption"),
            row(MenuRow::Font::Body, "body")};
}

/// "13 bold, 11, …" for the rows of `menu`.
QString described(RowMenu& menu)
{
    QStringList fonts;
    for (const QAction* action : menu.menu().actions()) {
        const QFont font = action->font();
        fonts += QString::number(font.pixelSize()) + QLatin1StringView(font.bold() ? " bold" : "");
    }
    return fonts.join(QStringLiteral(", "));
}

QFont withPoints(double points)
{
    QFont font = QApplication::font();
    font.setPointSizeF(points);
    return font;
}

} // namespace

class TestRowMenu final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void init() { QApplication::setFont(withPoints(10)); }

    void rowsHaveTheSizesOfTheWindowsTexts_data()
    {
        QTest::addColumn<double>("points");
        QTest::addColumn<QString>("fonts");
        QTest::newRow("usual") << 10.0 << QStringLiteral("13 bold, 11, 10, 13");
        QTest::newRow("130 percent") << 14.3 << QStringLiteral("17 bold, 14, 13, 17");
        QTest::newRow("twice") << 22.0 << QStringLiteral("26 bold, 22, 20, 26");
        QTest::newRow("small") << 7.5 << QStringLiteral("11 bold, 9, 8, 11");
    }

    void rowsHaveTheSizesOfTheWindowsTexts()
    {
        QFETCH(const double, points);
        QFETCH(const QString, fonts);
        QApplication::setFont(withPoints(points));
        RowMenu menu(RowMenu::Reader::Popup);
        menu.setRows(rowsOfEachFont());
        QCOMPARE(described(menu), fonts);
    }

    void theSizesFollowTheDesktopWhileItRuns()
    {
        RowMenu menu(RowMenu::Reader::Popup);
        menu.setRows(rowsOfEachFont());
        QCOMPARE(described(menu), QStringLiteral("13 bold, 11, 10, 13"));
        const int height = menu.menu().sizeHint().height();
        QApplication::setFont(withPoints(22));
        QTRY_COMPARE(described(menu), QStringLiteral("26 bold, 22, 20, 26"));
        QVERIFY(menu.menu().sizeHint().height() > height * 3 / 2);
        QApplication::setFont(withPoints(10));
        QTRY_COMPARE(described(menu), QStringLiteral("13 bold, 11, 10, 13"));
    }

    void theFamilyIsTheDesktopsForMenus()
    {
        RowMenu menu(RowMenu::Reader::Popup);
        menu.setRows(rowsOfEachFont());
        QFont other = withPoints(10);
        other.setFamily(QStringLiteral("Another Family"));
        QApplication::setFont(other, "QMenu");
        menu.menu().ensurePolished();
        for (const QAction* action : menu.menu().actions())
            QCOMPARE(action->font().resolve(menu.menu().font()).family(), other.family());
    }

    void aMenuThatTheDesktopDrawsIsNotTouched()
    {
        RowMenu menu(RowMenu::Reader::DBusMenu);
        menu.setRows(rowsOfEachFont());
        const QSignalSpy changed(menu.menu().actions().constFirst(), &QAction::changed);
        QApplication::setFont(withPoints(22));
        QCoreApplication::processEvents();
        QCOMPARE(changed.count(), 0);
    }

    void aPopupShowsAmpersandsAndNoSecondColumn()
    {
        QCOMPARE(popupText(QStringLiteral("A & B&&C_d")), QStringLiteral("A && B&&&&C_d"));
        QCOMPARE(popupText(QStringLiteral("A\tB\nC")), QStringLiteral("A B C"));
        QCOMPARE(popupText(QString()), QString());
    }

    void anExportedTextDoublesUnderscores()
    {
        QCOMPARE(dbusMenuText(QStringLiteral("a_b__")), QStringLiteral("a__b____"));
        QCOMPARE(dbusMenuText(QString()), QString());
    }

    /// Qt turns the first ampersand into an underscore, unless it is the last character.
    void anExportedTextGivesQtAnAmpersandOfItsOwn()
    {
        QCOMPARE(dbusMenuText(QStringLiteral("A & B & C")), QStringLiteral("&A & B & C"));
        QCOMPARE(dbusMenuText(QStringLiteral("& B")), QStringLiteral("&& B"));
        QCOMPARE(dbusMenuText(QStringLiteral("A&")), QStringLiteral("A&"));
        QCOMPARE(dbusMenuText(QStringLiteral("A&&")), QStringLiteral("&A&&"));
        QCOMPARE(dbusMenuText(QStringLiteral("&")), QStringLiteral("&"));
        QCOMPARE(dbusMenuText(QStringLiteral(u"\U0001F464 A&B")),
                 QStringLiteral(u"\U0001F464 &A&B"));
    }
};

QUILLSTEP_TEST_WITH(TestRowMenu, QApplication)
#include "tst_row_menu.moc"
