// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "views/models/account_text.h"

#include <QStringList>
#include <QTextBoundaryFinder>

namespace views {

namespace {

/// The first character of `text` as readers count them (UAX #29); empty for the empty text.
QString firstCharacter(const QString& text)
{
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    const qsizetype end = finder.toNextBoundary();
    return end > 0 ? text.left(end) : QString();
}

} // namespace

QString getInitials(const std::optional<account::UserResponse>& user)
{
    if (user && user->name) {
        QString initials;
        for (const QString& word : user->name->split(u' ', Qt::SkipEmptyParts).mid(0, 2))
            initials += firstCharacter(word);
        return initials.toUpper();
    }
    if (user && user->email)
        return firstCharacter(*user->email).toUpper();
    return QStringLiteral("U");
}

} // namespace views
