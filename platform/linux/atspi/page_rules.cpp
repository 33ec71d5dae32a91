// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/atspi/page_rules.h"

#include <QList>

#include <algorithm>

namespace platform::atspi {

namespace {

constexpr qsizetype kCompared = 64;
constexpr qsizetype kLongestAddress = 16'384;

bool isBracket(QChar character)
{
    const QChar::Category category = character.category();
    return category == QChar::Punctuation_Open || category == QChar::Punctuation_Close;
}

} // namespace

bool mayShow(const QString& window, const QString& page)
{
    const QString shown = window.simplified();
    const QString title = page.simplified();
    if (!shown.startsWith(title.left(kCompared)))
        return false;
    const QString rest = shown.startsWith(title) ? shown.mid(title.size()) : shown.mid(kCompared);
    return std::ranges::none_of(rest, isBracket);
}

std::optional<QString> addressAmong(const QMap<QString, QString>& attributes)
{
    const QString address = attributes.value(QStringLiteral("URI"));
    if (address.isEmpty() || address.toUtf8().size() > kLongestAddress)
        return std::nullopt;
    return address;
}

bool isGnomeWebWithHistory(const QByteArray& commandLine)
{
    static const QList<QByteArray> harmless{"--new-window", "--gapplication-service"};
    const QList<QByteArray> words = commandLine.split('\0');
    const QByteArray& path = words.constFirst();
    return path.mid(path.lastIndexOf('/') + 1).contains("epiphany") &&
           std::all_of(words.cbegin() + 1, words.cend(), [](const QByteArray& word) {
               return !word.startsWith('-') || harmless.contains(word);
           });
}

} // namespace platform::atspi
