// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "shell/app_menu.h"
#include "tests/support/test_program.h"

#include <QTest>

using platform::MenuRow;
using shell::MenuState;

namespace {

/// A row as one line of text: its kind and font, its text, its shortcut, whether it is disabled.
QString line(const MenuRow& row)
{
    if (row.kind == MenuRow::Kind::Separator)
        return QStringLiteral("---");
    static const QStringList fonts{QString(),
                                   QStringLiteral(" (headline)"),
                                   QStringLiteral(" (subheadline)"),
                                   QStringLiteral(" (caption)")};
    return (row.kind == MenuRow::Kind::Label ? QStringLiteral("label \"") : QStringLiteral("\"")) +
           row.text + QLatin1Char('"') + fonts.value(static_cast<int>(row.font)) +
           (row.shortcut.isEmpty() ? QString() : QLatin1Char(' ') + row.shortcut) +
           (row.isEnabled ? QString() : QStringLiteral(" disabled"));
}

QStringList lines(const MenuState& state)
{
    QStringList all;
    for (const MenuRow& row : shell::menuRows(state))
        all.append(line(row));
    return all;
}

const QStringList kHead{
    QStringLiteral("label \"Velomira\" (headline)"),
    QStringLiteral("label \"Usage Monitor\" (caption)"),
    QStringLiteral("---"),
};
const QStringList kTail{
    QStringLiteral("---"),
    QStringLiteral("\"Settings\" Ctrl+,"),
    QStringLiteral("---"),
    QStringLiteral("\"Quit Velomira\" Ctrl+Q"),
};

} // namespace

class TestMenuRows final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void signedOutOffersToLogIn()
    {
        const QStringList expected =
            kHead +
            QStringList{QString::fromUtf8("label \"\xE2\x9A\xA0\xEF\xB8\x8F Not Logged In\""),
                        QStringLiteral("\"Log In\"")} +
            kTail;
        QCOMPARE(lines({}), expected);
        QCOMPARE(lines({.isAuthenticated = false,
                        .userName = QStringLiteral("Ada"),
                        .isTracking = true,
                        .isSyncing = true}),
                 expected);
    }

    void signedInAndTracking()
    {
        const QStringList expected =
            kHead +
            QStringList{QString::fromUtf8("label \"\xF0\x9F\x91\xA4 Ada Lovelace\" (subheadline)"),
                        QString::fromUtf8("label \"\xE2\x9C\x93 Tracking Active\""),
                        QStringLiteral("---"),
                        QStringLiteral("\"Open Dashboard\" Ctrl+D"),
                        QStringLiteral("\"Pause Tracking\""),
                        QStringLiteral("\"Sync Now\"")} +
            kTail;
        QCOMPARE(lines({.isAuthenticated = true,
                        .userName = QStringLiteral("Ada Lovelace"),
                        .isTracking = true,
                        .isSyncing = false}),
                 expected);
    }

    void withoutUserRecordTheTrackingLineComesFirst()
    {
        const QStringList expected =
            kHead +
            QStringList{QString::fromUtf8("label \"\xE2\x8F\xB8 Tracking Paused\""),
                        QStringLiteral("---"),
                        QStringLiteral("\"Open Dashboard\" Ctrl+D"),
                        QStringLiteral("\"Resume Tracking\""),
                        QStringLiteral("\"Sync Now\" disabled")} +
            kTail;
        QCOMPARE(lines({.isAuthenticated = true,
                        .userName = std::nullopt,
                        .isTracking = false,
                        .isSyncing = true}),
                 expected);
    }

    void anEmptyNameIsShownEmpty()
    {
        const auto all = lines({.isAuthenticated = true,
                                .userName = QString(),
                                .isTracking = false,
                                .isSyncing = false});
        QCOMPARE(all.value(3), QString::fromUtf8("label \"\xF0\x9F\x91\xA4 \" (subheadline)"));
    }
};

QUILLSTEP_TEST(TestMenuRows)
#include "tst_menu_rows.moc"
