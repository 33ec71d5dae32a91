// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/gui/menu_text.h"

#include <QTest>

using platform::gui::dbusMenuText;
using platform::gui::popupText;

class TestMenuText : public QObject
{
    Q_OBJECT

private Q_SLOTS:

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

QTEST_GUILESS_MAIN(TestMenuText)
#include "tst_menu_text.moc"
